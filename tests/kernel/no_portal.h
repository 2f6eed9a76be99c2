#pragma once

// A portal that knows no station.

#include <string>

#include "kernel/station_receiver.h"

namespace vesta::testing {

class NoPortal final : public StationReceiver {
public:
    bool addClient(const std::string&, const std::string&, unsigned int,
                   const std::string&) override {
        return false;
    }
};

}  // namespace vesta::testing
