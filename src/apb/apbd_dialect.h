#pragma once

// What access points and apbd say to each other of stations, scenarios, portal instances and white
// lists. A station's record and its scenarios are written and read here, so that another access
// point reads what this one wrote: ids count from the third scenario on, bandwidths are bytes/s,
// numbers have 32 bits, and the station's transmit speed is the downward bandwidth.
//
// Threads: writers belong to one thread at a time; readers have no state but their store and may be
// used on any.

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "messages/client_message_extractor.h"
#include "messages/portal_instance_messages.h"
#include "messages/table_message_factories.h"
#include "messages/table_scenario_extractor.h"

namespace vesta {

class IWhiteAddressesListsStore;

// Writes a station's record with its scenarios. Only authorised stations are written.
class APBDClientMessageFactory : public TableClientMessageFactory {
public:
    APBDClientMessageFactory();

    std::shared_ptr<ScenarioMessageFactory> getScenarioMessageFactory() override;
    bool filter(const Client& client) override;
    // Null entries are scenarios that the dialect can't express: they are left out with one
    // warning, so that none of them arrives as something else.
    void addScenarios(std::vector<std::shared_ptr<MessageEntry>>& scenarios) override;
};

// The record without the scenarios, which don't change.
class APBDUpdateClientMessageFactory final : public APBDClientMessageFactory {
public:
    std::shared_ptr<ScenarioMessageFactory> getScenarioMessageFactory() override { return nullptr; }
    void addScenarios(std::vector<std::shared_ptr<MessageEntry>>&) override {}
};

// Writes one scenario of a record. A reader takes a scenario without URL for free access, so a drop
// scenario and a redirect without URL give no message at all.
class APBDScenarioMessageFactory final : public TableScenarioMessageFactory {
public:
    APBDScenarioMessageFactory();

    void createMessage() override;
    std::shared_ptr<MessageEntry> getResultMessage() override;
    void addAccessType(ACCESS_TYPE type) override { type_ = type; }
    void addExternalUrl(const std::string& url) override;

private:
    ACCESS_TYPE type_ = ACCESS_ALLOW;
    bool hasUrl_ = false;
};

// Writes a portal instance: an entry of the subscription's "mobility-domain-list", which is also an
// entry of the status answer's "instances".
class APBDPortalInstanceMessageFactory final : public PortalInstanceMessageFactory {
public:
    void createMessage() override;
    std::shared_ptr<MessageEntry> getResultMessage() override { return message_; }

    void addRadiusDomain(const std::string& domain) override {
        message_->insertStringValue("radius-domain", domain.c_str());
    }
    void addApLocation(const std::string& location) override {
        message_->insertStringValue("mobility-domain", location.c_str());
    }
    void addSsid(const std::string& ssid) override {
        message_->insertStringValue("ssid", ssid.c_str());
    }

private:
    std::shared_ptr<MessageEntry> message_;
};

// Reads a station's record as another access point wrote it.
class APBDClientMessageExtractor final : public ClientMessageExtractor {
public:
    // White lists of the record's scenarios are looked up in, and put into, `store`.
    explicit APBDClientMessageExtractor(std::shared_ptr<IWhiteAddressesListsStore> store)
        : store_(std::move(store)) {}

    std::shared_ptr<ScenarioMessageExtractor> getScenarioExtractor() override;
    std::string extractMac(Entry record) override { return record->getCharValue("sta-mac"); }
    std::string extractIp(Entry record) override { return record->getCharValue("sta-ip"); }
    std::string extractSsid(Entry record) override { return record->getCharValue("ssid"); }
    std::string extractLogin(Entry record) override { return record->getCharValue("user-name"); }
    std::string extractRadiusDomain(Entry record) override {
        return record->getCharValue("radius-domain");
    }
    std::string extractMobilDomain(Entry record) override {
        return record->getCharValue("mobility-domain");
    }
    unsigned int extractCurrentScenarioId(Entry record) override;
    long extractSessionTime(Entry record) override {
        return record->getIntValue("cur-session-time");
    }
    long extractTimeLimit(Entry record) override { return record->getIntValue("cur-time-limit"); }
    long long extractTrafficLimit(Entry record) override {
        return record->getIntValue("cur-traffic-limit");
    }
    std::vector<Entry> extractScenarios(Entry record) override {
        return record->getArrayValue("scenario");
    }

private:
    std::shared_ptr<IWhiteAddressesListsStore> store_;
};

// Reads a scenario of a record. It has no name of its own: its id as it stands there names it.
class APBDScenarioMessageExtractor final : public TableScenarioMessageExtractor {
public:
    explicit APBDScenarioMessageExtractor(std::shared_ptr<IWhiteAddressesListsStore> store);

    // (name of the list, what the record holds), see resolvePermittedIp().
    std::pair<std::string, std::string> extractWhiteListId(Entry scenario) override;
    // "forbid" with a URL, "allow" with an empty one or none; a URL that is no text throws.
    std::string extractAccessType(Entry scenario) override;

private:
    std::shared_ptr<IWhiteAddressesListsStore> store_;
};

// Reads what apbd says about an instance: to which one it applies (the mobility-domain part), and
// its default white list. The part is the object "mobility-domain", else the first element of
// "mobility-domain-list", else the entry itself where it holds the text "mobility-domain".
class APBPortalInstanceMessageExtractor final : public PortalInstanceMessageExtractor {
public:
    explicit APBPortalInstanceMessageExtractor(std::shared_ptr<IWhiteAddressesListsStore> store)
        : store_(std::move(store)) {}

    // Each "" when missing.
    std::string extractSsid(Entry entry) override;
    std::string extractMobilityDomain(Entry entry) override;
    std::string extractRadiusDomain(Entry entry) override;
    // (name of the list, what apbd sent), see resolvePermittedIp(); ("", "") without a list.
    std::pair<std::string, std::string> extractWhiteIpListId(Entry entry) override;
    std::shared_ptr<ScenarioMessageExtractor> getScenarioExtractor() override;

    // Null, with a record in the log, when the entry has none.
    static Entry getMobilityDomainPart(const Entry& entry);

private:
    std::shared_ptr<IWhiteAddressesListsStore> store_;
};

// Reads the white lists that apbd hands out with the answer to a subscription. They have no names:
// their hashes name them.
class APBWhiteListExtractor final : public WhiteListExtractor {
public:
    std::vector<Entry> extractAllWhiteLists(Entry message) override {
        return message->getArrayValue("permitted-ip-list");
    }
    std::string extractWhiteListValue(Entry list) override {
        return list->getCharValue("permitted-ip");
    }
};

}  // namespace vesta
