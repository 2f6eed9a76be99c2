#pragma once

// Reads one client of a message. An operation that a dialect does not carry returns the empty
// value; a value that a message lacks throws ENTRY_EXCEPTION_TYPE.

#include <memory>
#include <string>
#include <vector>

#include "core/message_entry.h"

namespace vesta {

class ScenarioMessageExtractor;

class ClientMessageExtractor {
public:
    using Entry = std::shared_ptr<MessageEntry>;

    virtual ~ClientMessageExtractor() = default;

    virtual std::shared_ptr<ScenarioMessageExtractor> getScenarioExtractor() = 0;
    virtual std::string extractMac(Entry) { return ""; }
    virtual std::string extractIp(Entry) { return ""; }
    virtual std::string extractSsid(Entry) { return ""; }
    virtual std::string extractLogin(Entry) { return ""; }
    virtual std::string extractRadiusDomain(Entry) { return ""; }
    virtual std::string extractMobilDomain(Entry) { return ""; }
    virtual unsigned int extractCurrentScenarioId(Entry) { return 0; }
    virtual long extractSessionTime(Entry) { return 0; }        // seconds
    virtual long extractTimeLimit(Entry) { return 0; }          // seconds
    virtual long long extractTrafficLimit(Entry) { return 0; }  // bytes
    virtual std::vector<Entry> extractScenarios(Entry) { return {}; }
};

}  // namespace vesta
