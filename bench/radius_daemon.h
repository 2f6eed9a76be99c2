#pragma once

// The whole daemon beside a simulated access point, its stations authenticated by their MAC.

#include <cstddef>
#include <cstdint>
#include <string>

#include "running_daemon.h"

namespace vesta::bench {

RunningDaemon::Arrival burstAtDaemon(std::size_t stations, std::uint16_t port,
                                     const std::string& secret,
                                     const std::string& runtimeDirectory);

}  // namespace vesta::bench
