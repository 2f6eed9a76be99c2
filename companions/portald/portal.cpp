#include "portald/portal.h"

#include <utility>

#include "portald/detection.h"
#include "portald/places.h"

namespace portald {
namespace {

constexpr const char* kApiPath = "/captive-portal/api";

Reply plain(int status, const char* text) {
    Reply reply;
    reply.status = status;
    reply.body = text;
    return reply;
}

}  // namespace

Portal::Portal(Daemon& daemon, Neighbours& neighbours, const PageSet& pages,
               const Settings& settings, Later later)
    : daemon_(daemon),
      settings_(settings),
      later_(std::move(later)),
      answers_(pages, tokens_, settings),
      recognition_(daemon, neighbours, later_),
      signIn_(daemon, answers_, tokens_, later_) {}

void Portal::handle(const Asked& asked, const Respond& respond) {
    if (asked.method != "GET" && asked.method != "HEAD" && asked.method != "POST") {
        Reply reply = plain(405, "Only GET, HEAD and POST.\n");
        reply.headers.emplace_back("Allow", "GET, HEAD, POST");
        respond(reply);
        return;
    }
    recognition_.find(
        asked, [this, asked, respond](const Station& station) { serve(asked, station, respond); },
        [this, language = asked.acceptLanguage, respond](Recognition::Failure failure) {
            respond(failure == Recognition::Failure::unknown ? answers_.unknown(language)
                                                             : answers_.busy(language));
        });
}

void Portal::serve(const Asked& asked, const Station& station, const Respond& respond) {
    const bool posted = asked.method == "POST";
    if (!isForPortal(asked, station, settings_)) {
        respond(elsewhere(asked, station));
    } else if (posted && asked.path == kLoginPath) {
        signIn_.logIn(asked, station, respond);
    } else if (posted && asked.path == kLogoutPath) {
        signIn_.logOut(asked, station, respond);
    } else if (posted) {
        respond(plain(404, "There is nothing here.\n"));
    } else if (asked.path == kApiPath) {
        withRemaining(station, [this, asked, station, respond](const Remaining& remaining) {
            respond(answers_.api(station, portalUrl(asked, station, settings_), remaining));
        });
    } else if (station.admitted) {
        withRemaining(station, [this, asked, station, respond](const Remaining& remaining) {
            respond(answers_.welcome(station, asked.acceptLanguage, remaining));
        });
    } else if (hasPagesHere(asked, station, settings_)) {
        respond(captivePage(asked, station));
    } else {
        respond(redirect(302, redirectLocation(asked, station, settings_)));
    }
}

// The station wanted another site, and its connection was led here.
Reply Portal::elsewhere(const Asked& asked, const Station& station) const {
    if (asked.method == "POST") {
        return plain(511, "Open a web page to sign in to this network.\n");
    }
    if (!station.admitted) {
        return redirect(302, redirectLocation(asked, station, settings_));
    }
    const std::optional<Reply> online = onlineAnswer(asked);
    return online ? *online : redirect(302, portalUrl(asked, station, settings_));
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
    if (asked.path == kRefusedPath || signIn_.wasRefused(station)) {
        return answers_.refused(station, language);
    }
    return over ? answers_.over(station, language) : answers_.login(station, language, "");
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

}  // namespace portald
