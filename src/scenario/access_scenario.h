#pragma once

// "allow": the station's traffic passes, within limits of time, traffic, session and speed. In the
// byte counts, transmit is what the station sent; in the speeds, it is what is sent to the station.

#include <cstdint>
#include <memory>
#include <string>

#include "ostrel/station_counters.h"
#include "scenario/access_scenario_constraints.h"
#include "scenario/scenario.h"
#include "station/byte_count.h"

namespace vesta {

class AccessScenario final : public Scenario {
public:
    AccessScenario(std::shared_ptr<MessageEntry> message,
                   std::shared_ptr<ScenarioMessageExtractor> extractor);

    void extractDataFromMsg(std::shared_ptr<MessageEntry>,
                            std::shared_ptr<ScenarioMessageExtractor>) override;
    std::shared_ptr<Scenario> getSenarioCopy() const override;
    ACCESS_TYPE getAccessOpen() const override { return ACCESS_ALLOW; }
    void startScenario(unsigned int syncTime) override;
    // Checks the limits of time, traffic, session, transmit and receive in this order; the first
    // that is passed gives the reason. The session check counts the session time, so that time
    // stands still in a call in which an earlier limit is passed.
    bool isExpired() override;
    // "", "time-over", "traffic-over", "session-over" or "cleared"
    std::string getExpireReason() const override;
    bool clearExpireReason() override;
    unsigned int getTxMaxSpeed() const override { return constraints_.txMaxSpeed; }
    unsigned int getRxMaxSpeed() const override { return constraints_.rxMaxSpeed; }
    long long getTrafficLimit() const override;
    long getAwayTimeout() const override { return constraints_.awayTimeout; }
    // The connection time where there is a time limit, else 0.
    long getCurrentTimeLimit() const override;
    long getScenarioTime() const override { return sessionTime_; }
    long getConnectionTime() const override { return counters_.uptime; }
    // The bytes used where there is a traffic limit, else 0.
    long long getCurrentTraffic() const override;
    std::string get_name_deauth_scenario() const override { return *deauthScenario_; }
    void updateScenarioConstraints(AccessScenarioConstraints& newLimits) override;
    // The first counters after a start are those from which traffic is counted. Until they have
    // come nothing is used.
    void updateStatistic(ClientStatisticInfo& statistics) override;
    ClientStatisticInfo getStatistic() const override;
    std::shared_ptr<MessageEntry> dumpToMessage(
        std::shared_ptr<ScenarioMessageFactory> factory) const override;

    bool isTimeExpired();
    bool isTrafficLimitExpired();
    bool isSessionExpired();
    bool isTxTrafficExpired();
    bool isRxTrafficExpired();

private:
    enum class ExpireReason : std::uint8_t { none, time, traffic, session, cleared };

    AccessScenarioConstraints constraints_;
    std::int32_t sessionTime_ = 0;       // seconds
    std::int64_t lastSessionCheck_ = 0;  // monotonic seconds
    // Here the names turn round: what the station transmits, the access point receives.
    ByteCount txBytes_;
    ByteCount rxBytes_;
    ostrel::StationCounters counters_;  // the driver's latest
    ExpireReason expireReason_ = ExpireReason::none;
    std::shared_ptr<const std::string> deauthScenario_;
};

}  // namespace vesta
