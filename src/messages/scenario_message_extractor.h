#pragma once

// Reads one scenario of a message, as ClientMessageExtractor reads a client.

#include <memory>
#include <string>
#include <utility>

#include "core/message_entry.h"

namespace vesta {

class ScenarioMessageExtractor {
public:
    using Entry = std::shared_ptr<MessageEntry>;

    virtual ~ScenarioMessageExtractor() = default;

    // (name of the white list, its data)
    virtual std::pair<std::string, std::string> extractWhiteListId(Entry) { return {}; }
    virtual long extractExpireTime(Entry) { return 0; }  // seconds
    virtual long long extractTxMaxBytes(Entry) { return 0; }
    virtual long long extractRxMaxBytes(Entry) { return 0; }
    virtual long long extractTrafficLimit(Entry) { return 0; }  // bytes
    virtual long extractMaxSessionTime(Entry) { return 0; }     // seconds
    virtual long extractAwayTimeout(Entry) { return 0; }        // seconds
    virtual unsigned int extractID(Entry) { return 0; }
    virtual unsigned int extractTxMaxSpeed(Entry) { return 0; }  // KiB/s
    virtual unsigned int extractRxMaxSpeed(Entry) { return 0; }  // KiB/s
    // "allow", "forbid" or "drop"
    virtual std::string extractAccessType(Entry) { return ""; }
    virtual std::string extractName(Entry) { return ""; }
    virtual std::string extractRedirectUrl(Entry) { return ""; }
    virtual std::string extractVirtualPortalName(Entry) { return ""; }
    // The scenarios to go to after authentication, after deauthentication, and after MAC
    // authentication succeeded or failed.
    virtual std::string extractAuthedScenario(Entry) { return ""; }
    virtual std::string extractDeauthScenario(Entry) { return ""; }
    virtual std::string extractMacAuthSuccessScenario(Entry) { return ""; }
    virtual std::string extractMacAuthFailScenario(Entry) { return ""; }
};

}  // namespace vesta
