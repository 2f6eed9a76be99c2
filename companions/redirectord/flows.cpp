#include "redirectord/flows.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "netlink/neighbours.h"

namespace redirectord {
namespace {

using std::chrono::milliseconds;

// Stations whose time ends together share a pass.
constexpr milliseconds kGather{10};
// A pass through a large table may take a tenth of our time.
constexpr int kPausePerPass = 9;
constexpr milliseconds kLongestPause{1000};

std::string bytesOf(in_addr address) {
    return {reinterpret_cast<const char*>(&address), sizeof address};
}

}  // namespace

Flows::Flows(companion::EventLoop& loop) : loop_(loop) {
    loop_.whenReadable(connections_.fd(), [this] {
        if (connections_.readSome()) {
            finish();
        }
    });
}

Flows::~Flows() {
    loop_.forget(connections_.fd());
}

void Flows::cut(const ostrel::MacBytes& mac, in_addr ip) {
    macs_.insert(mac);
    if (ip.s_addr != 0) {
        addresses_.insert(bytesOf(ip));
    }
    if (!scheduled_ && !reading_) {
        schedule();
    }
}

void Flows::spare(const ostrel::MacBytes& mac, in_addr ip) {
    macs_.erase(mac);
    addresses_.erase(bytesOf(ip));
}

void Flows::schedule() {
    scheduled_ = true;
    const auto pause = std::chrono::ceil<milliseconds>(notBefore_ - Clock::now());
    loop_.after(std::max(kGather, pause), [this] { begin(); });
}

void Flows::begin() {
    scheduled_ = false;
    reading_ = true;
    began_ = Clock::now();
    std::set<std::string> addresses = std::exchange(addresses_, {});
    const std::set<ostrel::MacBytes> macs = std::exchange(macs_, {});
    for (const companion::Neighbour& one : companion::NeighbourTables().neighbours()) {
        if (macs.count(one.mac) != 0) {
            const std::size_t size = one.family == AF_INET ? sizeof(in_addr) : sizeof(in6_addr);
            addresses.emplace(reinterpret_cast<const char*>(one.address.data()), size);
        }
    }
    if (const int error = connections_.begin(std::move(addresses))) {
        ostrel::report(ostrel::LogLevel::error, "the connection table can't be read: %s",
                       std::strerror(error));
        finish();
    }
}

void Flows::finish() {
    reading_ = false;
    const Clock::time_point now = Clock::now();
    notBefore_ = now + std::min<Clock::duration>(kPausePerPass * (now - began_), kLongestPause);
    if (!macs_.empty()) {
        schedule();
    }
}

}  // namespace redirectord
