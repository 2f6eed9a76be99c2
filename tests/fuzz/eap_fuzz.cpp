// Any bytes as a server's EAP packet: what is read of it stands in it, and what is said to it is a
// whole packet.

#include "fuzz/input.h"
#include "radius/eap_packets.h"

namespace {

using fuzz::require;

// Whether it is a response to `id` whose length is the packet's (RFC 3748 section 4.1).
bool isResponse(const std::string& packet, std::uint8_t id) {
    return packet.size() >= 5 && packet[0] == 2 && packet[1] == static_cast<char>(id) &&
           static_cast<std::size_t>(static_cast<std::uint8_t>(packet[2])) * 256 +
                   static_cast<std::uint8_t>(packet[3]) ==
               packet.size();
}

bool standsIn(std::string_view part, std::string_view whole) {
    return part.data() >= whole.data() && part.data() + part.size() <= whole.data() + whole.size();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string packet(data, data + size);
    const std::string login = packet.substr(0, 253);  // the longest User-Name
    require(isResponse(vesta::eapIdentityResponse(login), 0));
    const auto request = vesta::parseEapRequest(packet);
    if (!request) {
        return 0;
    }
    require(packet[0] == 1 && standsIn(request->data, packet));
    require(isResponse(vesta::eapNakResponse(request->id), request->id));
    if (const auto challenge = vesta::md5ChallengeOf(request->data)) {
        require(!challenge->empty() && standsIn(*challenge, request->data));
        const librad_secret password(login);
        const std::string response = vesta::eapMd5Response(request->id, password, *challenge);
        require(isResponse(response, request->id) && response.size() == 6 + challenge->size());
    }
    return 0;
}
