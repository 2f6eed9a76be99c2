// Any bytes as the file with the factory data. It is taken as a whole or not at all, and what comes
// of it are addresses and one line of text.

#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include "device/factory_data.h"
#include "fuzz/input.h"
#include "ostrel/addresses.h"

namespace {

using fuzz::require;

// A file in memory, and the way to it.
int openFile() {
    const int file = memfd_create("factory", 0);
    setenv("OSTREL_FACTORY_FILE", ("/proc/self/fd/" + std::to_string(file)).c_str(), 1);
    return file;
}

libfactory_data machineData() {
    libfactory_data data;
    require(libfactory_load(data) == -1);  // an empty file is no object
    return data;
}

bool isSame(const libfactory_data& one, const libfactory_data& other) {
    return one.deviceName == other.deviceName && one.serialNumber == other.serialNumber &&
           one.hardwareVersion == other.hardwareVersion && one.mac == other.mac &&
           one.mac2 == other.mac2;
}

bool isMac(const std::string& text) {
    const auto mac = ostrel::parseColonMac(text);
    return mac && ostrel::macText(*mac) == text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const int file = openFile();
    static const libfactory_data machine = machineData();
    require(ftruncate(file, 0) == 0 && pwrite(file, data, size, 0) == static_cast<ssize_t>(size));
    libfactory_data loaded;
    if (libfactory_load(loaded) != 0) {
        require(isSame(loaded, machine));
        return 0;
    }
    require(loaded.mac == machine.mac || isMac(loaded.mac));
    require(loaded.mac2 == loaded.mac || isMac(loaded.mac2));
    const std::string prefix =
        vesta::Factory("/proc/self/fd/" + std::to_string(file)).getTrapPrefix();
    require(prefix.find('\n') == prefix.size() - 1);
    return 0;
}
