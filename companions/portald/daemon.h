#pragma once

// The way to vestad: requests go out and answers come in on the event loop's thread, and nobody
// waits for them.

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "common/event_loop.h"
#include "requests/portal_client.h"

namespace portald {

using Json = tools::Json;

// Where the portal's requests go; a test stands in for it.
class Daemon {
public:
    // Nothing when vestad isn't there or gave no answer in time.
    using Answer = std::optional<Json>;
    using Callback = std::function<void(const Answer&)>;

    virtual ~Daemon() = default;
    virtual void ask(const Json& request, Callback callback) = 0;
};

// vestad on the bus. It may go and come back.
//
// Threads: ask() and the callbacks on the loop's thread. The answers are brought there from the
// bus's thread.
class BusDaemon final : public Daemon {
public:
    // Joins the bus of `runtimeDirectory`. Throws std::runtime_error when that is not possible.
    BusDaemon(companion::EventLoop& loop, const std::string& runtimeDirectory);
    ~BusDaemon() override;
    BusDaemon(const BusDaemon&) = delete;
    BusDaemon& operator=(const BusDaemon&) = delete;

    void ask(const Json& request, Callback callback) override;

private:
    class Mailbox;

    companion::EventLoop& loop_;
    std::shared_ptr<Mailbox> mailbox_;
    tools::PortalClient client_;
};

}  // namespace portald
