#pragma once

// What becomes of a request: finds out from vestad whose it is, and sends the station to its page,
// shows it the page, logs it in or out. Waits for nobody: each step goes on when an answer comes.
//
// Threads: the event loop's alone.

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "portald/answers.h"
#include "portald/attempts.h"
#include "portald/daemon.h"
#include "portald/neighbours.h"

namespace portald {

class Portal {
public:
    using Respond = std::function<void(const Reply&)>;
    // Calls a function once, after the delay.
    using Later = std::function<void(std::chrono::milliseconds, std::function<void()>)>;

    // All live longer than this object.
    Portal(Daemon& daemon, Neighbours& neighbours, const PageSet& pages, const Settings& settings,
           Later later);

    // `respond` is called once, now or later.
    void handle(const Asked& asked, Respond respond);

private:
    struct Visit;
    using VisitPtr = std::shared_ptr<Visit>;

    void identify(const VisitPtr& visit);
    void tryNext(const VisitPtr& visit);
    void recognise(const VisitPtr& visit, const Daemon::Answer& answer);
    void serve(const VisitPtr& visit, const Station& station);
    void namePortal(Station& station);
    void serveElsewhere(const VisitPtr& visit, const Station& station);
    void serveHere(const VisitPtr& visit, const Station& station);
    void withRemaining(const Station& station, std::function<void(const Remaining&)> next);
    [[nodiscard]] Reply captivePage(const Asked& asked, const Station& station) const;

    void logIn(const VisitPtr& visit, const Station& station);
    void authenticate(const VisitPtr& visit, const Station& station, const Json& request);
    void awaitAdmission(const VisitPtr& visit, const Station& station);
    void conclude(const VisitPtr& visit, const Station& station, const Daemon::Answer& answer);
    void logOut(const VisitPtr& visit, const Station& station);
    [[nodiscard]] bool isFromOurPage(const Asked& asked, const Station& station) const;

    Daemon& daemon_;
    Neighbours& neighbours_;
    const Settings& settings_;
    const Later later_;
    Tokens tokens_;
    Attempts attempts_;
    Answers answers_;
    std::map<std::string, std::string> portalNames_;  // by SSID
};

}  // namespace portald
