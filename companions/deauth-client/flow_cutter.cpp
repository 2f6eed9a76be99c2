#include "flow_cutter.h"

#include <net/if.h>

#include <cerrno>
#include <cstring>
#include <set>
#include <string>
#include <utility>

#include "netlink/connections.h"
#include "netlink/neighbours.h"
#include "ostrel/runtime.h"

namespace deauth {
namespace {

using companion::StationKey;

bool succeeded(int error, const char* what) {
    if (error != 0 && error != ENOENT) {
        ostrel::report(ostrel::LogLevel::error, "%s can't be deleted: %s", what,
                       std::strerror(error));
        return false;
    }
    return true;
}

}  // namespace

bool cutFlows(const StationKey& station) {
    const unsigned int device = if_nametoindex(station.device.data());
    companion::NeighbourTables tables;
    companion::BridgePorts ports;
    bool all = true;
    const auto entries = tables.bridgeEntries();
    for (const companion::BridgeEntry& entry : entries) {
        ports.add(entry);
    }
    std::set<std::string> addresses;
    for (const companion::Neighbour& one : tables.neighbours()) {
        if (one.mac == station.mac && ports.of(one) == device) {
            addresses.emplace(reinterpret_cast<const char*>(one.address.data()),
                              one.family == AF_INET ? 4 : 16);
            all = succeeded(tables.forget(one), "a neighbour entry") && all;
        }
    }
    for (const companion::BridgeEntry& entry : entries) {
        if (entry.port == device && entry.mac == station.mac) {
            all = succeeded(tables.forget(entry), "a bridge entry") && all;
        }
    }
    int error = 0;
    const std::size_t known = addresses.size();
    std::size_t flows = 0;
    if (!addresses.empty()) {
        flows = companion::Connections().deleteOf(std::move(addresses), error);
    }
    ostrel::report(ostrel::LogLevel::debug, "%zu addresses and %zu connections of the station cut",
                   known, flows);
    return succeeded(error, "a connection") && all;
}

}  // namespace deauth
