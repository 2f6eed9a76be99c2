#include "portald/answers.h"

#include <algorithm>

namespace portald {
namespace {

std::string shareOf(std::int64_t left, std::int64_t inAll) {
    return std::to_string(
        std::clamp<std::int64_t>(left * 100 / std::max<std::int64_t>(inAll, 1), 0, 100));
}

// Who only had to agree is logged in under the station's own address.
std::string shownLogin(const Station& station) {
    return station.login != station.mac ? station.login : "";
}

Reply withRetry(Reply reply, const std::string& seconds) {
    reply.headers.emplace_back("Retry-After", seconds);
    return reply;
}

}  // namespace

Answers::Answers(const PageSet& pages, const Tokens& tokens, const Settings& settings)
    : pages_(pages), tokens_(tokens), settings_(settings) {}

const std::string* Answers::termsOf(const Station& station) const {
    for (const std::string& name : {station.portalName, std::string("*")}) {
        const auto found = settings_.terms.find(name);
        if (found != settings_.terms.end()) {
            return &found->second;
        }
    }
    return nullptr;
}

Reply Answers::write(const Page& page, const Station& station, const std::string& acceptLanguage,
                     PageValues values, int status) const {
    const Texts& texts = pages_.texts();
    const std::string language = texts.choose(acceptLanguage);
    values["title"] = texts.text(language, page.title);
    values["message"] = texts.text(language, page.message);
    values["ssid"] = station.ssid;
    Reply reply;
    reply.status = status;
    reply.contentType = "text/html; charset=utf-8";
    reply.body = pages_.render(station.portalName, page.name, language, values);
    reply.headers.emplace_back("Content-Language", language);
    return reply;
}

Reply Answers::withNotice(const Page& page, const Station& station,
                          const std::string& acceptLanguage, const char* notice,
                          const std::string& login) const {
    const Texts& texts = pages_.texts();
    return write(page, station, acceptLanguage,
                 {{"token", tokens_.make(station.mac)},
                  {"terms", termsOf(station) != nullptr ? "yes" : ""},
                  {"login", login},
                  {"notice", texts.text(texts.choose(acceptLanguage), notice)}});
}

Reply Answers::login(const Station& station, const std::string& acceptLanguage, const char* notice,
                     const std::string& login) const {
    const bool terms = termsOf(station) != nullptr;
    return withNotice(
        {"login", terms ? "terms-title" : "login-title", terms ? "terms-message" : "login-message"},
        station, acceptLanguage, notice, login);
}

Reply Answers::refused(const Station& station, const std::string& acceptLanguage) const {
    return withNotice({"refused", "refused-title", ""}, station, acceptLanguage, "refused-notice",
                      shownLogin(station));
}

Reply Answers::unanswered(const Station& station, const std::string& acceptLanguage) const {
    return withNotice({"login", "unanswered-title", ""}, station, acceptLanguage,
                      "unanswered-notice", shownLogin(station));
}

Reply Answers::over(const Station& station, const std::string& acceptLanguage) const {
    const bool traffic = station.endReason == "traffic-over";
    return write({"over", traffic ? "traffic-over-title" : "time-over-title",
                  traffic ? "traffic-over-message" : "time-over-message"},
                 station, acceptLanguage, {});
}

Reply Answers::welcome(const Station& station, const std::string& acceptLanguage,
                       const Remaining& remaining) const {
    const Texts& texts = pages_.texts();
    const std::string language = texts.choose(acceptLanguage);
    PageValues values = {{"token", tokens_.make(station.mac)}, {"login", shownLogin(station)}};
    if (remaining.seconds) {
        values["time-left"] = texts.duration(language, *remaining.seconds);
        values["time-in-all"] = texts.duration(language, *remaining.secondsInAll);
        values["time-share"] = shareOf(*remaining.seconds, *remaining.secondsInAll);
    }
    if (remaining.bytes) {
        values["volume-left"] = texts.volume(language, *remaining.bytes);
        values["volume-in-all"] = texts.volume(language, *remaining.bytesInAll);
        values["volume-share"] = shareOf(*remaining.bytes, *remaining.bytesInAll);
    }
    return write({"welcome", "welcome-title", "welcome-message"}, station, acceptLanguage, values);
}

Reply Answers::signedOut(const Station& station, const std::string& acceptLanguage) const {
    return write({"notice", "out-title", "out-message"}, station, acceptLanguage, {});
}

Reply Answers::tooManyAttempts(const Station& station, const std::string& acceptLanguage,
                               int seconds) const {
    return withRetry(
        write({"notice", "wait-title", "wait-message"}, station, acceptLanguage, {}, 429),
        std::to_string(seconds));
}

Reply Answers::later(const Page& page, const std::string& acceptLanguage,
                     const char* seconds) const {
    return withRetry(write(page, Station(), acceptLanguage, {{"reload", seconds}}, 503), seconds);
}

Reply Answers::busy(const std::string& acceptLanguage) const {
    return later({"notice", "busy-title", "busy-message"}, acceptLanguage, "5");
}

Reply Answers::unknown(const std::string& acceptLanguage) const {
    return later({"notice", "moment-title", "moment-message"}, acceptLanguage, "2");
}

Reply Answers::api(const Station& station, const std::string& userPortalUrl,
                   const Remaining& remaining) const {
    Json answer = {{"captive", !station.admitted},
                   {"user-portal-url", userPortalUrl},
                   {"can-extend-session", settings_.canExtend}};
    if (!settings_.venueUrl.empty()) {
        answer["venue-info-url"] = settings_.venueUrl;
    }
    if (remaining.seconds) {
        answer["seconds-remaining"] = *remaining.seconds;
    }
    if (remaining.bytes) {
        answer["bytes-remaining"] = *remaining.bytes;
    }
    Reply reply;
    reply.contentType = "application/captive+json";
    reply.body = answer.dump(-1, ' ', false, Json::error_handler_t::replace);
    reply.headers.emplace_back("Cache-Control", "private");
    return reply;
}

}  // namespace portald
