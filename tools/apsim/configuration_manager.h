#pragma once

// Module 1: gives the configuration document to whoever asks for it.
//
// Threads: every function may be called from any thread.

#include <string>

#include "apsim/bus_module.h"
#include "apsim/event_log.h"

namespace apsim {

class ConfigurationManager {
public:
    // `config` is the document as JSON text: what the daemon gets under "config". Each asking adds
    // the event (configuration, "get-initial-config"). Throws std::runtime_error when the place on
    // the bus can't be taken.
    ConfigurationManager(const std::string& config, EventLog& log,
                         const std::string& runtimeDirectory);

private:
    const std::string answer_;
    EventLog& log_;
    BusModule module_;
};

}  // namespace apsim
