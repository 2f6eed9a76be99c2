#pragma once

// What the redirector kernel module does, without the kernel: it keeps the state of each station
// and the white lists that it is sent, and knows what a station can reach.
//
// Threads: every function may be called from any thread.

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "apsim/event_log.h"
#include "ostrel/mutex.h"

namespace apsim {

enum class Access {
    unknown,   // never told about, or forgotten
    unauthed,  // web traffic goes to the proxy, the white list is open
    authed,
    drop,
};
const char* accessName(Access access);

struct WhiteList {
    std::vector<std::pair<std::uint32_t, std::uint32_t>> addresses;  // address, mask; host order
    std::vector<std::string> domains;
    std::vector<std::string> patterns;
};

class RedirectorModule {
public:
    // Each request adds one event (redirector, "authed", "unauthed", "drop", "forgotten",
    // "white list", "add addresses", "add domains", "add patterns", "wipe lists", "wipe stations"
    // or "notify pid"). The addresses are dotted texts; an unreadable one reads as 0.0.0.0.
    RedirectorModule(EventLog& log, const std::string& proxy, const std::string& gateway);

    // Executes one request (number in host order, then its record) and returns the answer (32-bit
    // signed result in host order, then the record of requests 6 and 25). A request of the wrong
    // length is refused with -EINVAL, an unknown one with -ENOTTY.
    std::string handle(std::string_view request) EXCLUDES(mutex_);

    [[nodiscard]] Access access(const StationId& id) const EXCLUDES(mutex_);
    // The station's list; 0 when it has none.
    [[nodiscard]] std::uint32_t whiteListId(const StationId& id) const EXCLUDES(mutex_);
    [[nodiscard]] std::map<std::uint32_t, WhiteList> whiteLists() const EXCLUDES(mutex_);
    [[nodiscard]] std::size_t stations() const EXCLUDES(mutex_);
    // The process id that notifications go to; 0 before request 13.
    [[nodiscard]] std::uint32_t notifyPid() const EXCLUDES(mutex_);
    // Whether the station gets through to `destination`, an IPv4 address or a host name: anything
    // when authorised, what its white list holds before.
    [[nodiscard]] bool reaches(const StationId& id, const std::string& destination) const
        EXCLUDES(mutex_);

private:
    struct Station {
        Access access = Access::unknown;
        std::uint32_t whiteList = 0;
    };

    int execute(std::uint32_t number, std::string_view record, std::string& answer, Event& event)
        REQUIRES(mutex_);
    int setAccess(std::uint32_t number, std::string_view record, Event& event) REQUIRES(mutex_);
    int setWhiteList(std::string_view record, Event& event) REQUIRES(mutex_);
    int addAddresses(std::string_view chunk, Event& event) REQUIRES(mutex_);
    int addTexts(std::uint32_t number, std::string_view chunk, Event& event) REQUIRES(mutex_);
    WhiteList& listOf(std::string_view chunk) REQUIRES(mutex_);

    EventLog& log_;
    const std::uint32_t proxy_;    // network order, as it stands in memory
    const std::uint32_t gateway_;  // the same
    mutable ostrel::Mutex mutex_;
    std::map<StationId, Station> stations_ GUARDED_BY(mutex_);
    std::map<std::uint32_t, WhiteList> lists_ GUARDED_BY(mutex_);
    // Only the first chunk of a list carries its id; a chunk with id 0 continues this one.
    std::uint32_t lastList_ GUARDED_BY(mutex_) = 0;
    std::uint32_t notifyPid_ GUARDED_BY(mutex_) = 0;
};

}  // namespace apsim
