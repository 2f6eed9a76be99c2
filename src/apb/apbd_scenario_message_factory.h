#pragma once

// Writes one scenario of a record. A reader takes a scenario without URL for free access, so a drop
// scenario and a redirect without URL give no message at all.
//
// Threads: one thread at a time.

#include <memory>
#include <string>

#include "messages/scenario_message_factory.h"

namespace vesta {

class APBDScenarioMessageFactory final : public ScenarioMessageFactory {
public:
    void createMessage() override;
    std::shared_ptr<MessageEntry> getResultMessage() override;

    void addId(unsigned int id) override;  // written 2 lower
    void addAccessType(ACCESS_TYPE type) override { type_ = type; }
    void addExternalUrl(const std::string& url) override;
    void addWithoutSession(bool without) override;
    // The same key: whichever is called last wins.
    void addWhiteIpHash(const std::string& hash) override;
    void addWhiteIp(const std::string& list) override;
    void addSessionTimeout(long seconds) override;
    void addTimeLimit(long seconds) override;
    void addAwayTimeout(long seconds) override;
    void addTrafficLimit(long long bytes) override;  // the low 32 bits
    void addPolicyUp(const std::string& policy) override;
    void addPolicyDown(const std::string& policy) override;
    void addBandwidthUp(unsigned int kibPerSecond) override;
    void addBandwidthDown(unsigned int kibPerSecond) override;

private:
    std::shared_ptr<MessageEntry> message_;
    ACCESS_TYPE type_ = ACCESS_ALLOW;
    bool hasUrl_ = false;
};

}  // namespace vesta
