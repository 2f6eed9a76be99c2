#include "daemon/pid_file.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "core/logger.h"

namespace vesta {
namespace {

constexpr const char* kPath = "/var/run/vestad.pid";

std::atomic<bool> written{false};

bool writeProcessId() {
    std::FILE* const file = std::fopen(kPath, "w");
    if (file == nullptr) {
        return false;
    }
    const bool printed = std::fprintf(file, "%d", static_cast<int>(getpid())) > 0;
    return std::fclose(file) == 0 && printed;
}

}  // namespace

void writePidFile() {
    if (!writeProcessId()) {
        logger().Error("could not create PID-file(%s): %s\n", kPath, std::strerror(errno));
        return;
    }
    written = true;
}

void removePidFile() noexcept {
    if (written) {
        unlink(kPath);
    }
}

}  // namespace vesta
