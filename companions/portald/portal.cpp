#include "portald/portal.h"

#include <array>
#include <utility>

#include "ostrel/addresses.h"
#include "ostrel/clock.h"
#include "portald/detection.h"
#include "portald/places.h"

namespace portald {
namespace {

using std::chrono::milliseconds;

constexpr const char* kApiPath = "/captive-portal/api";
constexpr const char* kLoginPath = "/portal/login";
constexpr const char* kLogoutPath = "/portal/logout";
constexpr const char* kRefusedPath = "/portal/refused";
constexpr const char* kUnansweredPath = "/portal/unanswered";

// The waits in front of asking again for a station that vestad does not know: it may have come a
// moment ago, and is known as soon as monitord has told of it.
constexpr std::array<milliseconds, 6> kUntilKnown = {{milliseconds(20), milliseconds(50),
                                                      milliseconds(100), milliseconds(200),
                                                      milliseconds(400), milliseconds(730)}};

// RADIUS servers may be asked more than once.
constexpr std::int64_t kLoginPatience = 8000;  // milliseconds
constexpr milliseconds kFirstLook(10);
constexpr milliseconds kLongestLook(250);

// For the answer to reach the station before it is thrown off the air.
constexpr milliseconds kUntilThrownOff(500);

// RFC 2865, section 5.1, and what a PAP password may have (section 5.2).
constexpr std::size_t kMostLogin = 253;
constexpr std::size_t kMostPassword = 128;

constexpr std::size_t kMostPortals = 256;

// Takes the place of a password that nobody had to give.
constexpr const char* kAgreed = "accepted";

Reply redirect(int status, const std::string& location) {
    Reply reply;
    reply.status = status;
    reply.headers.emplace_back("Location", location);
    return reply;
}

Reply plain(int status, const char* text) {
    Reply reply;
    reply.status = status;
    reply.body = text;
    return reply;
}

std::string field(const Asked& asked, const char* name) {
    const auto found = asked.form.find(name);
    return found != asked.form.end() ? found->second : "";
}

// UTF-8 without control characters, which would break lines of logs.
bool isText(const std::string& text) {
    for (const char c : text) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
            return false;
        }
    }
    try {
        static_cast<void>(Json(text).dump());
        return true;
    } catch (const Json::type_error&) {
        return false;
    }
}

}  // namespace

struct Portal::Visit {
    Asked asked;
    Respond respond;
    std::vector<Neighbours::Owner> owners;  // who may be asking; the MAC is "" for any
    std::size_t owner = 0;
    std::size_t round = 0;
    std::int64_t loginBegan = 0;  // monotonic milliseconds
    milliseconds look = kFirstLook;
};

Portal::Portal(Daemon& daemon, Neighbours& neighbours, const PageSet& pages,
               const Settings& settings, Later later)
    : daemon_(daemon),
      neighbours_(neighbours),
      settings_(settings),
      later_(std::move(later)),
      answers_(pages, tokens_, settings) {}

void Portal::handle(const Asked& asked, Respond respond) {
    if (asked.method != "GET" && asked.method != "HEAD" && asked.method != "POST") {
        Reply reply = plain(405, "Only GET, HEAD and POST.\n");
        reply.headers.emplace_back("Allow", "GET, HEAD, POST");
        respond(reply);
        return;
    }
    auto visit = std::make_shared<Visit>();
    visit->asked = asked;
    visit->respond = std::move(respond);
    identify(visit);
}

// The peer's address is the only thing that says who asks.
void Portal::identify(const VisitPtr& visit) {
    const std::string& peer = visit->asked.peer;
    visit->owner = 0;
    if (ostrel::parseIpv4(peer)) {
        visit->owners = {{"", peer}};
    } else {
        visit->owners = neighbours_.ownersOf(peer, visit->asked.peerDevice);
    }
    tryNext(visit);
}

void Portal::tryNext(const VisitPtr& visit) {
    if (visit->owner < visit->owners.size()) {
        daemon_.ask(validateIpRequest(visit->owners[visit->owner].ipv4),
                    [this, visit](const Daemon::Answer& answer) { recognise(visit, answer); });
        return;
    }
    if (visit->round == kUntilKnown.size()) {
        visit->respond(answers_.unknown(visit->asked.acceptLanguage));
        return;
    }
    later_(kUntilKnown[visit->round++], [this, visit] { identify(visit); });
}

void Portal::recognise(const VisitPtr& visit, const Daemon::Answer& answer) {
    if (!answer) {
        visit->respond(answers_.busy(visit->asked.acceptLanguage));
        return;
    }
    std::optional<Station> station = stationOf(*answer);
    const std::string& mac = visit->owners[visit->owner].mac;
    if (station && (mac.empty() || mac == station->mac)) {
        namePortal(*station);
        serve(visit, *station);
        return;
    }
    ++visit->owner;
    tryNext(visit);
}

// vestad names the virtual portal of stations without access alone; those of one SSID have the
// same.
void Portal::namePortal(Station& station) {
    const auto known = portalNames_.find(station.ssid);
    if (station.portalName.empty()) {
        station.portalName = known != portalNames_.end() ? known->second : "";
    } else if (known != portalNames_.end() || portalNames_.size() < kMostPortals) {
        portalNames_[station.ssid] = station.portalName;
    }
}

void Portal::serve(const VisitPtr& visit, const Station& station) {
    const Asked& asked = visit->asked;
    if (!isForPortal(asked, station, settings_)) {
        serveElsewhere(visit, station);
    } else if (asked.path == kApiPath && asked.method != "POST") {
        withRemaining(station, [this, visit, station](const Remaining& remaining) {
            visit->respond(
                answers_.api(station, portalUrl(visit->asked, station, settings_), remaining));
        });
    } else if (asked.method != "POST") {
        serveHere(visit, station);
    } else if (asked.path == kLoginPath) {
        logIn(visit, station);
    } else if (asked.path == kLogoutPath) {
        logOut(visit, station);
    } else {
        visit->respond(plain(404, "There is nothing here.\n"));
    }
}

// The station wanted another site, and its connection was led here.
void Portal::serveElsewhere(const VisitPtr& visit, const Station& station) {
    const Asked& asked = visit->asked;
    if (asked.method == "POST") {
        visit->respond(plain(511, "Open a web page to sign in to this network.\n"));
    } else if (!station.admitted) {
        visit->respond(redirect(302, redirectLocation(asked, station, settings_)));
    } else if (const std::optional<Reply> online = onlineAnswer(asked)) {
        visit->respond(*online);
    } else {
        visit->respond(redirect(302, portalUrl(asked, station, settings_)));
    }
}

void Portal::serveHere(const VisitPtr& visit, const Station& station) {
    if (station.admitted) {
        withRemaining(station, [this, visit, station](const Remaining& remaining) {
            visit->respond(answers_.welcome(station, visit->asked.acceptLanguage, remaining));
        });
    } else if (hasPagesHere(visit->asked, station, settings_)) {
        visit->respond(captivePage(visit->asked, station));
    } else {
        visit->respond(redirect(302, redirectLocation(visit->asked, station, settings_)));
    }
}

void Portal::withRemaining(const Station& station, std::function<void(const Remaining&)> next) {
    if (!station.admitted) {
        next(Remaining());
        return;
    }
    daemon_.ask(scenariosRequest(station), [next = std::move(next)](const Daemon::Answer& answer) {
        next(answer ? remainingOf(*answer) : Remaining());
    });
}

Reply Portal::captivePage(const Asked& asked, const Station& station) const {
    const std::string& language = asked.acceptLanguage;
    const bool over = station.endReason == "time-over" || station.endReason == "traffic-over" ||
                      station.endReason == "session-over";
    if (asked.path == kLoginPath) {
        return answers_.login(station, language, "");
    }
    if (asked.path == kUnansweredPath) {
        return answers_.unanswered(station, language);
    }
    // A station that RADIUS has refused was thrown off the air; it may see only now why.
    if (asked.path == kRefusedPath || attempts_.wasRefused(station.mac)) {
        return answers_.refused(station, language);
    }
    return over ? answers_.over(station, language) : answers_.login(station, language, "");
}

bool Portal::isFromOurPage(const Asked& asked, const Station& station) const {
    return asked.fetchSite != "cross-site" && tokens_.isValid(field(asked, "token"), station.mac);
}

void Portal::logIn(const VisitPtr& visit, const Station& station) {
    const Asked& asked = visit->asked;
    const auto again = [&](int status, const char* notice) {
        Reply reply = answers_.login(station, asked.acceptLanguage, notice, field(asked, "login"));
        reply.status = status;
        visit->respond(reply);
    };
    if (station.admitted) {
        visit->respond(redirect(303, "/"));
        return;
    }
    if (const int wait = attempts_.count(station.mac)) {
        visit->respond(answers_.tooManyAttempts(station, asked.acceptLanguage, wait));
        return;
    }
    if (!isFromOurPage(asked, station)) {
        again(403, "notice-expired");
        return;
    }
    const std::string login = field(asked, "login");
    const std::string password = field(asked, "password");
    if (const std::string* const scenario = answers_.termsOf(station)) {
        if (field(asked, "accept").empty()) {
            again(400, "notice-agree");
        } else if (scenario->empty()) {
            authenticate(visit, station,
                         tools::PortalClient::validateRequest(station.ip, station.mac, kAgreed));
        } else {
            authenticate(visit, station,
                         {{"command", "update"},
                          {"params", {{"ipaddr", station.ip}, {"cur-scenario-id", *scenario}}}});
        }
    } else if (login.empty() || password.empty()) {
        again(400, "notice-empty");
    } else if (login.size() > kMostLogin || password.size() > kMostPassword || !isText(login) ||
               !isText(password)) {
        again(400, "refused-notice");
    } else {
        authenticate(visit, station,
                     tools::PortalClient::validateRequest(station.ip, login, password));
    }
}

void Portal::authenticate(const VisitPtr& visit, const Station& station, const Json& request) {
    visit->loginBegan = ostrel::monotonicMilliseconds();
    daemon_.ask(request, [this, visit, station](const Daemon::Answer& answer) {
        if (!answer) {
            visit->respond(answers_.busy(visit->asked.acceptLanguage));
            return;
        }
        awaitAdmission(visit, station);
    });
}

void Portal::awaitAdmission(const VisitPtr& visit, const Station& station) {
    daemon_.ask(
        validateIpRequest(station.ip),
        [this, visit, station](const Daemon::Answer& answer) { conclude(visit, station, answer); });
}

// What became of the login stands in no answer but in the station's new state.
void Portal::conclude(const VisitPtr& visit, const Station& station, const Daemon::Answer& answer) {
    const std::optional<Station> now = answer ? stationOf(*answer) : std::nullopt;
    if (now && now->mac == station.mac && now->admitted) {
        attempts_.succeeded(station.mac);
        visit->respond(redirect(303, "/"));
        return;
    }
    // One whom RADIUS refuses is forgotten.
    if (answer && (!now || now->mac != station.mac)) {
        attempts_.refused(station.mac);
        visit->respond(redirect(303, kRefusedPath));
        return;
    }
    if (ostrel::monotonicMilliseconds() - visit->loginBegan >= kLoginPatience) {
        visit->respond(redirect(303, kUnansweredPath));
        return;
    }
    later_(visit->look, [this, visit, station] { awaitAdmission(visit, station); });
    visit->look = std::min(visit->look * 2, kLongestLook);
}

// "cp-del-client" ends the session of every kind of VAP; "update", to the login's scenario, is
// obeyed in the portal modes alone. It wants the interface, which only "get" tells.
void Portal::logOut(const VisitPtr& visit, const Station& station) {
    const Asked& asked = visit->asked;
    if (!station.admitted || !isFromOurPage(asked, station)) {
        visit->respond(redirect(303, "/"));
        return;
    }
    if (const int wait = attempts_.count(station.mac)) {
        visit->respond(answers_.tooManyAttempts(station, asked.acceptLanguage, wait));
        return;
    }
    daemon_.ask({{"command", "get"}}, [this, visit, station](const Daemon::Answer& answer) {
        const std::string interface = answer ? interfaceOf(*answer, station) : "";
        if (interface.empty()) {
            visit->respond(answers_.busy(visit->asked.acceptLanguage));
            return;
        }
        visit->respond(answers_.signedOut(station, visit->asked.acceptLanguage));
        later_(kUntilThrownOff, [this, interface, station] {
            daemon_.ask(
                {{"command", "cp-del-client"}, {"interface", interface}, {"mac", station.mac}},
                [](const Daemon::Answer&) {});
        });
    });
}

}  // namespace portald
