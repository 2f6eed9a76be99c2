// The accounting records of all stations, found by their session words.

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <new>
#include <unordered_map>

#include "accounting.h"
#include "ostrel/clock.h"
#include "ostrel/mutex.h"

namespace ostrel::radius {
namespace {

// The stations' addresses by low session word. They are copies, because another thread may be
// freeing the record itself.
class Stations {
public:
    static Stations& instance() {
        static Stations* const stations = new Stations;
        return *stations;
    }

    void put(std::uint32_t low, const std::array<std::uint8_t, 6>& mac) EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        macs_[low] = mac;
    }

    void remove(std::uint32_t low) EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        macs_.erase(low);
    }

    bool find(std::uint32_t low, std::uint8_t* mac) EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        const auto found = macs_.find(low);
        if (found == macs_.end()) {
            return false;
        }
        std::copy(found->second.begin(), found->second.end(), mac);
        return true;
    }

private:
    Mutex mutex_;
    std::unordered_map<std::uint32_t, std::array<std::uint8_t, 6>> macs_ GUARDED_BY(mutex_);
};

std::uint32_t drawSessionHigh() {
    std::uint32_t high = 0;
    if (!randomBytes(&high, sizeof high) || high == 0) {
        // The time still tells this process from the one before it.
        high = static_cast<std::uint32_t>(wallSeconds()) | 1U;
    }
    return high;
}

}  // namespace

std::uint32_t sessionHigh() {
    static const std::uint32_t high = drawSessionHigh();
    return high;
}

std::uint32_t newSessionLow() {
    static std::atomic<std::uint32_t> last{0};
    std::uint32_t low = ++last;
    while (low == 0) {
        low = ++last;
    }
    return low;
}

std::string sessionText(std::uint32_t low) {
    char text[18];
    std::snprintf(text, sizeof text, "%08X-%08X", sessionHigh(), low);
    return text;
}

void renewSession(librad_radius_sta_info& sta) {
    Stations::instance().remove(sta.acctSessionIdLow);
    sta.acctSessionIdHigh = sessionHigh();
    sta.acctSessionIdLow = newSessionLow();
    Stations::instance().put(sta.acctSessionIdLow, sta.mac);
}

}  // namespace ostrel::radius

using namespace ostrel::radius;

librad_radius_sta_info* librad_allocate_radius_sta() {
    auto* sta = new (std::nothrow) librad_radius_sta_info;
    if (sta != nullptr) {
        renewSession(*sta);
    }
    return sta;
}

void librad_free_radius_sta(librad_radius_sta_info* sta) {
    if (sta != nullptr) {
        Stations::instance().remove(sta->acctSessionIdLow);
        delete sta;
    }
}

void librad_radius_sta_set_mac(librad_radius_sta_info* sta, const unsigned char* mac) {
    std::copy_n(mac, sta->mac.size(), sta->mac.begin());
    Stations::instance().put(sta->acctSessionIdLow, sta->mac);
}

bool librad_find_radius_sta_by_acct_id(std::uint32_t high, std::uint32_t low, unsigned char* mac) {
    return high == sessionHigh() && Stations::instance().find(low, mac);
}
