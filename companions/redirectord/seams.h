#pragma once

// What the module server hands to the parts that keep white lists and speeds.
//
// Threads: everything is called on the thread that runs the event loop, and must not wait: vestad
// gives a request one second, all stations together.

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <netinet/in.h>

#include "netlink/station_key.h"

namespace redirectord {

using companion::StationKey;

// An IPv4 address and its mask, in network order.
using Ipv4Range = std::pair<in_addr, in_addr>;

// Requests 19 to 23. An int is the result of the request: 0, or minus the error number. `list` is
// never 0: the server has put the id of the chunk before in place of a missing one.
class WhiteListRequests {
public:
    virtual ~WhiteListRequests() = default;
    virtual int addAddresses(std::uint32_t list, const std::vector<Ipv4Range>& ranges) = 0;
    virtual int addDomains(std::uint32_t list, const std::vector<std::string>& domains) = 0;
    virtual int addPatterns(std::uint32_t list, const std::vector<std::string>& patterns) = 0;
    virtual int setStationList(const StationKey& station, std::uint32_t list) = 0;
    // vestad has told that the station is captive: what list it had ends, unless setStationList()
    // follows at once.
    virtual void awaitStationList(const StationKey& station) = 0;
    // All lists are told anew from now on; until then stations keep what they have.
    virtual int clearLists() = 0;
    // The station is gone; its element of the map too, when it has one.
    virtual void forgetStation(const StationKey& station) = 0;
};

class ShaperLines {
public:
    virtual ~ShaperLines() = default;
    // One command as docs/modules.md describes it, without its line end.
    virtual void shaperLine(std::string_view line) = 0;
    // A captive device is there: at the start, and whenever it comes back without its queues.
    virtual void deviceAppeared(const std::string& device) = 0;
    virtual void forgetStation(const StationKey& station) = 0;
};

}  // namespace redirectord
