#pragma once

// RADIUS messages for who plays the server: owned, and read attribute by attribute. Stateless.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "ostrel/librad.h"

namespace apsim {

struct FreeRadiusMessage {
    void operator()(librad_radius_msg* message) const { librad_radius_msg_free(message); }
};
using RadiusMessage = std::unique_ptr<librad_radius_msg, FreeRadiusMessage>;

// Null when the datagram is malformed.
[[nodiscard]] RadiusMessage parseRadius(std::string_view datagram);
[[nodiscard]] std::string radiusBytes(const librad_radius_msg& message);

// The first attribute of that type, "" or 0 when it is absent or of another length.
[[nodiscard]] std::string radiusText(const librad_radius_msg& message, std::uint8_t type);
[[nodiscard]] std::uint32_t radiusNumber(const librad_radius_msg& message, std::uint8_t type);

// Appends an attribute; an empty value adds none.
void addRadiusText(librad_radius_msg& message, std::uint8_t type, std::string_view value);
// Makes room for the Message-Authenticator that signing fills in.
void addMessageAuthenticator(librad_radius_msg& message);

// Whether an Access-Request carries the Message-Authenticator (RFC 3579 section 3.2) of this
// secret.
[[nodiscard]] bool hasMessageAuthenticator(const librad_radius_msg& request,
                                           const std::string& secret);
// Whether its User-Password is `password`, hidden with this secret (RFC 2865 section 5.2).
[[nodiscard]] bool hasUserPassword(const librad_radius_msg& request, const std::string& password,
                                   const std::string& secret);

// Requests that are signed over an authenticator of zeros: of accounting (RFC 2866 section 3) and
// of dynamic authorisation (RFC 5176 section 2.3).
[[nodiscard]] bool isSignedRequest(const librad_radius_msg& request, const std::string& secret);
[[nodiscard]] bool signRadiusRequest(librad_radius_msg& request, const std::string& secret);

// Whether `answer` is signed as the answer to `request`.
[[nodiscard]] bool isAnswerTo(const librad_radius_msg& answer, const librad_radius_msg& request,
                              const std::string& secret);

// The signed answer as bytes; empty when it can't be signed.
[[nodiscard]] std::string signedAnswer(librad_radius_msg& answer, const librad_radius_msg& request,
                                       const std::string& secret);

}  // namespace apsim
