#pragma once

// The monitoring daemon: module 9 takes the traps, module 11 answers the statistics request with
// the stations that are associated at that moment.
//
// Threads: every function may be called from any thread.

#include <cstdint>

#include "apsim/associations.h"
#include "apsim/bus_module.h"
#include "apsim/event_log.h"
#include "ostrel/mutex.h"

namespace apsim {

class Monitord {
public:
    // Each trap adds an event (trap, "cp-connected" etc.). Throws std::runtime_error when a place
    // on the bus can't be taken.
    Monitord(const Associations& associations, EventLog& log, const std::string& runtimeDirectory);

    // While false, statistics requests get no answer. True at start.
    void setAnswering(bool answering) EXCLUDES(mutex_);

    // Statistics requests that were answered so far.
    [[nodiscard]] std::uint64_t answers() const EXCLUDES(mutex_);
    // Waits until `count` requests were answered since the start; false when `timeout` passed
    // first.
    bool waitForAnswers(std::uint64_t count, Milliseconds timeout) EXCLUDES(mutex_);

private:
    void receiveTrap(const char* text);
    void answerStatistics(const char* text, int sender) EXCLUDES(mutex_);

    const Associations& associations_;
    EventLog& log_;
    mutable ostrel::Mutex mutex_;
    ostrel::CondVar answered_;
    bool answering_ GUARDED_BY(mutex_) = true;
    std::uint64_t answers_ GUARDED_BY(mutex_) = 0;
    BusModule traps_;
    BusModule statistics_;
};

}  // namespace apsim
