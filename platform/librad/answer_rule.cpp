#include "answer_rule.h"

#include <utility>

namespace ostrel::radius {

AnswerRule::Verdict AnswerRule::judge(std::uint8_t code, bool eapUsed, MessageAuthenticator found) {
    if (found == MessageAuthenticator::invalid) {
        return Verdict::invalid;
    }
    const bool accept = code == LIBRAD_RADIUS_CODE_ACCESS_ACCEPT;
    if (found == MessageAuthenticator::valid) {
        seen_ = seen_ || accept;
        return Verdict::counts;
    }
    if (required(code, eapUsed)) {
        return Verdict::missing;
    }
    if (accept && !warned_) {
        warned_ = true;
        toWarn_ = true;
    }
    return Verdict::counts;
}

bool AnswerRule::required(std::uint8_t code, bool eapUsed) const {
    switch (setting_) {
        case LIBRAD_REQUIRE_ALWAYS:
            return true;
        case LIBRAD_REQUIRE_NEVER:
            return eapUsed;
        case LIBRAD_REQUIRE_ONCE_SEEN:
            return eapUsed || (seen_ && code == LIBRAD_RADIUS_CODE_ACCESS_ACCEPT);
    }
    return true;
}

bool AnswerRule::takeWarning() {
    return std::exchange(toWarn_, false);
}

}  // namespace ostrel::radius
