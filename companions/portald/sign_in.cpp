#include "portald/sign_in.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "ostrel/clock.h"

namespace portald {
namespace {

using std::chrono::milliseconds;

// RADIUS servers may be asked more than once.
constexpr std::int64_t kPatience = 8000;  // milliseconds
constexpr milliseconds kFirstLook(10);
constexpr milliseconds kLongestLook(250);

// For the answer to reach the station before it is thrown off the air.
constexpr milliseconds kUntilThrownOff(500);

// RFC 2865, section 5.1, and what a PAP password may have (section 5.2).
constexpr std::size_t kMostLogin = 253;
constexpr std::size_t kMostPassword = 128;

// Takes the place of a password that nobody had to give.
constexpr const char* kAgreed = "accepted";

std::string field(const Asked& asked, const char* name) {
    const auto found = asked.form.find(name);
    return found != asked.form.end() ? found->second : "";
}

// UTF-8 without control characters, which would break lines of logs.
bool isText(const std::string& text) {
    const bool printable = std::none_of(text.begin(), text.end(), [](char c) {
        return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
    });
    try {
        static_cast<void>(Json(text).dump());
        return printable;
    } catch (const Json::type_error&) {
        return false;
    }
}

}  // namespace

struct SignIn::Login {
    std::string acceptLanguage;
    Station station;
    Respond respond;
    std::int64_t began = 0;  // monotonic milliseconds
    milliseconds look = kFirstLook;
};

void SignIn::logIn(const Asked& asked, const Station& station, Respond respond) {
    if (station.admitted) {
        respond(redirect(303, "/"));
        return;
    }
    if (const int wait = attempts_.count(station.mac)) {
        respond(answers_.tooManyAttempts(station, asked.acceptLanguage, wait));
        return;
    }
    const bool ours = isFromOurPage(asked, station);
    const char* objection = ours ? nullptr : "notice-expired";
    const Json request = ours ? requestFor(asked, station, objection) : Json();
    if (objection != nullptr) {
        Reply reply =
            answers_.login(station, asked.acceptLanguage, objection, field(asked, "login"));
        reply.status = ours ? 400 : 403;
        respond(reply);
        return;
    }
    auto login = std::make_shared<Login>();
    login->acceptLanguage = asked.acceptLanguage;
    login->station = station;
    login->respond = std::move(respond);
    login->began = ostrel::monotonicMilliseconds();
    daemon_.ask(request, [this, login](const Daemon::Answer& answer) {
        if (answer) {
            awaitAdmission(login);
        } else {
            login->respond(answers_.busy(login->acceptLanguage));
        }
    });
}

// What vestad is to be asked; or `objection`, the key of the text that says what is wrong.
Json SignIn::requestFor(const Asked& asked, const Station& station, const char*& objection) const {
    using tools::PortalClient;
    const std::string login = field(asked, "login");
    const std::string password = field(asked, "password");
    if (const std::string* const scenario = answers_.termsOf(station)) {
        if (field(asked, "accept").empty()) {
            objection = "notice-agree";
            return {};
        }
        if (scenario->empty()) {
            return PortalClient::validateRequest(station.ip, station.mac, kAgreed);
        }
        return {{"command", "update"},
                {"params", {{"ipaddr", station.ip}, {"cur-scenario-id", *scenario}}}};
    }
    if (login.empty() || password.empty()) {
        objection = "notice-empty";
    } else if (login.size() > kMostLogin || password.size() > kMostPassword || !isText(login) ||
               !isText(password)) {
        objection = "refused-notice";
    }
    return objection == nullptr ? PortalClient::validateRequest(station.ip, login, password)
                                : Json();
}

void SignIn::awaitAdmission(const LoginPtr& login) {
    daemon_.ask(validateIpRequest(login->station.ip),
                [this, login](const Daemon::Answer& answer) { conclude(login, answer); });
}

// What became of the login stands in no answer but in the station's new state.
void SignIn::conclude(const LoginPtr& login, const Daemon::Answer& answer) {
    const std::string& mac = login->station.mac;
    const std::optional<Station> now = answer ? stationOf(*answer) : std::nullopt;
    const bool isThere = now && now->mac == mac;
    if (isThere && now->admitted) {
        attempts_.succeeded(mac);
        login->respond(redirect(303, "/"));
    } else if (answer && !isThere) {
        // One whom RADIUS refuses is forgotten.
        attempts_.refused(mac);
        login->respond(redirect(303, kRefusedPath));
    } else if (ostrel::monotonicMilliseconds() - login->began >= kPatience) {
        login->respond(redirect(303, kUnansweredPath));
    } else {
        later_(login->look, [this, login] { awaitAdmission(login); });
        login->look = std::min(login->look * 2, kLongestLook);
    }
}

// "cp-del-client" ends the session of every kind of VAP; "update", to the login's scenario, is
// obeyed in the portal modes alone. It wants the interface, which only "get" tells.
void SignIn::logOut(const Asked& asked, const Station& station, Respond respond) {
    const std::string& language = asked.acceptLanguage;
    if (!station.admitted || !isFromOurPage(asked, station)) {
        respond(redirect(303, "/"));
        return;
    }
    if (const int wait = attempts_.count(station.mac)) {
        respond(answers_.tooManyAttempts(station, language, wait));
        return;
    }
    daemon_.ask({{"command", "get"}}, [this, language, station,
                                       respond = std::move(respond)](const Daemon::Answer& answer) {
        const std::string interface = answer ? interfaceOf(*answer, station) : "";
        if (interface.empty()) {
            respond(answers_.busy(language));
            return;
        }
        respond(answers_.signedOut(station, language));
        later_(kUntilThrownOff, [this, interface, mac = station.mac] {
            daemon_.ask({{"command", "cp-del-client"}, {"interface", interface}, {"mac", mac}},
                        [](const Daemon::Answer&) {});
        });
    });
}

bool SignIn::isFromOurPage(const Asked& asked, const Station& station) const {
    return asked.fetchSite != "cross-site" && tokens_.isValid(field(asked, "token"), station.mac);
}

}  // namespace portald
