#pragma once

// Factories whose dialect is a table. A dialect is a class that hands over its table, and overrides
// what no table can say.
//
// Threads: one thread at a time.

#include "core/json_entry.h"
#include "messages/client_message_factory.h"
#include "messages/dialect_table.h"
#include "messages/scenario_message_factory.h"

namespace vesta {

enum class ClientProperty {
    macAddress,
    ipAddress,
    connectionStatus,
    accessType,
    sessionId,
    login,
    password,
    redirectionUrl,
    proxyMode,
    virtualPortalName,
    interface,
    ssid,
    radiusDomain,
    apLocation,
    vapMac,
    simultaneousUse,
    cntScenarios,
    currentScenarioId,
    currentScenarioName,
    currentTimeLimit,
    sessionTime,
    currentTrafficLimit,
    currentState,
    endReason,
    endExpireValue,
    scenarios,
    count
};

enum class ScenarioProperty {
    id,
    name,
    accessType,
    externalUrl,
    withoutSession,
    whiteIpHash,
    whiteIp,
    sessionTimeout,
    timeLimit,
    awayTimeout,
    trafficLimit,
    aclUp,
    aclDown,
    policyUp,
    policyDown,
    bandwidthUp,
    bandwidthDown,
    currentTimeLimit,
    sessionTime,
    currentTrafficLimit,
    count
};

using ClientKeys = DialectTable<ClientProperty, Writer>;
using ScenarioKeys = DialectTable<ScenarioProperty, Writer>;

// The part that all kinds have in common: the message that is being built, after `table`.
template <class Factory, class Property>
class TableFactory : public Factory {
public:
    void createMessage() override { message_ = std::make_shared<JsonEntry>(beginning_); }
    // Null before the first createMessage().
    std::shared_ptr<MessageEntry> getResultMessage() override { return message_; }

protected:
    using Table = DialectTable<Property, Writer>;

    // `table` must outlive the factory; every message begins as the JSON text `beginning`.
    explicit TableFactory(const Table& table, std::string beginning = "{}")
        : table_(table), beginning_(std::move(beginning)) {}

    void write(Property property, const std::string& text) const { put(property, {&text}); }
    void write(Property property, long long number) const { put(property, {nullptr, number}); }
    void write(Property property, const std::vector<std::shared_ptr<MessageEntry>>& entries) const {
        put(property, {nullptr, 0, &entries});
    }

private:
    void put(Property property, const ToldValue& value) const {
        const auto& row = table_[property];
        if (row.key != nullptr) {
            row.convert(*message_, row.key, value);
        }
    }

    const Table& table_;
    std::string beginning_;
    std::shared_ptr<MessageEntry> message_;
};

class TableClientMessageFactory : public TableFactory<ClientMessageFactory, ClientProperty> {
public:
    using TableFactory::TableFactory;
    using Property = ClientProperty;

    std::shared_ptr<ScenarioMessageFactory> getScenarioMessageFactory() override { return nullptr; }

    void addMacAddress(const std::string& mac) override { write(Property::macAddress, mac); }
    void addIpAddress(const std::string& ip) override { write(Property::ipAddress, ip); }
    void addConnectionStatus(bool connected) override {
        write(Property::connectionStatus, connected);
    }
    void addAccessType(ACCESS_TYPE type) override { write(Property::accessType, type); }
    void addSessionId(const std::string& id) override { write(Property::sessionId, id); }
    void addLogin(const std::string& login) override { write(Property::login, login); }
    void addPassword(const std::string& password) override { write(Property::password, password); }
    void addRedirectionUrl(const std::string& url) override {
        write(Property::redirectionUrl, url);
    }
    void addProxyMode(const std::string& mode) override { write(Property::proxyMode, mode); }
    void addVirtualPortalName(const std::string& name) override {
        write(Property::virtualPortalName, name);
    }
    void addInterface(const std::string& name) override { write(Property::interface, name); }
    void addSsid(const std::string& ssid) override { write(Property::ssid, ssid); }
    void addRadiusDomain(const std::string& domain) override {
        write(Property::radiusDomain, domain);
    }
    void addApLocation(const std::string& location) override {
        write(Property::apLocation, location);
    }
    void addVapMac(const std::string& mac) override { write(Property::vapMac, mac); }
    void addSimultaneousUse(int sessions) override { write(Property::simultaneousUse, sessions); }
    void addCntScenarios(unsigned int count) override { write(Property::cntScenarios, count); }
    void addCurrentScenarioId(unsigned int id) override { write(Property::currentScenarioId, id); }
    void addCurrentScenarioName(const std::string& name) override {
        write(Property::currentScenarioName, name);
    }
    void addCurrentTimeLimit(long seconds) override { write(Property::currentTimeLimit, seconds); }
    void addSessionTime(long seconds) override { write(Property::sessionTime, seconds); }
    void addCurrentTrafficLimit(long long bytes) override {
        write(Property::currentTrafficLimit, bytes);
    }
    void addCurrentState(const std::string& state) override {
        write(Property::currentState, state);
    }
    void addEndReason(const std::string& reason) override { write(Property::endReason, reason); }
    void addEndExpireValue(const std::string& value) override {
        write(Property::endExpireValue, value);
    }
    void addScenarios(std::vector<std::shared_ptr<MessageEntry>>& scenarios) override {
        write(Property::scenarios, scenarios);
    }
};

class TableScenarioMessageFactory : public TableFactory<ScenarioMessageFactory, ScenarioProperty> {
public:
    using TableFactory::TableFactory;
    using Property = ScenarioProperty;

    void addId(unsigned int id) override { write(Property::id, id); }
    void addName(const std::string& name) override { write(Property::name, name); }
    void addAccessType(ACCESS_TYPE type) override { write(Property::accessType, type); }
    void addExternalUrl(const std::string& url) override { write(Property::externalUrl, url); }
    void addWithoutSession(bool without) override { write(Property::withoutSession, without); }
    void addWhiteIpHash(const std::string& hash) override { write(Property::whiteIpHash, hash); }
    void addWhiteIp(const std::string& list) override { write(Property::whiteIp, list); }
    void addSessionTimeout(long seconds) override { write(Property::sessionTimeout, seconds); }
    void addTimeLimit(long seconds) override { write(Property::timeLimit, seconds); }
    void addAwayTimeout(long seconds) override { write(Property::awayTimeout, seconds); }
    void addTrafficLimit(long long bytes) override { write(Property::trafficLimit, bytes); }
    void addAclUp(const std::string& name) override { write(Property::aclUp, name); }
    void addAclDown(const std::string& name) override { write(Property::aclDown, name); }
    void addPolicyUp(const std::string& name) override { write(Property::policyUp, name); }
    void addPolicyDown(const std::string& name) override { write(Property::policyDown, name); }
    void addBandwidthUp(unsigned int kibPerSecond) override {
        write(Property::bandwidthUp, kibPerSecond);
    }
    void addBandwidthDown(unsigned int kibPerSecond) override {
        write(Property::bandwidthDown, kibPerSecond);
    }
    void addCurrentTimeLimit(long seconds) override { write(Property::currentTimeLimit, seconds); }
    void addSessionTime(long seconds) override { write(Property::sessionTime, seconds); }
    void addCurrentTrafficLimit(long long bytes) override {
        write(Property::currentTrafficLimit, bytes);
    }
};

}  // namespace vesta
