#pragma once

// Logs stations in and out.
//
// Threads: the event loop's alone.

#include <memory>
#include <string>

#include "portald/answers.h"
#include "portald/attempts.h"
#include "portald/daemon.h"

namespace portald {

// The places on this portal that have a meaning; every other one shows what the station's state
// demands.
inline constexpr const char* kLoginPath = "/portal/login";
inline constexpr const char* kLogoutPath = "/portal/logout";
inline constexpr const char* kRefusedPath = "/portal/refused";
inline constexpr const char* kUnansweredPath = "/portal/unanswered";

class SignIn {
public:
    // All live longer than this object.
    SignIn(Daemon& daemon, const Answers& answers, const Tokens& tokens, const Later& later)
        : daemon_(daemon), answers_(answers), tokens_(tokens), later_(later) {}

    // `asked` is a form of the station. `respond` is called once, now or within ten seconds.
    void logIn(const Asked& asked, const Station& station, Respond respond);
    void logOut(const Asked& asked, const Station& station, Respond respond);

    // Lately, and not let in since.
    [[nodiscard]] bool wasRefused(const Station& station) const {
        return attempts_.wasRefused(station.mac);
    }

private:
    struct Login;
    using LoginPtr = std::shared_ptr<Login>;

    [[nodiscard]] Json requestFor(const Asked& asked, const Station& station,
                                  const char*& objection) const;
    void awaitAdmission(const LoginPtr& login);
    void conclude(const LoginPtr& login, const Daemon::Answer& answer);
    [[nodiscard]] bool isFromOurPage(const Asked& asked, const Station& station) const;

    Daemon& daemon_;
    const Answers& answers_;
    const Tokens& tokens_;
    const Later& later_;
    Attempts attempts_;
};

}  // namespace portald
