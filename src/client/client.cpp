#include "client/client.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>

#include "client/client_dump.h"
#include "client/client_table.h"
#include "client/deauth_tool.h"
#include "client/portal_instance_interface.h"
#include "core/logger.h"
#include "core/singleton.h"
#include "messages/client_message_extractor.h"
#include "ostrel/clock.h"
#include "ostrel/librad.h"
#include "scenario/manageable_scenario_sequence.h"
#include "scenario/scenario.h"

namespace vesta {
namespace {

// Stands in log records behind the name of the operation.
constexpr int kConnectionRecord = 203;

std::unique_ptr<ScenarioSequence> extractSequence(const std::shared_ptr<MessageEntry>& message,
                                                  ClientMessageExtractor& extractor) {
    ScenarioSequence::Messages scenarios = extractor.extractScenarios(message);
    return std::make_unique<ManageableScenarioSequence>(scenarios,
                                                        extractor.getScenarioExtractor());
}

}  // namespace

Client::Client(std::unique_ptr<ScenarioSequence> sequence, const MacAddr& mac,
               const std::string& ip, unsigned int number, PortalInstanceInterface& owner)
    : sequence_(std::move(sequence)),
      mac_(mac),
      ip_(ip),
      interface_(owner.getAttachedInterface()),
      mtu_(number),
      lastUpdate_(ostrel::monotonicSeconds()),
      owner_(owner) {
    sequence_->getCurrent()->startScenario(0);
}

Client::Client(std::shared_ptr<MessageEntry> message,
               std::shared_ptr<ClientMessageExtractor> extractor, const MacAddr& mac,
               const std::string& ip, unsigned int number, PortalInstanceInterface& owner)
    : Client(extractSequence(message, *extractor), message, *extractor, mac, ip, number, owner) {}

Client::Client(std::unique_ptr<ScenarioSequence> sequence,
               const std::shared_ptr<MessageEntry>& message, ClientMessageExtractor& extractor,
               const MacAddr& mac, const std::string& ip, unsigned int number,
               PortalInstanceInterface& owner)
    : Client(std::move(sequence), mac, ip, number, owner) {
    authorizedBySync_ = true;
    login_ = extractor.extractLogin(message);
    const unsigned int id = extractor.extractCurrentScenarioId(message);
    const long syncTime = std::max(0L, extractor.extractSessionTime(message));
    // An unknown id leaves the client on its first scenario, with an error record.
    sequence_->setCurrentScenario(id, static_cast<unsigned int>(syncTime));
}

Client::~Client() = default;

void Client::setIpAddress(const std::string& ip) {
    if (logger().isDebug()) {
        logger().Debug("Client %s receive ip addres %s\n", getMacAddress().c_str(), ip.c_str());
    }
    changeKey(ip_, ip);
}

void Client::setLogin(const std::string& login) {
    changeKey(login_, login);
}

void Client::setRedirectUrl(const char* data, unsigned int length) {
    redirectUrl_.assign(data, length);
}

std::string Client::getSessionId() const {
    if (radiusSta_ == nullptr) {
        return "";
    }
    std::array<char, 18> text{};
    std::snprintf(text.data(), text.size(), "%08" PRIX32 "-%08" PRIX32,
                  radiusSta_->acctSessionIdHigh, radiusSta_->acctSessionIdLow);
    return text.data();
}

bool Client::isThatYou(const ClientIdentity& identity) const {
    return (!ip_.empty() && ip_ == identity.ip) || mac_ == identity.mac ||
           (!login_.empty() && login_ == identity.username);
}

bool Client::updateConnectStatus() {
    const bool changed = connected_ != updatedSinceCheck_;
    if (changed) {
        setConnected(updatedSinceCheck_);
    }
    updatedSinceCheck_ = false;
    return changed;
}

void Client::updateStatistic(ClientStatisticInfo& statistics) {
    lastUpdate_ = ostrel::monotonicSeconds();
    updatedSinceCheck_ = true;
    sequence_->getCurrent()->updateStatistic(statistics);
}

void Client::letTimePass() {
    const std::int64_t now = ostrel::monotonicSeconds();
    ClientStatisticInfo statistics = getStatistic();
    statistics.uptime = static_cast<std::int32_t>(
        std::min<std::int64_t>(statistics.uptime + (now - lastUpdate_), INT32_MAX));
    lastUpdate_ = now;
    sequence_->getCurrent()->updateStatistic(statistics);
}

ClientStatisticInfo Client::getStatistic() const {
    return sequence_->getCurrent()->getStatistic();
}

ClientStatisticInfo Client::getStatistic(EndReason reason) const {
    ClientStatisticInfo statistics = getStatistic();
    statistics.endReason = reason;
    return statistics;
}

ACCESS_TYPE Client::getAccessType() const {
    return sequence_->getCurrent()->getAccessOpen();
}

std::pair<std::uint32_t, std::uint32_t> Client::getSpeedConstraints() const {
    const Scenario& current = *sequence_->getCurrent();
    return {current.getTxMaxSpeed(), current.getRxMaxSpeed()};
}

long Client::getAwayTimeout() const {
    return sequence_->getCurrent()->getAwayTimeout();
}

std::string Client::getWhiteIpListId() const {
    std::string id = sequence_->getCurrent()->getWhiteIpListId();
    return id.empty() ? owner_.getWhiteIpListId() : id;
}

void Client::collectWhiteLists(std::set<std::string>& names) const {
    sequence_->collectWhiteLists(names);
}

bool Client::checkScenarioExpire() {
    return sequence_->getCurrent()->isExpired();
}

bool Client::isAuthorized() const {
    return authorizedBySync_ || sequence_->firstRedirectPassed();
}

std::shared_ptr<Scenario> Client::get_current_scenario() const {
    return sequence_->getCurrent();
}

bool Client::set_auth_scenario_client() {
    return sequence_->set_auth_scenario_client();
}

bool Client::set_deauth_scenario_client() {
    return sequence_->set_deauth_scenario_client();
}

bool Client::setMacAuthSuccessScenario() {
    return sequence_->setMacAuthSuccessScenario();
}

bool Client::setMacAuthFailureScenario() {
    return sequence_->setMacAuthFailureScenario();
}

bool Client::addScenarios(std::vector<std::shared_ptr<Scenario>>& scenarios) {
    return sequence_->appendScenarios(scenarios);
}

bool Client::setCurrentScenario(const std::string& name) {
    return name == "0" ? sequence_->clearExpireInfo() : sequence_->setCurrentScenario(name);
}

void Client::updateScenarioConstraints(AccessScenarioConstraints& constraints) {
    sequence_->updateScenarioConstraints(constraints);
}

std::shared_ptr<MessageEntry> Client::dumpToMessage(
    std::shared_ptr<ClientMessageFactory> factory) const {
    return dumpClient(*this, *sequence_, *factory);
}

std::shared_ptr<MessageEntry> Client::dumpScenarioToMessage(
    std::shared_ptr<ClientMessageFactory> factory) const {
    return dumpClientScenarios(*this, *sequence_, *factory);
}

void Client::disconnect_client() {
    const std::string mac = getMacAddress();
    logger().Debug("%s %s for %s\n", "disconnect_client", mac.c_str(), interface_.c_str());
    Singleton<DeauthTool>::getInstance().disconnect(interface_, mac);
}

void Client::keep_client() {
    Singleton<DeauthTool>::getInstance().withdraw(interface_, getMacAddress());
}

void Client::changeKey(std::string& key, const std::string& value) {
    if (key == value) {
        return;
    }
    if (table_ != nullptr) {
        table_->unindex(*this);
    }
    key = value;
    if (table_ != nullptr) {
        table_->index(*this);
    }
}

void Client::setConnected(bool connected) {
    connected_ = connected;
    if (table_ != nullptr) {
        table_->connectionChanged(*this);
    }
    if (logger().isDebug()) {
        logger().Debug(connected ? "%s,%d,Set client %s connection status to true on vap %s\n"
                                 : "%s,%d,Set client %s connection status to false on vap %s\n",
                       "updateConnectStatus", kConnectionRecord, getMacAddress().c_str(),
                       owner_.getName().c_str());
    }
}

}  // namespace vesta
