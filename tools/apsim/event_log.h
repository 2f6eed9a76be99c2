#pragma once

// What happened, in order: everything that the daemon told a party of the simulated access point,
// and what its stations did. Tests wait for events here instead of sleeping.
//
// Threads: every function may be called from any thread. The observer is called on the thread that
// adds the event, one event at a time, and must neither add events nor wait for one. A party adds
// the event of a change under the lock of what it changed, so that whoever sees the new state finds
// its event here: observers and predicates must not ask a party for its state.

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "ostrel/mutex.h"

namespace apsim {

using Milliseconds = std::chrono::milliseconds;

enum class Party {
    station,        // acts of the stations themselves, not of the daemon
    configuration,  // the configuration manager was asked
    redirector,
    shaper,
    wifiAuth,
    trap,    // monitord was told
    deauth,  // the deauth-client command was run
    portal,  // answers to the portal's and the proxy's requests
    radius,  // requests to and of the RADIUS server
};

// "redirector", "wifi-auth", ...
const char* partyName(Party party);

// One station: the VAP that it is associated with and its MAC text in lower case.
struct StationId {
    std::string interface;
    std::string mac;
};
bool operator==(const StationId& left, const StationId& right);
bool operator<(const StationId& left, const StationId& right);

struct Event {
    Party party = Party::station;
    std::string what;    // the word to look for: "authed", "sta add", "cp-deauth", "validate", ...
    StationId station;   // empty where the event concerns none
    std::string detail;  // the rest, for people
    std::chrono::steady_clock::time_point at = std::chrono::steady_clock::now();
};

class EventLog {
public:
    using Predicate = std::function<bool(const Event&)>;

    // Without `keep` events are only counted and shown to the observer: for long or large runs.
    explicit EventLog(bool keep = true) : keep_(keep) {}

    void add(Event event) EXCLUDES(mutex_, observerMutex_);

    // Called for every event from now on.
    void setObserver(std::function<void(const Event&)> observer) EXCLUDES(observerMutex_);

    // Number of events so far: the position from which a later wait shall look.
    [[nodiscard]] std::size_t size() const EXCLUDES(mutex_);
    [[nodiscard]] std::vector<Event> since(std::size_t from = 0) const EXCLUDES(mutex_);

    // The first event at or after position `from` that `predicate` accepts; waits for it at most
    // `timeout`. The predicate must not use the log or a party's state.
    std::optional<Event> waitFor(const Predicate& predicate, Milliseconds timeout,
                                 std::size_t from = 0) EXCLUDES(mutex_);
    std::optional<Event> waitFor(Party party, const std::string& what, const StationId& station,
                                 Milliseconds timeout, std::size_t from = 0) EXCLUDES(mutex_);

    // Whether `condition` holds within `timeout`; it is asked at once and after each event, and may
    // look at anything, the log included.
    bool waitUntil(const std::function<bool()>& condition, Milliseconds timeout) EXCLUDES(mutex_);

private:
    const bool keep_;
    mutable ostrel::Mutex mutex_;
    ostrel::CondVar added_;
    std::vector<Event> events_ GUARDED_BY(mutex_);
    std::size_t count_ GUARDED_BY(mutex_) = 0;
    ostrel::Mutex observerMutex_;
    std::function<void(const Event&)> observer_ GUARDED_BY(observerMutex_);
};

}  // namespace apsim
