#pragma once

// What the proxies are told of a station, and what the HTTP proxy says of scenarios and white
// lists. Each description of a station begins as a given text, only connected stations are
// described, every value is a text, and no scenarios are written.
//
// Threads: one thread at a time.

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "messages/portal_instance_messages.h"
#include "messages/table_message_factories.h"
#include "messages/table_scenario_extractor.h"

namespace vesta {

class IWhiteAddressesListsStore;

class PortalClientMessageFactory : public TableClientMessageFactory {
public:
    bool filter(const Client& client) override;

protected:
    using TableClientMessageFactory::TableClientMessageFactory;
};

// For the redirecting proxy, which calls the redirection URL "portal-url".
class RedirectorClientMessageFactory final : public PortalClientMessageFactory {
public:
    // `beginning` is the JSON text that every message begins as.
    explicit RedirectorClientMessageFactory(const std::string& beginning);
};

// For the HTTP proxy, which calls it "url".
class TinyproxyClientMessageFactory final : public PortalClientMessageFactory {
public:
    explicit TinyproxyClientMessageFactory(const std::string& beginning);
};

// Reads a scenario, or the limits of one.
class TinyproxyScenarioMessageExtractor final : public TableScenarioMessageExtractor {
public:
    explicit TinyproxyScenarioMessageExtractor(std::shared_ptr<IWhiteAddressesListsStore> store);

    // (name of the list, what the proxy sent) of "permitted-ip", which is either the hash of a list
    // that the proxy has announced, or the values of a list, which is then put into the store.
    std::pair<std::string, std::string> extractWhiteListId(Entry scenario) override;

private:
    std::shared_ptr<IWhiteAddressesListsStore> store_;
};

// Reads the white lists that the proxy announces before it names them by their hashes. They have no
// names of their own.
class TinyproxyWhiteListExtractor final : public WhiteListExtractor {
public:
    std::vector<Entry> extractAllWhiteLists(Entry params) override {
        return params->getArrayValue("permitted-ip-list");
    }
    std::string extractWhiteListValue(Entry list) override {
        return list->getCharValue("permitted-ip");
    }
};

}  // namespace vesta
