#pragma once

// What messages hold beside clients and scenarios: portal instances, read and written, and white
// lists, read. Each dialect has its own subclasses, held by shared pointers to the concrete class.

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/message_entry.h"

namespace vesta {

class ScenarioMessageExtractor;

// Reads one portal instance of a message, as ClientMessageExtractor reads a client.
class PortalInstanceMessageExtractor {
public:
    using Entry = std::shared_ptr<MessageEntry>;

    virtual std::string extractSsid(Entry) { return ""; }
    virtual std::string extractMobilityDomain(Entry) { return ""; }
    virtual std::string extractVereficationMode(Entry) { return ""; }
    virtual std::string extractRadiusDomain(Entry) { return ""; }
    // (identifier of the default white list, its data)
    virtual std::pair<std::string, std::string> extractWhiteIpListId(Entry) { return {}; }
    virtual bool extractInstanceEnabled(Entry) { return false; }
    virtual bool extractRadiusAccounting(Entry) { return false; }
    // Seconds; -1 when the dialect carries none, so that an instance keeps its own.
    virtual long extractAgeTimeout(Entry) { return -1; }
    virtual std::shared_ptr<MessageEntry> extractRadiusConfig(Entry) { return nullptr; }
    virtual std::shared_ptr<ScenarioMessageExtractor> getScenarioExtractor() = 0;
    virtual std::vector<Entry> extractScenarios(Entry) { return {}; }

protected:
    ~PortalInstanceMessageExtractor() = default;
};

// Writes one portal instance.
class PortalInstanceMessageFactory {
public:
    virtual void createMessage() = 0;
    virtual std::shared_ptr<MessageEntry> getResultMessage() = 0;

    virtual void addRadiusDomain(const std::string&) {}
    virtual void addApLocation(const std::string&) {}
    virtual void addSsid(const std::string&) {}

protected:
    ~PortalInstanceMessageFactory() = default;
};

// Reads the white lists of a message.
class WhiteListExtractor {
public:
    using Entry = std::shared_ptr<MessageEntry>;

    // One entry a list.
    virtual std::vector<Entry> extractAllWhiteLists(Entry) = 0;
    virtual std::string extractWhiteListName(Entry) { return ""; }
    // The list's addresses, domains and patterns, separated by commas.
    virtual std::string extractWhiteListValue(Entry) = 0;

protected:
    ~WhiteListExtractor() = default;
};

}  // namespace vesta
