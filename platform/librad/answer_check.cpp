#include "answer_check.h"

namespace ostrel::radius {
namespace {

bool usesEap(const librad_radius_msg& msg) {
    return findAttribute(msg, LIBRAD_RADIUS_ATTR_EAP_MESSAGE).has_value();
}

}  // namespace

AnswerCheck::Verdict AnswerCheck::judge(const Answer& answer, const Exchange& exchange) {
    librad_radius_msg& msg = *answer.msg;
    const Bytes secret = bytesOf(exchange.secret());
    const std::uint8_t* authenticator = answer.to.authenticator.data();
    msg.checkedFor = answer.to.authenticator;
    msg.authentic = verifyAnswer(msg, secret, authenticator);
    if (!msg.authentic) {
        reports_.dropped(&librad_radius_counters::badAuthenticator, exchange.name(),
                         "wrong Response Authenticator");
        return Verdict::forged;
    }
    const std::uint8_t code = librad_radius_msg_get_code(&msg);
    switch (checkMessageAuthenticator(msg, secret, authenticator)) {
        case MessageAuthenticator::valid:
            seen_ = seen_ || code == LIBRAD_RADIUS_CODE_ACCESS_ACCEPT;
            return Verdict::genuine;
        case MessageAuthenticator::invalid:
            reports_.dropped(&librad_radius_counters::badAuthenticator, exchange.name(),
                             "wrong Message-Authenticator");
            return Verdict::refused;
        case MessageAuthenticator::absent:
            break;
    }
    if (isRequired(code, usesEap(msg) || usesEap(*answer.to.request->msg))) {
        reports_.dropped(&librad_radius_counters::badAuthenticator, exchange.name(),
                         "no Message-Authenticator");
        return Verdict::refused;
    }
    noteAbsence(code, exchange);
    return Verdict::genuine;
}

bool AnswerCheck::isRequired(std::uint8_t code, bool eapUsed) const {
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

void AnswerCheck::noteAbsence(std::uint8_t code, const Exchange& exchange) {
    if (code == LIBRAD_RADIUS_CODE_ACCESS_ACCEPT && !warned_) {
        warned_ = true;
        report(LogLevel::warning,
               "RADIUS: %s sends no Message-Authenticator, its answers could be forged",
               exchange.name().c_str());
    }
}

}  // namespace ostrel::radius
