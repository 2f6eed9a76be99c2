#pragma once

// The white lists: what vestad tells of them, which one each station has, and the addresses of
// their names as answers to stations bring them.
//
// A station has a list by an element of the map "lists", key device and MAC, value a jump to the
// chain of the list; no rule belongs to a station. A list that is told in pieces comes into force
// as a whole, a moment after its last piece. After clearLists() stations keep what they had until
// their list is told anew, or for a time of grace.
//
// Threads: the event loop's.

#include <deque>
#include <map>
#include <set>
#include <unordered_map>
#include <utility>

#include "common/event_loop.h"
#include "netlink/set_reader.h"
#include "redirectord/active_list.h"
#include "redirectord/dns_answers.h"
#include "redirectord/element_batch.h"
#include "redirectord/nft.h"
#include "redirectord/seams.h"

namespace redirectord {

class WhiteLists final : public WhiteListRequests, public DnsAnswers {
public:
    // Takes over the lists that a predecessor left in the kernel, with the stations that have them.
    // The base ruleset must stand. Throws std::runtime_error when the kernel can't be asked.
    // `grace`: vestad tells everything anew within about a second; a slow board and many stations
    // take longer.
    WhiteLists(companion::EventLoop& loop, Nft& nft,
               std::chrono::milliseconds grace = std::chrono::seconds(10));
    ~WhiteLists() override;
    WhiteLists(const WhiteLists&) = delete;
    WhiteLists& operator=(const WhiteLists&) = delete;

    int addAddresses(std::uint32_t list, const std::vector<Ipv4Range>& ranges) override;
    int addDomains(std::uint32_t list, const std::vector<std::string>& domains) override;
    int addPatterns(std::uint32_t list, const std::vector<std::string>& patterns) override;
    int setStationList(const StationKey& station, std::uint32_t list) override;
    void awaitStationList(const StationKey& station) override;
    int clearLists() override;
    void forgetStation(const StationKey& station) override;

    [[nodiscard]] bool take(std::string_view message) override;
    void settle() override;

private:
    using Clock = companion::EventLoop::Clock;

    struct Told {
        WhiteList content;
        ActiveList* active = nullptr;  // null before it is in force, and for an empty list
    };
    struct Station {
        std::uint32_t list = 0;        // 0: taken over, nobody has told its id yet
        ActiveList* active = nullptr;  // whose chain its element jumps to; null: it has no element
    };
    using Stations = std::unordered_map<StationKey, Station, companion::StationKeyHash>;

    void adopt();
    // What list each station has in the kernel.
    void readStations();
    void addStrings(std::uint32_t list, const std::vector<std::string>& texts);
    Told& open(std::uint32_t list);
    void enforce();
    // The list with this content, made where there is none; null when the kernel refuses.
    [[nodiscard]] ActiveList* activate(const WhiteList& content);
    // Makes the station's element jump to `active`'s chain, or removes it for null, with batch_.
    void bind(const StationKey& key, Station& station, ActiveList* active);
    [[nodiscard]] int run();
    void endGrace();
    void endAwaiting();
    void removeUnused();

    companion::EventLoop& loop_;
    Nft& nft_;
    std::chrono::milliseconds grace_;
    ElementBatch batch_;
    companion::SetReader reader_;
    std::map<std::string, ActiveList> active_;  // by digest
    std::map<std::uint32_t, Told> told_;        // since the last clearLists()
    std::set<std::uint32_t> changed_;           // told, and not in force as they are now
    Stations stations_;
    std::deque<std::pair<Clock::time_point, StationKey>> awaiting_;
    std::unordered_map<StationKey, Clock::time_point, companion::StationKeyHash> awaited_;
    companion::EventLoop::TimerId enforceTimer_ = 0;
    companion::EventLoop::TimerId graceTimer_ = 0;
    companion::EventLoop::TimerId awaitTimer_ = 0;
};

}  // namespace redirectord
