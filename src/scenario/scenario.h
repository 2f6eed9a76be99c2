#pragma once

// One step of the access policy that a station walks through. There are three kinds: AccessScenario
// lets the station through within limits, RedirectScenario holds its traffic and sends its web
// requests to a portal, DropScenario drops its traffic until MAC authentication chooses the next
// step. A kind that is asked for what it does not hold answers empty, with an error record where
// asking is a fault.
//
// Threads: no lock; reached only through the station's client, under its instance's lock.

#include <cstdint>
#include <memory>
#include <string>

#include "core/message_entry.h"
#include "messages/scenario_values.h"

namespace vesta {

class AccessScenarioConstraints;
class ScenarioMessageExtractor;
class ScenarioMessageFactory;
struct ClientStatisticInfo;

class Scenario {
public:
    virtual ~Scenario() = default;
    Scenario& operator=(const Scenario&) = delete;

    // Reads from a message what this kind holds beyond name and id, which the base reads. A missing
    // value keeps its default and is logged.
    virtual void extractDataFromMsg(std::shared_ptr<MessageEntry>,
                                    std::shared_ptr<ScenarioMessageExtractor>);
    // A copy that shares no state with this one.
    virtual std::shared_ptr<Scenario> getSenarioCopy() const = 0;
    virtual ACCESS_TYPE getAccessOpen() const = 0;
    // Called when a sequence makes the scenario current. `syncTime`: the seconds of session already
    // spent in it at another access point.
    virtual void startScenario(unsigned int syncTime);
    virtual std::string getRedirectUrl() const;
    virtual std::string getVirtualPortalName() const;
    virtual bool isExpired();
    virtual std::string getExpireReason() const;
    virtual bool clearExpireReason();
    virtual std::string getWhiteIpListId() const;
    virtual unsigned int getTxMaxSpeed() const;   // KiB/s down to the station, 0 = unlimited
    virtual unsigned int getRxMaxSpeed() const;   // KiB/s up from the station, 0 = unlimited
    virtual long long getTrafficLimit() const;    // bytes, 0 = none
    virtual long getAwayTimeout() const;          // seconds, 0 = none
    virtual long getCurrentTimeLimit() const;     // seconds used of the time limit
    virtual long getScenarioTime() const;         // seconds of session time
    virtual long getConnectionTime() const;       // seconds
    virtual long long getCurrentTraffic() const;  // bytes used of the traffic limit
    virtual std::string getMacAuthSuccessScenarioName() const;
    virtual std::string getMacAuthFailureScenarioName() const;
    virtual std::string get_name_auth_scenario() const;
    virtual std::string get_name_deauth_scenario() const;
    virtual void updateScenarioConstraints(AccessScenarioConstraints&);
    virtual void updateStatistic(ClientStatisticInfo&);
    virtual ClientStatisticInfo getStatistic() const;
    virtual std::shared_ptr<MessageEntry> dumpToMessage(
        std::shared_ptr<ScenarioMessageFactory>) const = 0;

    [[nodiscard]] const std::string& getScenarioName() const { return *name_; }
    [[nodiscard]] std::uint32_t getId() const { return id_; }
    void setId(std::uint32_t id) { id_ = id; }

protected:
    // What the kinds report differently; times in seconds, traffic in bytes, bandwidth in KiB/s.
    struct Report {
        std::string externalUrl;
        const std::string* whiteIp = nullptr;  // null: the kind has no white list
        long sessionTimeout = 0;
        long sessionTime = 0;
        long timeLimit = 0;
        long currentTimeLimit = 0;
        long awayTimeout = 0;
        long long trafficLimit = 0;
        long long currentTraffic = 0;
        unsigned int bandwidthUp = 0;
        unsigned int bandwidthDown = 0;
    };

    // Reads name and id.
    Scenario(const std::shared_ptr<MessageEntry>& message,
             const std::shared_ptr<ScenarioMessageExtractor>& extractor);
    Scenario(const Scenario&) = default;

    [[nodiscard]] std::shared_ptr<MessageEntry> writeReport(ScenarioMessageFactory& factory,
                                                            const Report& report) const;
    // For getSenarioCopy() of the kinds.
    void logCopy() const;

private:
    void logMissing(const char* operation) const;

    // Texts never change after construction: the copies of a scenario share them.
    std::shared_ptr<const std::string> name_;
    std::uint32_t id_ = 0;
};

}  // namespace vesta
