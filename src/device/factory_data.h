#pragma once

// What the device is: its factory data and its software version, read once.
//
// Threads: does not change once built; Singleton<Factory>::getInstance() is the daemon's one.

#include <string>

#include "ostrel/factory.h"

namespace vesta {

class Factory {
public:
    explicit Factory(const std::string& versionFile = "/version");

    // "[VENDOR:Ostrel][DEVICE:...][HW:...][SN:...][MAC:...][VERSION:...]\r\n", to stand before a
    // trap. Without factory data the four device groups are missing, without a readable version the
    // last one.
    [[nodiscard]] const std::string& getTrapPrefix() const { return trapPrefix_; }
    [[nodiscard]] const std::string& getDeviceName() const { return data_.deviceName; }
    [[nodiscard]] const std::string& getSerialNumber() const { return data_.serialNumber; }
    [[nodiscard]] const std::string& getHardwareVersion() const { return data_.hardwareVersion; }
    // The device's address, which names it to a RADIUS server.
    [[nodiscard]] const std::string& getMac() const { return data_.mac; }
    // The radio's address, which names it in accounting.
    [[nodiscard]] const std::string& getSecondMac() const { return data_.mac2; }

private:
    libfactory_data data_;
    std::string trapPrefix_;
};

}  // namespace vesta
