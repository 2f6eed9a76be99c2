#pragma once

// The daemon's process beside a simulated access point, and what its measurements share.

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "apsim/access_point.h"
#include "support/child_process.h"

namespace vesta::bench {

// How long anything may take before a measurement is given up.
inline constexpr std::chrono::seconds kPatience{60};

// One VAP in local mode, see configurationText(); warnings and errors go to a log in that
// directory.
apsim::Json daemonConfiguration(const std::string& runtimeDirectory);

class RunningDaemon {
public:
    // `command` starts the daemon. Returns when it answers; throws std::runtime_error when it
    // doesn't.
    RunningDaemon(const apsim::Json& configuration, const std::vector<std::string>& command);

    apsim::AccessPoint& accessPoint() { return accessPoint_; }
    [[nodiscard]] pid_t pid() const { return process_.pid(); }

    void waitForPasses(std::uint64_t passes);
    // Between two passes: while an answer of monitord is worked on, its nodes are there besides.
    // Takes five seconds.
    [[nodiscard]] double residentKiB() const;

    // A station of the first VAP associates and sends its first packet.
    void announce(std::size_t station);
    struct Arrival {
        double seconds;
        std::size_t undecided;  // after a minute
    };
    // The first `stations` come at once; from the first notification until the redirector has let
    // in the last.
    Arrival letIn(std::size_t stations);

private:
    apsim::AccessPoint accessPoint_;
    testing::ChildProcess process_;
};

}  // namespace vesta::bench
