#pragma once

// Whether an answer to an Access-Request is genuine: its Response Authenticator (RFC 2865 section
// 3) and its Message-Authenticator (RFC 3579 section 3.2). An answer without a
// Message-Authenticator can be forged by anybody who can make MD5 collide on its prefix, so a
// server that has sent one is held to it from then on.
//
// Threads: guarded by the client's lock. One check serves one server.

#include <cstdint>

#include "authenticators.h"
#include "exchange.h"

namespace ostrel::radius {

class AnswerCheck {
public:
    enum class Verdict {
        genuine,
        forged,   // wrong Response Authenticator
        refused,  // Message-Authenticator wrong, or missing though required
    };

    // `reports` outlives the check.
    AnswerCheck(librad_require_message_authenticator setting, ClientReports& reports)
        : setting_(setting), reports_(reports) {}

    // Judges an answer. One that is not genuine is counted and reported; a server that sends no
    // Message-Authenticator is warned about once. The message keeps what was found of its Response
    // Authenticator, for librad_radius_msg_verify_acct().
    [[nodiscard]] Verdict judge(const Answer& answer, const Exchange& exchange);

private:
    [[nodiscard]] bool isRequired(std::uint8_t code, bool eapUsed) const;
    void noteAbsence(std::uint8_t code, const Exchange& exchange);

    const librad_require_message_authenticator setting_;
    ClientReports& reports_;
    bool seen_ = false;  // in an Access-Accept
    bool warned_ = false;
};

}  // namespace ostrel::radius
