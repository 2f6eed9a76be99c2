#pragma once

// Writes one client in one dialect. The client calls filter(), createMessage() and then one add
// operation for each property that it has; a dialect overrides those that it carries. One factory
// writes many clients in a row: results already taken stay valid.
//
// Threads: one thread at a time.

#include <memory>
#include <string>
#include <vector>

#include "core/message_entry.h"
#include "messages/scenario_values.h"

namespace vesta {

class Client;
class ScenarioMessageFactory;

class ClientMessageFactory {
public:
    virtual ~ClientMessageFactory() = default;

    // Starts a new, empty message in place of the current one.
    virtual void createMessage() = 0;
    // The message built so far.
    virtual std::shared_ptr<MessageEntry> getResultMessage() = 0;
    // How the client's scenarios are written; null when this dialect writes none.
    virtual std::shared_ptr<ScenarioMessageFactory> getScenarioMessageFactory() = 0;
    // False: the client is not to be written at all.
    virtual bool filter(const Client&) { return true; }

    virtual void addMacAddress(const std::string&) {}
    virtual void addIpAddress(const std::string&) {}
    virtual void addConnectionStatus(bool) {}
    virtual void addAccessType(ACCESS_TYPE) {}
    virtual void addSessionId(const std::string&) {}
    virtual void addLogin(const std::string&) {}
    virtual void addPassword(const std::string&) {}
    virtual void addRedirectionUrl(const std::string&) {}
    virtual void addProxyMode(const std::string&) {}
    virtual void addVirtualPortalName(const std::string&) {}
    virtual void addInterface(const std::string&) {}
    virtual void addSsid(const std::string&) {}
    virtual void addRadiusDomain(const std::string&) {}
    virtual void addApLocation(const std::string&) {}
    virtual void addVapMac(const std::string&) {}
    virtual void addSimultaneousUse(int) {}
    virtual void addCntScenarios(unsigned int) {}
    virtual void addCurrentScenarioId(unsigned int) {}
    virtual void addCurrentScenarioName(const std::string&) {}
    virtual void addCurrentTimeLimit(long) {}          // seconds
    virtual void addSessionTime(long) {}               // seconds
    virtual void addCurrentTrafficLimit(long long) {}  // bytes
    virtual void addCurrentState(const std::string&) {}
    virtual void addEndReason(const std::string&) {}
    virtual void addEndExpireValue(const std::string&) {}
    // The client's scenarios, each written by the scenario factory.
    virtual void addScenarios(std::vector<std::shared_ptr<MessageEntry>>&) {}
};

}  // namespace vesta
