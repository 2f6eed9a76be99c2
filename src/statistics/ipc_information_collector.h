#pragma once

// Asks the monitoring daemon for the list of associated stations with their counters.
//
// Threads: getClientsInformation() from any thread; answers arrive on the bus's delivery thread.

#include <cstdint>
#include <memory>
#include <set>
#include <vector>

#include "core/mutex.h"
#include "ostrel/ipc.h"
#include "statistics/information_collector.h"

namespace vesta {

// The requests that wait for their answer. Any thread.
class OpenQuestions {
public:
    // Counts a request that is made at `now` (monotonic microseconds) and returns true, or returns
    // false when there are enough.
    [[nodiscard]] bool open(std::int64_t now) EXCLUDES(mutex_);
    // The request made at `time` waits no more.
    void close(std::int64_t time) EXCLUDES(mutex_);
    // Something of an answer has come: whoever is slow is not asked more for it.
    void hear(std::int64_t now) EXCLUDES(mutex_);

private:
    Mutex mutex_;
    std::multiset<std::int64_t> times_ GUARDED_BY(mutex_);
    std::int64_t heardAt_ GUARDED_BY(mutex_) = 0;
};

// The stations that the frames of one answer have told so far.
struct GatheredStatistics {
    std::vector<ClientStatisticInfo> stations;
    bool usable = true;
};

class IPCInformationCollector final : public InformationCollector {
public:
    explicit IPCInformationCollector(std::shared_ptr<IpcInterface> ipc);

    // Does nothing while three requests are unanswered: a peer that has fallen behind is not asked
    // more. One that owes an answer and has said nothing for two seconds or longer is asked every
    // two seconds, since it may have begun anew. `caller` must outlive the bus.
    void getClientsInformation(InformationCaller* caller) override;

    // `response` is a frame of the answer as a json_object*, or null when none came in time;
    // `context` the InformationCaller, which gets the stations of all frames with the last one.
    // An answer about more than 262,144 stations is not taken. Throws nothing.
    static void ipcResponseCallback(void* response, void* context, int status,
                                    GatheredStatistics& gathered);
    // Of an answer of one frame.
    static void ipcResponseCallback(void* response, void* context, int status);

    // Appends one record for each station of the answer, in its order, and takes the stations out
    // of the answer; an element without interface or address is skipped, a counter that is missing
    // or no number is 0. False, and one error record, when the answer has no list of stations.
    [[nodiscard]] static bool parseResponseData(void* response,
                                                std::vector<ClientStatisticInfo>& statistics);

private:
    std::shared_ptr<IpcInterface> ipc_;
    // Shared with the callbacks, which may come after the collector's end.
    std::shared_ptr<OpenQuestions> open_;
};

}  // namespace vesta
