#pragma once

// What the factory wrote into the device: a JSON file (/etc/ostrel/factory.json) with the texts
// "device-name", "serial-number", "hardware-version", "mac" and "mac2". Where the file, or a text
// in it, is missing, the host name, the machine id and the addresses of the first real network
// interface serve instead, so that any Linux box has an identity.

#include <string>

struct libfactory_data {
    std::string deviceName;
    std::string serialNumber;
    std::string hardwareVersion;
    std::string mac;   // of the device, "aa:bb:cc:dd:ee:ff"
    std::string mac2;  // of the radio; the device's where the file gives none
};

// Fills `data`. Returns 0, or -1 when the file exists and can't be read as such (reported with the
// reason); `data` then holds what the machine itself tells.
[[nodiscard]] int libfactory_load(libfactory_data& data);
