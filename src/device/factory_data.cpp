#include "device/factory_data.h"

#include <cstdio>
#include <fstream>

namespace vesta {
namespace {

// The version in the first line of the file, "3v1" or "3.1" as it stands there; "" without one.
std::string readVersion(const std::string& path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    int major = 0;
    int minor = 0;
    for (const char separator : {'v', '.'}) {
        const std::string format = std::string("%d") + separator + "%d";
        if (std::sscanf(line.c_str(), format.c_str(), &major, &minor) == 2) {
            return std::to_string(major) + separator + std::to_string(minor);
        }
    }
    return "";
}

}  // namespace

Factory::Factory(const std::string& versionFile) : trapPrefix_("[VENDOR:Ostrel]") {
    if (libfactory_load(data_) == 0) {
        trapPrefix_ += "[DEVICE:" + data_.deviceName + "][HW:" + data_.hardwareVersion +
                       "][SN:" + data_.serialNumber + "][MAC:" + data_.mac + "]";
    }
    const std::string version = readVersion(versionFile);
    if (!version.empty()) {
        trapPrefix_ += "[VERSION:" + version + "]";
    }
    trapPrefix_ += "\r\n";
}

}  // namespace vesta
