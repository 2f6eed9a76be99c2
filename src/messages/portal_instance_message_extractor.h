#pragma once

// Reads one portal instance of a message, as ClientMessageExtractor reads a client. Held by shared
// pointers to the concrete class.

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/message_entry.h"

namespace vesta {

class ScenarioMessageExtractor;

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

}  // namespace vesta
