#include "machine.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>

namespace ostrel {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMacDigits = 12;
constexpr const char* kZeroMac = "00:00:00:00:00:00";

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
        const std::string mac = macText(firstLine(interface / "address"));
        if (interface.filename() == "lo" || mac.empty() || mac == kZeroMac) {
            continue;
        }
        if (fs::exists(interface / "device", ignored)) {
            return mac;
        }
        if (without.empty()) {
            without = mac;
        }
    }
    return without;
}

std::string macText(const std::string& text) {
    constexpr const char* kUpper = "ABCDEF";
    constexpr const char* kDigits = "0123456789abcdef";
    std::string digits;
    bool pairEnded = false;
    for (const char character : text) {
        const bool betweenPairs = !digits.empty() && digits.size() % 2 == 0 && !pairEnded;
        if ((character == ':' || character == '-') && betweenPairs) {
            pairEnded = true;
            continue;
        }
        const std::size_t upper = std::string(kUpper).find(character);
        const char lower = upper != std::string::npos
                               ? static_cast<char>('a' + static_cast<int>(upper))
                               : character;
        if (std::string(kDigits).find(lower) == std::string::npos) {
            return "";
        }
        digits += lower;
        pairEnded = false;
    }
    if (digits.size() != kMacDigits || pairEnded) {
        return "";
    }
    std::string mac;
    for (std::size_t i = 0; i < kMacDigits; i += 2) {
        mac += (i == 0 ? "" : ":") + digits.substr(i, 2);
    }
    return mac;
}

}  // namespace ostrel
