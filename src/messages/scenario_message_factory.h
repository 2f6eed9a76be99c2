#pragma once

// Writes one scenario in one dialect, as ClientMessageFactory writes a client.

#include <memory>
#include <string>

#include "core/message_entry.h"
#include "messages/scenario_values.h"

namespace vesta {

class ScenarioMessageFactory {
public:
    virtual void createMessage() = 0;
    // Null when the dialect can't express this scenario.
    virtual std::shared_ptr<MessageEntry> getResultMessage() = 0;
    virtual ~ScenarioMessageFactory() = default;

    // The scenario as configured. Times in seconds, traffic in bytes, bandwidth in KiB/s.
    virtual void addId(unsigned int) {}
    virtual void addName(const std::string&) {}
    virtual void addAccessType(ACCESS_TYPE) {}
    virtual void addExternalUrl(const std::string&) {}
    virtual void addWithoutSession(bool) {}
    virtual void addWhiteIpHash(const std::string&) {}
    virtual void addWhiteIp(const std::string&) {}
    virtual void addSessionTimeout(long) {}
    virtual void addTimeLimit(long) {}
    virtual void addAwayTimeout(long) {}
    virtual void addTrafficLimit(long long) {}
    virtual void addAclUp(const std::string&) {}
    virtual void addAclDown(const std::string&) {}
    virtual void addPolicyUp(const std::string&) {}
    virtual void addPolicyDown(const std::string&) {}
    virtual void addBandwidthUp(unsigned int) {}
    virtual void addBandwidthDown(unsigned int) {}

    // The client's progress in it.
    virtual void addCurrentTimeLimit(long) {}
    virtual void addSessionTime(long) {}
    virtual void addCurrentTrafficLimit(long long) {}
};

}  // namespace vesta
