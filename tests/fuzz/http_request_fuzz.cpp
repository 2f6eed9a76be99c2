// What portald reads of any bytes that a station sends, in any pieces: the first byte gives the
// size of the pieces. Whatever the pieces, a request is whole at the same byte, and what is read of
// it keeps within its limits.

#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/input.h"
#include "portald/messages.h"
#include "portald/request_reader.h"
#include "portald/texts.h"

using fuzz::require;
using portald::Arrival;

namespace {

void readRequest(const std::string& bytes) {
    static portald::RequestReader reader;
    static const portald::Texts texts;
    const std::optional<portald::Asked> asked = reader.read(bytes);
    if (!asked) {
        return;
    }
    require(asked->path.size() <= bytes.size() && asked->host.size() <= 255);
    require(texts.languages().count(texts.choose(asked->acceptLanguage)) == 1);
    std::size_t fields = 0;
    for (const auto& [name, value] : asked->form) {
        fields += name.size() + value.size();
    }
    require(fields <= portald::kMostBodyBytes);
    portald::Reply reply;
    reply.headers.emplace_back("Location", asked->path);
    const std::string answer = portald::encodeReply(reply, true);
    require(answer.find("\r\n\r\n") == answer.size() - 4);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::string stream(data + 1, data + size);
    const std::size_t piece = std::size_t{data[0]} + 1;
    std::size_t looked = 0;
    Arrival arrival = Arrival::partly;
    std::string arrived;
    while (arrival == Arrival::partly && arrived.size() < stream.size()) {
        arrived += stream.substr(arrived.size(), piece);
        arrival = portald::arrivalOf(arrived, looked);
        std::size_t none = 0;
        require(arrival == portald::arrivalOf(arrived, none));
    }
    if (arrival == Arrival::whole) {
        readRequest(arrived);
    }
    return 0;
}
