#pragma once

// The signatures of RADIUS: Request and Response Authenticators (RFC 2865 section 3, RFC 2866
// section 3, RFC 5176 section 2.3) and the Message-Authenticator (RFC 3579 section 3.2). All
// comparisons are in constant time.

#include "message.h"

namespace ostrel::radius {

enum class MessageAuthenticator { absent, valid, invalid };

// Fills the Message-Authenticator of an Access-Request; false when it has none or MD5 fails.
[[nodiscard]] bool signAccessRequest(librad_radius_msg& msg, Bytes secret);

// Sets the Request Authenticator that an Accounting-Request, Disconnect-Request or CoA-Request is
// signed with.
[[nodiscard]] bool signRequest(librad_radius_msg& msg, Bytes secret);

// Checks that Request Authenticator, and the Message-Authenticator where there is one.
[[nodiscard]] bool verifyRequest(const librad_radius_msg& msg, Bytes secret);

// Checks the Response Authenticator of an answer to the request with that authenticator.
[[nodiscard]] bool verifyAnswer(const librad_radius_msg& msg, Bytes secret,
                                const std::uint8_t* requestAuthenticator);

// Checks the Message-Authenticator wherever it stands. `authenticator` is what stands in the header
// for its calculation: the request's authenticator, for the requests of accounting and of dynamic
// authorisation zeros. More than one, or one of another length, is invalid.
[[nodiscard]] MessageAuthenticator checkMessageAuthenticator(const librad_radius_msg& msg,
                                                             Bytes secret,
                                                             const std::uint8_t* authenticator);

}  // namespace ostrel::radius
