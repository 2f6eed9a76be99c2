#pragma once

// A portal whose collaborator is enabled, on a private bus, and a peer that plays apbd: it keeps
// what it is sent. What apbd says is handed to the collaborator as the dispatcher would.

#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "apb/apbd_collaborator.h"
#include "core/json_entry.h"
#include "kernel/kernel_white_list_store.h"
#include "messages/dump_dialect.h"
#include "portal/portal.h"
#include "station/client_identity.h"
#include "station/client_statistic_info.h"
#include "support/bus_peer.h"
#include "support/fake_clock.h"
#include "support/no_deauth_tool.h"
#include "support/portal_document.h"

namespace vesta::testing {

using nlohmann::json;

inline constexpr const char* kMac = "0a:1b:2c:3d:4e:5f";
inline const ClientInformationIdentity kStation(MacAddr(kMac), "Guest");

inline std::shared_ptr<MessageEntry> entry(const json& message) {
    return std::make_shared<JsonEntry>(message.dump());
}

// A request in one line: "add", "update assoc", "del forced".
inline std::string summary(const json& request) {
    const std::string cmd = request.at("cmd");
    return cmd.substr(0, cmd.find("-request")) +
           (request.contains("action") ? " " + request["action"].get<std::string>() : "") +
           (request.contains("reason") ? " " + request["reason"].get<std::string>() : "");
}

class ApbdFixture : public ::testing::Test {
protected:
    explicit ApbdFixture(const std::string& scenarios = kLoginAndGuest) {
        serve(vapText("wlan0-va1", "Guest", "local", scenarios) + "," +
              vapText("wlan1-va1", "Guest", "local", scenarios));
    }
    ~ApbdFixture() override { ipc_->close(); }

    void serve(const std::string& interfaces) {
        portal_ = std::make_shared<Portal>(ipc_, document(interfaces), "", "");
        build();
    }
    void build() {
        apbd_ = std::make_shared<APBDCollaborator>(
            std::make_shared<JsonEntry>(R"({"captive-portal": {"apbd": {"enabled": true}}})"), ipc_,
            portal_);
        portal_->setClientInformationStore(apbd_);
        portal_->addClientsEventsInformator(apbd_);
    }

    std::vector<json> requests() {
        std::vector<json> requests;
        for (const std::string& text : peer_.takeFrom(*ipc_, IPC_MODULE_APBD)) {
            requests.push_back(json::parse(text));
        }
        return requests;
    }
    std::vector<std::string> sent() {
        std::vector<std::string> lines;
        for (const json& request : requests()) {
            lines.push_back(summary(request));
        }
        return lines;
    }

    // A record of the domain.
    static json record(int id = -1, int sessionTime = 0, const std::string& mac = kMac) {
        return {{"sta-mac", mac},
                {"user-name", "bob"},
                {"ssid", "Guest"},
                {"radius-domain", ""},
                {"mobility-domain", "hall"},
                {"cur-scenario-id", id},
                {"cur-session-time", sessionTime},
                {"scenario", json::array()}};
    }
    void subscribed(const json& users = json::array()) {
        apbd_->subscribedNotify(entry({{"cmd", "subscribe-response"}, {"user", users}}));
    }
    void add(const json& user) { apbd_->handleAddClients(entry({{"user", user}})); }
    void update(const std::string& action, const json& user) {
        apbd_->handleUpdateClients(entry({{"action", action}, {"user", user}}));
    }
    void remove(const json& user) { apbd_->handleDeleteClients(entry({{"user", user}})); }

    void arrive(const std::string& vap = "wlan0-va1") {
        ASSERT_TRUE(portal_->addClient(MacAddr(kMac), "10.1.0.1", 1500, vap));
    }
    // A second of statistics with the station on that VAP; "" for none.
    void second(const std::string& vap = "wlan0-va1") {
        clock_.advanceSeconds(1);
        std::vector<ClientStatisticInfo> records;
        if (!vap.empty()) {
            records.emplace_back(vap, MacAddr(kMac), 1ULL, 1ULL, 1UL, 1UL, 0UL, 0UL, 0UL, 0UL, 0UL,
                                 1L, 0L);
        }
        portal_->responseCallback(records);
    }
    void login() {
        ClientIdentity identity(MacAddr(kMac), "", "", "");
        ASSERT_EQ(portal_->authenticateClient(identity, "bob", "secret"), 0);
    }
    // The station as a status dump shows it; null when it isn't here.
    json station() {
        const auto message =
            portal_->dumpClientToMessage(ClientIdentity(MacAddr(kMac), "", "", ""),
                                         std::make_shared<IPCDumpClientMessageFactory>());
        return message ? json::parse(message->getStringRepresentation()) : json();
    }
    bool isRemembered() { return apbd_->getMessageForClient(kStation) != nullptr; }

    NoDeauthTool noTool_;
    RuntimeDirectory directory_;
    FakeClock clock_;
    std::shared_ptr<IpcInterface> ipc_ =
        std::make_shared<IpcInterface>(IPC_MODULE_VESTAD, false, 8);
    BusPeer peer_{IPC_MODULE_APBD,
                  {"status", "subscribe-request", "add-request", "update-request", "del-request"}};
    std::shared_ptr<Portal> portal_;
    std::shared_ptr<APBDCollaborator> apbd_;
};

}  // namespace vesta::testing
