#include "running_daemon.h"

#include <algorithm>
#include <stdexcept>
#include <thread>

#include "process_figures.h"
#include "stations.h"

namespace vesta::bench {
namespace {

using Clock = std::chrono::steady_clock;

apsim::AccessPointOptions countingOnly() {
    apsim::AccessPointOptions options;
    options.keepEvents = false;
    return options;
}

}  // namespace

apsim::Json daemonConfiguration(const std::string& runtimeDirectory) {
    apsim::Json config = apsim::Json::parse(configurationText(1));
    config["captive-portal"]["logfile"] = runtimeDirectory + "/vestad.log";
    config["captive-portal"]["loglevel"] = 3;
    return config;
}

RunningDaemon::RunningDaemon(const apsim::Json& configuration,
                             const std::vector<std::string>& command)
    : accessPoint_(configuration, countingOnly()), process_(command) {
    if (!accessPoint_.waitForDaemon(kPatience)) {
        throw std::runtime_error("the daemon does not answer");
    }
}

void RunningDaemon::waitForPasses(std::uint64_t passes) {
    apsim::Monitord& monitord = accessPoint_.monitord();
    if (!monitord.waitForAnswers(monitord.answers() + passes, kPatience)) {
        throw std::runtime_error("the daemon asks for no statistics");
    }
}

double RunningDaemon::residentKiB() const {
    std::vector<double> samples;
    for (int i = 0; i < 100; ++i) {
        samples.push_back(static_cast<double>(bench::residentKiB(pid())));
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    std::sort(samples.begin(), samples.end());
    return samples[samples.size() / 10];
}

void RunningDaemon::announce(std::size_t station) {
    const apsim::StationId id{interfaceOf(0), macOf(station)};
    accessPoint_.associations().associate(id);
    accessPoint_.modules().notify(id, ipOf(station));
}

RunningDaemon::Arrival RunningDaemon::letIn(std::size_t stations) {
    const Clock::time_point start = Clock::now();
    for (std::size_t i = 0; i < stations; ++i) {
        announce(i);
    }
    const auto isLetIn = [&](std::size_t i) {
        return accessPoint_.redirector().access({interfaceOf(0), macOf(i)}) ==
               apsim::Access::authed;
    };
    std::size_t next = 0;
    const auto allAreLetIn = [&] {
        while (next < stations && isLetIn(next)) {
            ++next;
        }
        return next == stations;
    };
    accessPoint_.events().waitUntil(allAreLetIn, kPatience);
    Arrival arrival{std::chrono::duration<double>(Clock::now() - start).count(), 0};
    for (std::size_t i = next; i < stations; ++i) {
        arrival.undecided += isLetIn(i) ? 0U : 1U;
    }
    return arrival;
}

}  // namespace vesta::bench
