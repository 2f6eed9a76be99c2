// What RADIUS costs beside Debian's server: rows of the table on standard output.

#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "daemon/allocator.h"
#include "ostrel/runtime.h"
#include "radius_client.h"
#include "radius_daemon.h"
#include "radius_load.h"
#include "support/child_process.h"
#include "support/freeradius_process.h"
#include "support/runtime_directory.h"
#include "table.h"

namespace vesta::bench {
namespace {

constexpr const char* kSecret = "s3cret";
constexpr std::size_t kParallel = 64;
constexpr std::size_t kBurst = 2000;

// Of this process. Counted by the page; what "status" tells is off by some hundred KiB.
long residentKiB() {
    std::ifstream file("/proc/self/smaps_rollup");
    for (std::string line; std::getline(file, line);) {
        if (line.rfind("Rss:", 0) == 0) {
            return std::stol(line.substr(4));
        }
    }
    throw std::runtime_error("no smaps_rollup");
}

void printMemory(RadiusLoad& load) {
    constexpr std::size_t kBefore = 10000;
    constexpr std::size_t kAfter = 100000;
    constexpr long kMostKiB = 64;
    std::size_t undecided = load.run(kBefore, kParallel).undecided;
    const long before = residentKiB();
    undecided += load.run(kAfter - kBefore, kParallel).undecided;
    const long more = residentKiB() - before;
    printRow("KiB resident after 100,000 authentications beyond those after 10,000", "at most 64",
             std::to_string(more) + " (" + std::to_string(undecided) + " undecided)",
             more <= kMostKiB && undecided == 0);
}

void printRate(RadiusLoad& load, const RadiusClient& client) {
    constexpr std::size_t kRounds = 5;
    constexpr std::size_t kTimes = 80;
    constexpr double kLeast = 0.8;
    constexpr std::size_t kCount = kTimes * kParallel;
    struct Round {
        double ratio, ours, theirs;
    };
    std::vector<Round> rounds;
    std::size_t undecided = 0;
    for (std::size_t i = 0; i < kRounds; ++i) {
        const double theirs = kCount / client.run(kTimes, kParallel);
        const RadiusLoad::Result result = load.run(kCount, kParallel);
        undecided += result.undecided;
        const double ours = kCount / result.seconds;
        rounds.push_back({ours / theirs, ours, theirs});
    }
    std::sort(rounds.begin(), rounds.end(),
              [](const Round& left, const Round& right) { return left.ratio < right.ratio; });
    const Round& median = rounds[kRounds / 2];
    printRow("authentications a second of RadiusWorker / of radclient, 64 at once", "at least 0.8",
             twoDigits(median.ratio) + " (" + twoDigits(median.ours) + " / " +
                 twoDigits(median.theirs) + ")",
             median.ratio >= kLeast && undecided == 0);
}

void printBursts(RadiusLoad& load, std::uint16_t port, const std::string& runtimeDirectory) {
    const RadiusLoad::Result alone = load.run(kBurst, kBurst);
    printRow("2,000 stations that RadiusWorker asks about at once", "all decided",
             std::to_string(alone.undecided) + " undecided, " + twoDigits(alone.seconds) + " s",
             alone.undecided == 0);
    const RunningDaemon::Arrival whole = burstAtDaemon(kBurst, port, kSecret, runtimeDirectory);
    printRow("2,000 stations that come to the daemon at once, MAC authentication", "all decided",
             std::to_string(whole.undecided) + " undecided, " + twoDigits(whole.seconds) + " s, " +
                 twoDigits(static_cast<double>(kBurst) / whole.seconds) + " a second",
             whole.undecided == 0);
}

// A network namespace begins without it.
void bringLoopbackUp() {
    const ostrel::Fd fd(socket(AF_INET, SOCK_DGRAM, 0));
    ifreq request{};
    std::strcpy(request.ifr_name, "lo");
    if (ioctl(fd.get(), SIOCGIFFLAGS, &request) == 0) {
        request.ifr_flags |= IFF_UP;
        ioctl(fd.get(), SIOCSIFFLAGS, &request);
    }
}

void measure() {
    bringLoopbackUp();
    const testing::RuntimeDirectory directory;
    const testing::FreeradiusProcess server(kSecret, kRadiusUsers);
    RadiusLoad load(server.authPort(), kSecret);
    printMemory(load);
    printRate(load, RadiusClient(directory.path(), server.authPort(), kSecret));
    printBursts(load, server.authPort(), directory.path());
}

// In namespaces of its own, with the server and the daemon in them.
int runIsolated(const char* self) {
    std::vector<std::string> words = testing::isolated(self);
    words.emplace_back("inside");
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    std::perror("sh");
    return 1;
}

}  // namespace
}  // namespace vesta::bench

int main(int argc, char** argv) {
    if (argc < 2) {
        return vesta::bench::runIsolated(argv[0]);
    }
    try {
        // As the daemon does.
        vesta::tuneAllocator();
        vesta::bench::measure();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "radius_bench: %s\n", error.what());
        return 1;
    }
    return 0;
}
