#include "radius/eap_packets.h"

#include <algorithm>
#include <array>

namespace vesta {
namespace {

constexpr char kRequest = 1;
constexpr char kResponse = 2;
constexpr std::size_t kHeaderLength = 4;  // code, identifier, length
constexpr std::size_t kDataOffset = 5;    // behind the type
constexpr std::size_t kDigestLength = 16;

const unsigned char* bytesOf(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

std::string response(std::uint8_t id, EapType type, const std::string& data) {
    const std::size_t length = kDataOffset + data.size();
    return std::string{kResponse, static_cast<char>(id), static_cast<char>(length >> 8),
                       static_cast<char>(length & 0xff), static_cast<char>(type)} +
           data;
}

}  // namespace

std::optional<EapRequest> parseEapRequest(std::string_view packet) {
    if (packet.size() < kDataOffset || packet[0] != kRequest) {
        return std::nullopt;
    }
    const unsigned char* const bytes = bytesOf(packet);
    const std::size_t length = static_cast<std::size_t>(bytes[2]) << 8 | bytes[3];
    if (length <= kHeaderLength || length > packet.size()) {
        return std::nullopt;
    }
    return EapRequest{bytes[1], bytes[kHeaderLength],
                      packet.substr(kDataOffset, length - kDataOffset)};
}

std::optional<std::string_view> md5ChallengeOf(std::string_view data) {
    if (data.empty()) {
        return std::nullopt;
    }
    const std::size_t size = bytesOf(data)[0];
    if (size == 0 || size > data.size() - 1) {
        return std::nullopt;
    }
    return data.substr(1, size);
}

std::string eapIdentityResponse(const std::string& login) {
    return response(0, EapType::identity, login);
}

std::string eapNakResponse(std::uint8_t id) {
    return response(id, EapType::nak, {static_cast<char>(EapType::md5Challenge)});
}

std::string eapMd5Response(std::uint8_t id, const librad_secret& password,
                           std::string_view challenge) {
    std::array<unsigned char, kDigestLength> digest{};
    librad_chap_md5(id, password.data(), password.size(), bytesOf(challenge), challenge.size(),
                    digest.data());
    std::string value(challenge.size(), '\0');
    std::copy_n(digest.begin(), std::min(digest.size(), value.size()), value.begin());
    return response(id, EapType::md5Challenge, static_cast<char>(challenge.size()) + value);
}

}  // namespace vesta
