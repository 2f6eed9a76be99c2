#include "das_request.h"

#include <algorithm>

#include "ostrel/addresses.h"

namespace ostrel::radius {
DasSession::DasSession(const librad_radius_msg& request)
    : userName_(textOf(request, LIBRAD_RADIUS_ATTR_USER_NAME)),
      acctSessionId_(textOf(request, LIBRAD_RADIUS_ATTR_ACCT_SESSION_ID)) {
    const std::string station = textOf(request, LIBRAD_RADIUS_ATTR_CALLING_STATION_ID);
    named_ = !userName_.empty() || !acctSessionId_.empty() || !station.empty();
    if (const std::optional<MacBytes> mac = parseMac(station)) {
        std::copy(mac->begin(), mac->end(), attrs_.mac);
    } else {
        valid_ = station.empty();
    }
}

librad_radius_das_attrs* DasSession::attrs() {
    const auto set = [](std::string& text, unsigned char*& data, unsigned int& length) {
        data =
            text.empty() ? nullptr : static_cast<unsigned char*>(static_cast<void*>(text.data()));
        length = static_cast<unsigned int>(text.size());
    };
    set(userName_, attrs_.userName, attrs_.userNameLength);
    set(acctSessionId_, attrs_.acctSessionId, attrs_.acctSessionIdLength);
    return &attrs_;
}

MessagePtr makeDasAnswer(const librad_radius_msg& request, std::optional<ErrorCause> cause,
                         Bytes secret) {
    // ACK and NAK stand behind their request's code, in that order.
    const auto code =
        static_cast<std::uint8_t>(librad_radius_msg_get_code(&request) + (cause ? 2 : 1));
    MessagePtr answer(librad_radius_msg_new(code, librad_radius_msg_get_id(&request)));
    const Digest placeholder{};
    bool good = answer != nullptr;
    if (good && findAttribute(request, LIBRAD_RADIUS_ATTR_MESSAGE_AUTHENTICATOR)) {
        good = librad_radius_msg_add_attr(answer.get(), LIBRAD_RADIUS_ATTR_MESSAGE_AUTHENTICATOR,
                                          placeholder.data(), placeholder.size());
    }
    if (good && cause) {
        good = librad_radius_msg_add_attr_int32(answer.get(), LIBRAD_RADIUS_ATTR_ERROR_CAUSE,
                                                static_cast<std::uint32_t>(*cause));
    }
    good = good && copyAttributes(*answer, request, LIBRAD_RADIUS_ATTR_PROXY_STATE) &&
           librad_radius_msg_sign_answer(answer.get(), secret.data, secret.size, &request);
    return good ? std::move(answer) : nullptr;
}

}  // namespace ostrel::radius
