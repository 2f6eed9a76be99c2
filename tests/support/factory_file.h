#pragma once

// Factory data for a test program, whatever the machine's interfaces: in force from the program's
// start, since the daemon reads it once.

#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <string>

namespace vesta::testing {

inline constexpr const char* kDeviceMac = "02:00:00:00:00:aa";
inline constexpr const char* kRadioMac = "02:00:00:00:00:bb";

class FactoryFile {
public:
    FactoryFile() : path_("/tmp/vesta-factory-" + std::to_string(getpid()) + ".json") {
        std::ofstream(path_) << R"({"device-name": "AP", "serial-number": "1",
            "hardware-version": "1", "mac": ")"
                             << kDeviceMac << R"(", "mac2": ")" << kRadioMac << "\"}";
        setenv("OSTREL_FACTORY_FILE", path_.c_str(), 1);
    }
    ~FactoryFile() { unlink(path_.c_str()); }
    FactoryFile(const FactoryFile&) = delete;
    FactoryFile& operator=(const FactoryFile&) = delete;

private:
    std::string path_;
};

inline const FactoryFile factoryFile;

}  // namespace vesta::testing
