#pragma once

// The signatures of RADIUS: Request and Response Authenticators (RFC 2865 section 3, RFC 2866
// section 3, RFC 5176 section 2.3) and the Message-Authenticator (RFC 3579 section 3.2). All
// comparisons are in constant time.

#include "message.h"

namespace ostrel::radius {

enum class MessageAuthenticator { absent, valid, invalid };

// Fills in the Message-Authenticator of an Access-Request. False when it has none or MD5 fails.
[[nodiscard]] bool signAccessRequest(librad_radius_msg& msg, Bytes secret);

// Signs an Accounting-Request, Disconnect-Request or CoA-Request by its Request Authenticator.
// False when MD5 fails.
[[nodiscard]] bool signRequest(librad_radius_msg& msg, Bytes secret);

// Checks that signature, and the Message-Authenticator if there is one.
[[nodiscard]] bool verifyRequest(const librad_radius_msg& msg, Bytes secret);

// Checks the Response Authenticator of an answer to the request with that authenticator.
[[nodiscard]] bool verifyAnswer(const librad_radius_msg& msg, Bytes secret,
                                const std::uint8_t* requestAuthenticator);

// Checks the Message-Authenticator, wherever it stands. It is calculated with `authenticator` in
// the header: the request's authenticator, or zeros for requests of accounting and of dynamic
// authorisation. More than one, or one of a wrong length, is invalid.
[[nodiscard]] MessageAuthenticator checkMessageAuthenticator(const librad_radius_msg& msg,
                                                             Bytes secret,
                                                             const std::uint8_t* authenticator);

}  // namespace ostrel::radius
