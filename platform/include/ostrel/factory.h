#pragma once

// What the factory wrote into the device: a JSON file (/etc/ostrel/factory.json) with the texts
// "device-name", "serial-number", "hardware-version", "mac" and "mac2". Any other Linux box has an
// identity too: a missing text is replaced by the host name, the machine id or the address of the
// first real network interface.

#include <string>

struct libfactory_data {
    std::string deviceName;
    std::string serialNumber;
    std::string hardwareVersion;
    std::string mac;   // of the device, "aa:bb:cc:dd:ee:ff"
    std::string mac2;  // of the radio; the device's when the file gives none
};

// Fills `data`. 0, also when the file is missing. -1, with a report, when the file can't be read or
// is not such a file; `data` is then filled from the machine alone. Callable from any thread.
[[nodiscard]] int libfactory_load(libfactory_data& data);
