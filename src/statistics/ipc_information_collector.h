#pragma once

// Asks the monitoring daemon for the list of associated stations with their counters.
//
// Threads: getClientsInformation() from any thread; answers arrive on the bus's delivery thread.

#include <atomic>
#include <memory>
#include <vector>

#include "ostrel/ipc.h"
#include "statistics/information_collector.h"

namespace vesta {

class IPCInformationCollector final : public InformationCollector {
public:
    explicit IPCInformationCollector(std::shared_ptr<IpcInterface> ipc);

    // Does nothing while three requests are unanswered: a peer that has fallen behind is not asked
    // more. `caller` must outlive the bus.
    void getClientsInformation(InformationCaller* caller) override;

    // `response` is the answer as a json_object*, or null when none came in time; `context` the
    // InformationCaller. Throws nothing.
    static void ipcResponseCallback(void* response, void* context, int status);

    // Appends one record for each station of the answer, in its order, and takes the stations out
    // of the answer; an element without interface or address is skipped, a counter that is missing
    // or no number is 0. False, and one error record, when the answer has no list of stations.
    [[nodiscard]] static bool parseResponseData(void* response,
                                                std::vector<ClientStatisticInfo>& statistics);

private:
    std::shared_ptr<IpcInterface> ipc_;
    // Shared with the callbacks, which may come after the collector's end.
    std::shared_ptr<std::atomic<int>> underWay_;
};

}  // namespace vesta
