#pragma once

// Reads the requests of the "redirector" socket (docs/modules.md), has them carried out, and makes
// the answers.
//
// Threads: the one that runs the event loop.

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "redirectord/seams.h"
#include "redirectord/stations.h"

namespace redirectord {

// The requests that need more than stations and lists. An int is 0, or minus the error number.
class RouterRequests {
public:
    virtual ~RouterRequests() = default;
    virtual int proxyAddress(in_addr& address) = 0;
    virtual int notifyProcess(std::uint32_t pid) = 0;
    virtual int gateway(in_addr address, in_addr& gateway) = 0;
    [[nodiscard]] virtual bool isCaptive(const std::string& device) const = 0;
};

class Requests {
public:
    Requests(Stations& stations, WhiteListRequests& lists, RouterRequests& router)
        : stations_(stations), lists_(lists), router_(router) {}

    // The answer datagram to a request datagram.
    std::string handle(std::string_view request);

private:
    int execute(std::uint32_t number, std::string_view argument, std::string& record);
    int onStation(std::uint32_t number, std::string_view argument);
    int setStationList(std::string_view argument);
    int addToList(std::uint32_t number, std::string_view argument);
    int addAddresses(std::uint32_t list, std::string_view argument);
    int gateway(std::string_view argument, std::string& record);

    Stations& stations_;
    WhiteListRequests& lists_;
    RouterRequests& router_;
    std::uint32_t lastList_ = 0;  // of the chunk before
};

}  // namespace redirectord
