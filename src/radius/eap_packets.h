#pragma once

// The EAP packets of an EAP-MD5 login (RFC 3748 sections 4 and 5), as they stand in EAP-Message
// attributes. Stateless.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "ostrel/librad.h"

namespace vesta {

enum class EapType : std::uint8_t {
    identity = 1,
    nak = 3,
    md5Challenge = 4,
};

// What a server asks; `data` is what follows the type and lives as long as the packet.
struct EapRequest {
    std::uint8_t id = 0;
    std::uint8_t type = 0;
    std::string_view data;
};

// Reads a request. Nothing when the packet is another one, is shorter than its length says, or has
// no type.
[[nodiscard]] std::optional<EapRequest> parseEapRequest(std::string_view packet);

// The challenge in the data of an EAP-MD5 request (RFC 3748 section 5.4). Nothing when it is empty
// or its size is beyond the packet.
[[nodiscard]] std::optional<std::string_view> md5ChallengeOf(std::string_view data);

// The responses, as bytes.
[[nodiscard]] std::string eapIdentityResponse(const std::string& login);
// Refuses the type that was asked for and offers EAP-MD5.
[[nodiscard]] std::string eapNakResponse(std::uint8_t id);
// Answers a challenge of less than 256 bytes. The value is as long as the challenge: the digest,
// cut off or followed by zeros.
[[nodiscard]] std::string eapMd5Response(std::uint8_t id, const librad_secret& password,
                                         std::string_view challenge);

}  // namespace vesta
