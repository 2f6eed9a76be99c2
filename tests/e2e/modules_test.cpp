// A module server that hangs costs nobody else anything.

#include "e2e/daemon_test.h"

namespace vesta::testing {
namespace {

constexpr const char* kVap = "wlan0-va1";

class HangingModuleTest : public DaemonTest {
protected:
    [[nodiscard]] std::size_t connected() const {
        std::size_t count = 0;
        if (const auto answer = accessPoint_->portal().status()) {
            for (const auto& client : (*answer)["value"]["clients"]) {
                count += client.value("status", "") == "connected" ? 1U : 0U;
            }
        }
        return count;
    }
};

TEST_F(HangingModuleTest, QuestionsAreAnsweredMeanwhileAndItIsToldAllWhenItAnswersAgain) {
    constexpr std::size_t kStations = 40;
    constexpr std::chrono::seconds kPatience{60};
    serve(config(3));
    accessPoint_->modules().hang(true);
    std::vector<apsim::Station> stations;
    for (std::size_t i = 10; i < 10 + kStations; ++i) {
        stations.push_back(accessPoint_->station(kVap, "02:00:00:00:00:" + std::to_string(i),
                                                 "10.1.0." + std::to_string(i)));
        stations.back().arrive();
    }
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (connected() < kStations && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    EXPECT_EQ(connected(), kStations);
    // Each is answered within the five seconds that the portal waits.
    for (const apsim::Station& station : stations) {
        const auto answer = accessPoint_->portal().validateIp(station.ip());
        ASSERT_TRUE(answer);
        EXPECT_EQ((*answer)["params"].value("nas-ip", ""), "192.168.1.1") << *answer;
    }
    EXPECT_EQ(accessPoint_->redirector().stations(), 0U);
    accessPoint_->modules().hang(false);
    for (const apsim::Station& station : stations) {
        EXPECT_TRUE(station.waitForAccess(apsim::Access::unauthed, kPatience));
    }
}

}  // namespace
}  // namespace vesta::testing
