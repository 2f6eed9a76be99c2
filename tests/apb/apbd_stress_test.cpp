// Notifications, local events and the portal loop at once. Meant for the thread sanitizer; without
// it, it still finds a deadlock.

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "apb/apbd_fixture.h"

namespace vesta::testing {
namespace {

constexpr unsigned kStations = 40;
constexpr unsigned kVirtualSeconds = 300;

class ApbdStress : public ApbdFixture {
protected:
    static std::string macOf(unsigned n) {
        return "02:00:00:00:00:" + std::to_string(10 + n % kStations);
    }

    void listenerThread() {
        for (unsigned n = 0; !done_; ++n) {
            const json user = record(-1, 5, macOf(n));
            add(user);
            update(n % 3 == 0 ? "disassoc" : "update", record(-1, 9, macOf(n / 3)));
            if (n % 5 == 0) {
                remove(record(-1, 5, macOf(n / 5)));
            }
            if (n % 100 == 0) {
                apbd_->disconnectedNotify();
                subscribed(json::array({user, record(-1, 5, macOf(n + 1))}));
            }
        }
    }

    void redirectorThread() {
        for (unsigned n = 0; !done_; ++n) {
            const std::string mac = macOf(n * 7);
            portal_->addClient(MacAddr(mac), "10.1.0." + std::to_string(n % kStations), 1500,
                               n % 2 == 0 ? "wlan0-va1" : "wlan1-va1");
            ClientIdentity identity(MacAddr(mac), "", "", "");
            portal_->authenticateClient(identity, "bob", "secret");
        }
    }

    std::atomic<bool> done_{false};
};

TEST_F(ApbdStress, AllThreadsAtOnce) {
    subscribed();
    std::thread listener([this] { listenerThread(); });
    std::thread redirector([this] { redirectorThread(); });
    for (unsigned second = 0; second < kVirtualSeconds; ++second) {
        clock_.advanceSeconds(1);
        portal_->handle();
        std::vector<ClientStatisticInfo> records;
        for (unsigned n = 0; n < kStations; ++n) {
            if ((n + second) % 3 != 0) {
                records.emplace_back(n % 2 == 0 ? "wlan0-va1" : "wlan1-va1", MacAddr(macOf(n)),
                                     1ULL, 1ULL, 1UL, 1UL, 0UL, 0UL, 0UL, 0UL, 0UL, 1L, 0L);
            }
        }
        portal_->responseCallback(records);
    }
    done_ = true;
    listener.join();
    redirector.join();
    // Nothing is stuck: a record still brings its station in.
    subscribed();
    remove(record());
    add(record(-1, 0));
    arrive();
    EXPECT_EQ(station()["access-type"], "Allow");
}

}  // namespace
}  // namespace vesta::testing
