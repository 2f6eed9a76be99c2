#pragma once

// The process's thread for the RADIUS library's event loop. Answers, give-ups and disconnect
// requests are handled on it. Reached through Singleton<RadiusListener>.

#include "core/event_listener.h"
#include "core/singleton.h"

namespace vesta {

class RadiusListener final : public Threaded {
public:
    // Starts the thread; does nothing while it runs.
    bool run() override;
    // Ends the loop and waits for the thread; no callback runs after it. A callback must not call
    // it.
    void stop();
};

}  // namespace vesta
