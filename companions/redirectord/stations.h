#pragma once

// The stations that are known here: what each may do, where it is announced, and its elements in
// the kernel's sets. A change is in force when its function returns.
//
// Threads: the one that runs the event loop.

#include <netinet/in.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <unordered_map>
#include <vector>

#include "netlink/set_reader.h"
#include "netlink/station_key.h"
#include "redirectord/element_batch.h"
#include "redirectord/ruleset.h"

namespace redirectord {

using companion::StationKey;

enum class Access : std::uint32_t {
    captive = 0,  // no element: captive is who has no other state
    pass = kMarkPass,
    dropped = kMarkDropped,
};

// A packet of a station, or of an IPv4 address of it, that nobody was told of. The address is
// 0.0.0.0 when it came over IPv6.
struct News {
    StationKey station;
    in_addr ip{};
};

class Stations {
public:
    using Clock = std::chrono::steady_clock;

    // A daemon that says that it forgot all stations tells anew of those that it still has; a
    // thousand a second at the very least, so that ten thousand fit. Who was not told of by then is
    // gone. An announced station of which nothing is said is gone after the same time.
    static constexpr std::chrono::seconds kTellingTime{10};
    // Those that a daemon has not told of by then are announced to it again: it may be a new one.
    // Most are told within a second.
    static constexpr std::chrono::seconds kQuietTime{2};

    struct Callbacks {
        // A station is to be announced. Called once, until taken by announced().
        std::function<void(const StationKey&)> announce;
        // Its authorisation has ended: its flows are to end, too.
        std::function<void(const StationKey&, in_addr)> cut;
        // It is authorised.
        std::function<void(const StationKey&, in_addr)> spare;
        // It was forgotten.
        std::function<void(const StationKey&)> forgotten;
    };

    explicit Stations(Callbacks callbacks) : callbacks_(std::move(callbacks)) {}

    // Takes over what stands in the sets; changes nothing there. Throws std::system_error when they
    // can't be read.
    void adopt();

    // Requests 8 to 10, 11, 24: 0, or minus the error number.
    int tell(const StationKey& key, Access access, in_addr ip, Clock::time_point now);
    int forget(const StationKey& key);
    void forgetAll(Clock::time_point now);

    // Nobody is there who could tell: nobody is forgotten until a daemon says forgetAll().
    void daemonGone();

    // What the kernel noticed. Bounded: news of more than kMostStations stations are dropped and
    // counted, and come again with a later packet.
    void notice(const std::vector<News>& news, Clock::time_point now);

    // The address with which the station was announced now; nothing when it is gone.
    std::optional<in_addr> announced(const StationKey& key, Clock::time_point now);

    // To be called several times a second: announces again and forgets what is due, so many at a
    // time that the loop is not held up.
    void tick(Clock::time_point now);

    [[nodiscard]] std::size_t size() const { return stations_.size(); }
    // News that found no room so far.
    [[nodiscard]] std::uint64_t refused() const { return refused_; }
    [[nodiscard]] bool tablesExist() { return reader_.tableExists(); }

private:
    struct Station {
        Access access = Access::captive;
        in_addr ip{};
        bool told = false;    // the daemon that is there has said something of it
        bool queued = false;  // its announcement waits
        Clock::time_point announcedAt = Clock::time_point::min();
        Clock::time_point deadline = Clock::time_point::max();  // gone then, unless told of
    };
    using Map = std::unordered_map<StationKey, Station, companion::StationKeyHash>;

    static std::string known(const StationKey& key, in_addr ip);
    // The elements of a station that is new, that changes, or that goes.
    void appendNew(const StationKey& key, const Station& station);
    void appendChange(const StationKey& key, const Station& before, const Station& after);
    void appendGone(const StationKey& key, const Station& station);
    bool noticeOne(const News& news, Clock::time_point now);
    void queue(const StationKey& key, Station& station);
    void afterForgetting(const StationKey& key, const Station& station);
    void forgetDue(Clock::time_point now);

    Callbacks callbacks_;
    ElementBatch elements_;
    companion::SetReader reader_;
    Map stations_;
    Clock::time_point announceUntold_ = Clock::time_point::max();
    Clock::time_point nextSweep_ = Clock::time_point::min();
    std::uint64_t refused_ = 0;
};

}  // namespace redirectord
