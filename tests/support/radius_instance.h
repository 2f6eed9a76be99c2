#pragma once

// An instance behind its lock, on wlan0-va1 with SSID "Guest" and secret "s3cret": its stations
// begin at the login, or where MAC authentication picks their way, and go on to open access.

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "client/portal_instance_interface.h"
#include "core/json_entry.h"
#include "core/singleton.h"
#include "messages/dump_dialect.h"
#include "portal/config_dialect.h"
#include "portal/portal_instance_factory.h"
#include "radius/radius_listener.h"
#include "station/client_identity.h"
#include "station/client_statistic_info.h"
#include "support/factory_file.h"
#include "support/fake_clock.h"
#include "support/no_deauth_tool.h"
#include "whitelist/white_lists_store.h"

namespace vesta::testing {

class SilentStore final : public WhiteListsStore {
    void whiteListAddingReaction(std::shared_ptr<WhiteAddressesList>) override {}
    void whiteListsClearReaction() override {}
};

inline const char* const kWaitScenario =
    R"({"access-type": "drop", "name": "wait", "mac-auth-success-scenario": "guest",
        "mac-auth-failure-scenario": "login"},)";
inline const char* const kLoginAndOpenScenarios =
    R"({"access-type": "forbid", "name": "login", "redirect-url": "http://p/",
        "virtual-portal-name": "main", "auth-scenario": "guest"},
       {"access-type": "allow", "name": "guest", "deauth-scenario": "login"})";

// The object "vap"; `radius` is its member "radius" with a comma before it, or "".
inline std::string instanceText(const std::string& mode, bool accounting, const std::string& radius,
                                const std::string& scenarios = kLoginAndOpenScenarios,
                                int ageTimeout = 300) {
    return R"({"ssid": "Guest", "captive-portal": {"enabled": true, "default-white-list": "",
            "age-timeout": )" +
           std::to_string(ageTimeout) + R"(, "verification-mode": ")" + mode +
           R"(", "acct-enable": )" + (accounting ? "true" : "false") + R"(, "scenarios": [)" +
           (mode == "portal-mac-auth" ? kWaitScenario : "") + scenarios + "]}" + radius + "}";
}

inline std::shared_ptr<PortalInstanceInterface> buildInstance(const std::string& vap) {
    return PortalInstanceFactory::buildThreadsafePortalInstanceHolder(
        "wlan0-va1", "lo", std::make_shared<JsonEntry>(vap),
        std::make_shared<ConfigInstanceMessageExtractor>(std::make_shared<SilentStore>(), "hall",
                                                         "wlan0-va1"));
}

inline std::string radiusObject(std::uint16_t authPort, std::uint16_t acctPort) {
    return R"(, "radius": {"domain": "hall", "auth-acct-id-send": true,
           "auth-address": "127.0.0.1", "auth-password": "s3cret", "auth-port": )" +
           std::to_string(authPort) + R"(, "acct-address": "127.0.0.1",
           "acct-password": "s3cret", "acct-periodic": true, "acct-interval": 60, "acct-port": )" +
           std::to_string(acctPort) + "}";
}

class InstanceTest : public ::testing::Test {
protected:
    ~InstanceTest() override { Singleton<RadiusListener>::getInstance().stop(); }

    void build(const std::string& mode, bool accounting, std::uint16_t authPort,
               std::uint16_t acctPort) {
        instance_ = buildInstance(instanceText(mode, accounting, radiusObject(authPort, acctPort)));
    }
    // One statistics answer with these stations, and what follows it.
    void report(const std::vector<std::string>& macs, unsigned long long bytes) {
        for (const std::string& mac : macs) {
            ClientStatisticInfo record("wlan0-va1", MacAddr(mac), bytes, 2 * bytes, 5, 6, 0, 0, 0,
                                       0, 0, 1, 0);
            instance_->updateClientStatistic(record);
        }
        instance_->checkClientsExpired();
        instance_->makeClientsPeriodicUpdate();
    }
    int login(const std::string& name, const std::string& ip, const std::string& password) {
        ClientIdentity identity({}, ip, "", "");
        return instance_->authenticateClient(identity, name, password);
    }
    std::shared_ptr<MessageEntry> dump(const std::string& mac) {
        return instance_->dumpClientToMessage(ClientIdentity(MacAddr(mac), "", "", ""),
                                              std::make_shared<IPCDumpClientMessageFactory>());
    }

    NoDeauthTool noTool_;
    FakeClock clock_;
    std::shared_ptr<PortalInstanceInterface> instance_;
};

}  // namespace vesta::testing
