#pragma once

// Whoever hears of new stations from the redirector module. Called on the worker's own thread, with
// no lock held.

#include <string>

#include "station/mac_addr.h"

namespace vesta {

class StationReceiver {
public:
    virtual ~StationReceiver() = default;
    // A station showed up on an interface; `value` is the MTU that the module tells with it. The
    // result says whether the station is known now.
    virtual bool addClient(const MacAddr& mac, const std::string& ip, unsigned int value,
                           const std::string& interfaceName) = 0;
};

}  // namespace vesta
