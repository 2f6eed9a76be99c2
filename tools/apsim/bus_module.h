#pragma once

// One module on the bus, with the thread that handles its commands.
//
// Threads: the commands run on a thread of the object's own, one at a time.

#include <string>
#include <thread>
#include <vector>

#include "ostrel/ipc.h"

namespace apsim {

class BusModule {
public:
    // Throws std::runtime_error when the place on the bus of that runtime directory can't be taken.
    BusModule(ipc_module_t module, IpcInterface::CommandTable commands,
              const std::string& runtimeDirectory);
    // Stops and joins.
    ~BusModule();
    BusModule(const BusModule&) = delete;
    BusModule& operator=(const BusModule&) = delete;

    // Never blocks; false when the frame was dropped. Also callable from a command.
    bool send(const std::string& text, int module) const { return ipc_.send(text, module); }
    // The frames of one answer.
    bool sendAnswer(const std::vector<std::string>& frames, int module) const {
        return ipc_.sendAnswer(frames, module);
    }

private:
    IpcInterface ipc_;
    const IpcInterface::CommandTable commands_;
    std::thread thread_;
};

}  // namespace apsim
