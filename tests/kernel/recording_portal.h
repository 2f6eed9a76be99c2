#pragma once

// A portal that keeps what it is told of stations: "interface mac ip mtu".

#include <string>

#include "kernel/kernel_worker.h"
#include "support/collected.h"

namespace vesta::testing {

class RecordingPortal final : public StationReceiver {
public:
    bool addClient(const MacAddr& mac, const std::string& ip, unsigned int mtu,
                   const std::string& interfaceName) override {
        stations.add(interfaceName + " " + mac.to_string() + " " + ip + " " + std::to_string(mtu));
        return true;
    }

    Collected<std::string> stations;
};

}  // namespace vesta::testing
