#pragma once

// What the device is: its factory data and its software version, read once.
//
// The daemon has one, Singleton<Factory>::getInstance(). Threads: any; it never changes.

#include <string>

#include "ostrel/factory.h"

namespace vesta {

class Factory {
public:
    explicit Factory(const std::string& versionFile = "/version");

    // "[VENDOR:Ostrel][DEVICE:...][HW:...][SN:...][MAC:...][VERSION:...]\r\n", for an informator
    // that sends its traps as text. Without factory data the four groups of the device are missing,
    // without a readable version the last group.
    [[nodiscard]] const std::string& getTrapPrefix() const { return trapPrefix_; }
    // The device's address, which names it to a RADIUS server.
    [[nodiscard]] const std::string& getMac() const { return data_.mac; }
    // The radio's address, which names it in accounting.
    [[nodiscard]] const std::string& getSecondMac() const { return data_.mac2; }

private:
    libfactory_data data_;
    std::string trapPrefix_;
};

}  // namespace vesta
