#include "messages/ipc_dump_factories.h"

#include "core/json_entry.h"
#include "core/logger.h"
#include "messages/scenario_ids.h"

namespace vesta {
namespace {

using Message = std::shared_ptr<MessageEntry>;

Message newMessage() {
    return std::make_shared<JsonEntry>("{}");
}

// A copy of `message`. Both go on as views of one node, so that whichever is written first copies
// it and the other one keeps what it has.
Message copyOf(Message& message) {
    if (!message) {
        return nullptr;
    }
    Message copy = std::make_shared<JsonEntry>(message->getRowMessage());
    message = std::make_shared<JsonEntry>(message->getRowMessage());
    return copy;
}

void insertText(const Message& message, const char* key, const std::string& text) {
    message->insertStringValue(key, text.c_str());
}

// The low 32 bits of any number, as a signed one.
template <class Number>
void insertNumber(const Message& message, const char* key, Number value) {
    message->insertIntValue(key, static_cast<int>(value));
}

}  // namespace

void IPCDumpClientMessageFactory::createMessage() {
    message_ = newMessage();
}

Message IPCDumpClientMessageFactory::getResultMessage() {
    return copyOf(message_);
}

void IPCDumpClientMessageFactory::addMacAddress(const std::string& mac) {
    insertText(message_, "mac", mac);
}

void IPCDumpClientMessageFactory::addIpAddress(const std::string& ip) {
    insertText(message_, "ip", ip);
}

void IPCDumpClientMessageFactory::addConnectionStatus(bool connected) {
    message_->insertStringValue("status", connected ? "connected" : "disconnected");
}

void IPCDumpClientMessageFactory::addAccessType(ACCESS_TYPE type) {
    const char* word = nullptr;
    switch (type) {
        case ACCESS_ALLOW:
            word = "Allow";
            break;
        case ACCESS_REDIRECT:
            word = "Redirect";
            break;
        case ACCESS_DROP:
            word = "Drop";
            break;
    }
    if (word == nullptr) {
        logger().Error("%s try to add unknown access type!\n", "addAccessType");
        return;
    }
    message_->insertStringValue("access-type", word);
}

void IPCDumpClientMessageFactory::addSessionId(const std::string& id) {
    insertText(message_, "session-id", id);
}

void IPCDumpClientMessageFactory::addLogin(const std::string& login) {
    insertText(message_, "login", login);
}

void IPCDumpClientMessageFactory::addPassword(const std::string& password) {
    insertText(message_, "password", password);
}

void IPCDumpClientMessageFactory::addRedirectionUrl(const std::string& url) {
    insertText(message_, "redirect-url", url);
}

void IPCDumpClientMessageFactory::addInterface(const std::string& name) {
    insertText(message_, "interface", name);
}

void IPCDumpClientMessageFactory::addSsid(const std::string& ssid) {
    insertText(message_, "ssid", ssid);
}

void IPCDumpClientMessageFactory::addRadiusDomain(const std::string& domain) {
    insertText(message_, "radius-domain", domain);
}

void IPCDumpClientMessageFactory::addApLocation(const std::string& location) {
    insertText(message_, "mobility-domain", location);
}

void IPCDumpClientMessageFactory::addSimultaneousUse(int count) {
    message_->insertIntValue("simultaneous-use", count);
}

void IPCDumpClientMessageFactory::addCntScenarios(unsigned int count) {
    insertNumber(message_, "scenarios-cnt", count - kOwnScenarios);
}

void IPCDumpClientMessageFactory::addCurrentScenarioId(unsigned int id) {
    insertNumber(message_, "scenario-id-cur", id - kOwnScenarios);
}

void IPCDumpClientMessageFactory::addCurrentTimeLimit(long seconds) {
    insertNumber(message_, "time-limit-cur", seconds);
}

void IPCDumpClientMessageFactory::addSessionTime(long seconds) {
    insertNumber(message_, "session-time", seconds);
}

void IPCDumpClientMessageFactory::addCurrentTrafficLimit(long long bytes) {
    insertNumber(message_, "traffic-limit-cur", bytes);
}

void IPCDumpClientMessageFactory::addScenarios(std::vector<Message>& scenarios) {
    message_->insertArrayValue("scenario", scenarios);
}

std::shared_ptr<ScenarioMessageFactory>
IPCDumpClientScenariosMessageFactory::getScenarioMessageFactory() {
    return std::make_shared<IPCDumpScenarioMessageFactory>();
}

void IPCDumpScenarioMessageFactory::createMessage() {
    message_ = newMessage();
}

Message IPCDumpScenarioMessageFactory::getResultMessage() {
    return copyOf(message_);
}

void IPCDumpScenarioMessageFactory::addId(unsigned int id) {
    insertNumber(message_, "ID", id - kOwnScenarios);
}

void IPCDumpScenarioMessageFactory::addName(const std::string& name) {
    insertText(message_, "name", name);
}

void IPCDumpScenarioMessageFactory::addExternalUrl(const std::string& url) {
    insertText(message_, "external-url", url);
}

void IPCDumpScenarioMessageFactory::addWithoutSession(bool withoutSession) {
    message_->insertStringValue("start-session", withoutSession ? "false" : "true");
}

void IPCDumpScenarioMessageFactory::addWhiteIpHash(const std::string& hash) {
    insertText(message_, "permitted-ip", hash);
}

void IPCDumpScenarioMessageFactory::addSessionTimeout(long seconds) {
    insertNumber(message_, "session-timeout", seconds);
}

void IPCDumpScenarioMessageFactory::addTimeLimit(long seconds) {
    insertNumber(message_, "time-limit", seconds);
}

void IPCDumpScenarioMessageFactory::addAwayTimeout(long seconds) {
    insertNumber(message_, "away-timeout", seconds);
}

void IPCDumpScenarioMessageFactory::addTrafficLimit(long long bytes) {
    insertNumber(message_, "traffic-limit", bytes);
}

void IPCDumpScenarioMessageFactory::addAclUp(const std::string& name) {
    insertText(message_, "qos-up-acl", name);
}

void IPCDumpScenarioMessageFactory::addAclDown(const std::string& name) {
    insertText(message_, "qos-down-acl", name);
}

void IPCDumpScenarioMessageFactory::addPolicyUp(const std::string& name) {
    insertText(message_, "qos-up-policy", name);
}

void IPCDumpScenarioMessageFactory::addPolicyDown(const std::string& name) {
    insertText(message_, "qos-down-policy", name);
}

void IPCDumpScenarioMessageFactory::addBandwidthUp(unsigned int kibPerSecond) {
    insertNumber(message_, "qos-bw-up-rate", kibPerSecond << 10U);
}

void IPCDumpScenarioMessageFactory::addBandwidthDown(unsigned int kibPerSecond) {
    insertNumber(message_, "qos-bw-down-rate", kibPerSecond << 10U);
}

void IPCDumpScenarioMessageFactory::addCurrentTimeLimit(long seconds) {
    insertNumber(message_, "time-limit-cur", seconds);
}

void IPCDumpScenarioMessageFactory::addSessionTime(long seconds) {
    insertNumber(message_, "session-time", seconds);
}

void IPCDumpScenarioMessageFactory::addCurrentTrafficLimit(long long bytes) {
    insertNumber(message_, "traffic-limit-cur", bytes);
}

}  // namespace vesta
