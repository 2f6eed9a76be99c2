#pragma once

// A request of dynamic authorisation (RFC 5176): how it names its session, and its answer.
//
// Threads: values of the event-loop thread.

#include <cstdint>
#include <optional>
#include <string>

#include "message.h"

namespace ostrel::radius {

// RFC 5176 section 3.5.
enum class ErrorCause : std::uint32_t {
    missingAttribute = 402,
    nasIdentificationMismatch = 403,
    unsupportedExtension = 406,
    invalidAttributeValue = 407,
    sessionContextNotFound = 503,
};

// The attributes by which a request names its session, copied.
class DasSession {
public:
    explicit DasSession(const librad_radius_msg& request);

    // For the owner's callbacks; lives as long as this.
    [[nodiscard]] librad_radius_das_attrs* attrs();
    // Whether anything names a session.
    [[nodiscard]] bool isNamed() const { return named_; }
    // False for a Calling-Station-Id that is no address. Passing it over would widen the request.
    [[nodiscard]] bool isValid() const { return valid_; }

private:
    std::string userName_;
    std::string acctSessionId_;
    librad_radius_das_attrs attrs_;
    bool named_ = false;
    bool valid_ = true;
};

// The signed ACK, or NAK with that cause, with the request's Proxy-State (RFC 5176 section 3.1)
// and, where the request has one, a Message-Authenticator. Null when it does not fit.
[[nodiscard]] MessagePtr makeDasAnswer(const librad_radius_msg& request,
                                       std::optional<ErrorCause> cause, Bytes secret);

}  // namespace ostrel::radius
