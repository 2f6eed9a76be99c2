#pragma once

// The one thread of the process that runs the RADIUS library's event loop: answers, give-ups and
// disconnect requests are handled on it. Reached through Singleton<RadiusListener>.

#include "core/singleton.h"
#include "core/threaded.h"

namespace vesta {

class RadiusListener final : public Threaded {
public:
    // Starts the thread; does nothing while it runs.
    bool run() override;
    // Ends the loop and waits for the thread, so that no callback runs any more. Not to be called
    // by a callback.
    void stop();
};

}  // namespace vesta
