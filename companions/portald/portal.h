#pragma once

// What becomes of a request: a station without access is sent to its page or shown it, one with
// access sees what it has left. Waits for nobody: each step goes on when an answer comes.
//
// Threads: the event loop's alone.

#include <functional>
#include <memory>

#include "portald/answers.h"
#include "portald/daemon.h"
#include "portald/recognition.h"
#include "portald/sign_in.h"

namespace portald {

class Portal {
public:
    // All that are referred to live longer than this object.
    Portal(Daemon& daemon, Neighbours& neighbours, const PageSet& pages, const Settings& settings,
           Later later);
    Portal(const Portal&) = delete;
    Portal& operator=(const Portal&) = delete;

    // `respond` is called once, now or within twelve seconds.
    void handle(const Asked& asked, const Respond& respond);

private:
    void serve(const Asked& asked, const Station& station, const Respond& respond);
    [[nodiscard]] Reply elsewhere(const Asked& asked, const Station& station) const;
    [[nodiscard]] Reply captivePage(const Asked& asked, const Station& station) const;
    void withRemaining(const Station& station, std::function<void(const Remaining&)> next);

    Daemon& daemon_;
    const Settings& settings_;
    const Later later_;
    const Tokens tokens_;
    const Answers answers_;
    Recognition recognition_;
    SignIn signIn_;
};

}  // namespace portald
