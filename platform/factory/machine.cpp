#include "machine.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>

#include "ostrel/addresses.h"

namespace ostrel {
namespace {

namespace fs = std::filesystem;

std::string firstLine(const fs::path& path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

}  // namespace

std::string hostName() {
    char name[256] = {};
    // A name that fills the buffer comes without a terminator.
    return gethostname(name, sizeof name - 1) == 0 ? name : "";
}

std::string machineId(const std::string& path) {
    return firstLine(path);
}

std::string interfaceMac(const std::string& directory) {
    std::error_code ignored;
    std::set<fs::path> interfaces;
    for (const auto& entry : fs::directory_iterator(directory, ignored)) {
        interfaces.insert(entry.path());
    }
    std::string without;
    for (const fs::path& interface : interfaces) {
        const MacBytes mac = parseMac(firstLine(interface / "address")).value_or(MacBytes{});
        if (interface.filename() == "lo" || mac == MacBytes{}) {
            continue;
        }
        if (fs::exists(interface / "device", ignored)) {
            return macText(mac);
        }
        if (without.empty()) {
            without = macText(mac);
        }
    }
    return without;
}

}  // namespace ostrel
