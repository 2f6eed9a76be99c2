// Any bytes as a RADIUS message: what is taken is well formed, reads without a fault in every way
// that the library reads a peer's messages, and is the same when it is read once more.

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "fuzz/input.h"
#include "librad/authenticators.h"
#include "librad/das_request.h"
#include "librad/message.h"
#include "ostrel/librad.h"

using namespace ostrel::radius;
using fuzz::require;

namespace {

// Each reads to the last byte, so that the sanitizer sees one too many.
void readAttributes(librad_radius_msg* msg) {
    std::uint8_t buffer[librad_max_attribute_length];
    unsigned int length = 0;
    for (unsigned int type = 0; type <= 255; ++type) {
        require(librad_radius_msg_get_attr(msg, static_cast<std::uint8_t>(type), buffer,
                                           sizeof buffer) <= sizeof buffer);
        if (const unsigned char* value =
                librad_radius_msg_get_ostrel_attr(msg, static_cast<std::uint8_t>(type), &length)) {
            require(length <= sizeof buffer);
            std::memcpy(buffer, value, length);
        }
    }
    const unsigned char* eap = librad_radius_msg_get_eap(msg, &length);
    require((eap == nullptr) == (length == 0) && length <= librad_max_message_length);
    static_cast<void>(librad_radius_msg_get_classes(msg));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const MessagePtr msg(librad_radius_msg_parse(data, size));
    if (msg == nullptr) {
        return 0;
    }
    std::size_t length = 0;
    const unsigned char* bytes = librad_radius_msg_get_bytes(msg.get(), &length);
    require(length <= size && length <= librad_max_message_length &&
            std::memcmp(bytes, data, length) == 0);
    readAttributes(msg.get());

    const std::uint8_t secret[] = {'s'};
    static_cast<void>(verifyRequest(*msg, {secret, sizeof secret}));
    static_cast<void>(checkMessageAuthenticator(*msg, {secret, sizeof secret}, bytes + 4));
    DasSession session(*msg);
    require(session.attrs()->userNameLength <= librad_max_attribute_length);
    for (const bool refused : {false, true}) {
        const MessagePtr answer = makeDasAnswer(
            *msg, refused ? std::optional(ErrorCause::missingAttribute) : std::nullopt,
            {secret, sizeof secret});
        if (answer != nullptr) {
            const MessagePtr again(
                librad_radius_msg_parse(answer->bytes.data(), answer->bytes.size()));
            require(again != nullptr && again->bytes == answer->bytes);
        }
    }
    return 0;
}
