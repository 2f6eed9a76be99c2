#pragma once

// Which answers to an Access-Request count, by their Message-Authenticator. Without one an answer
// can be forged by who can make MD5 collide on its prefix, so a server that has shown that it sends
// one is held to it.
//
// Threads: guarded by the owner's lock. One rule serves one server.

#include <cstdint>

#include "authenticators.h"

namespace ostrel::radius {

class AnswerRule {
public:
    enum class Verdict { counts, missing, invalid };

    explicit AnswerRule(librad_require_message_authenticator setting) : setting_(setting) {}

    // Judges an answer whose Response Authenticator is right.
    [[nodiscard]] Verdict judge(std::uint8_t code, bool eapUsed, MessageAuthenticator found);

    // True once: when the server has sent its first Access-Accept without one and none is required.
    [[nodiscard]] bool takeWarning();

private:
    [[nodiscard]] bool required(std::uint8_t code, bool eapUsed) const;

    librad_require_message_authenticator setting_;
    bool seen_ = false;
    bool warned_ = false;
    bool toWarn_ = false;
};

}  // namespace ostrel::radius
