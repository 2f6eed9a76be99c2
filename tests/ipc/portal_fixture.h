#pragma once

// A real portal on a private bus without kernel modules, with the listener that is under test and
// the stations that a test lets arrive.

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "apb/apbd_collaborator.h"
#include "core/json_entry.h"
#include "ipc/ipc_event_listener.h"
#include "ostrel/ipc.h"
#include "portal/portal.h"
#include "station/client_statistic_info.h"
#include "support/no_deauth_tool.h"
#include "support/portal_document.h"
#include "support/runtime_directory.h"

namespace vesta::testing {

using nlohmann::json;

inline std::shared_ptr<MessageEntry> message(const std::string& text) {
    return std::make_shared<JsonEntry>(text);
}

inline json jsonOf(const std::shared_ptr<MessageEntry>& entry) {
    return json::parse(entry->getStringRepresentation());
}

// A page of docs/.
inline std::string pageText(const std::string& name) {
    std::ifstream file(VESTA_DOCS "/" + name);
    return {std::istreambuf_iterator<char>(file), {}};
}

class PortalFixture : public ::testing::Test {
protected:
    explicit PortalFixture(const std::string& interfaces = vapText("wlan0-va1", "Guest", "portal"))
        : config_(document(interfaces)),
          portal_(std::make_shared<Portal>(ipc_, config_, "", "")),
          listener_(portal_, std::make_shared<APBDCollaborator>(config_, ipc_, portal_), ipc_) {}
    ~PortalFixture() override { ipc_->close(); }

    void arrive(const std::string& mac, const std::string& ip,
                const std::string& interface = "wlan0-va1") {
        ASSERT_TRUE(portal_->addClient(MacAddr(mac), ip, 1500, interface));
    }

    // Arrives and appears in the statistics.
    void connect(const std::string& mac, const std::string& ip,
                 const std::string& interface = "wlan0-va1") {
        arrive(mac, ip, interface);
        std::vector<ClientStatisticInfo> statistics{
            ClientStatisticInfo(interface, MacAddr(mac), 1, 1, 0, 0, 0, 0, 0, 0, 0, 1, 0)};
        portal_->responseCallback(statistics);
    }

    // The clients of the "get" answer.
    json clients() {
        return jsonOf(listener_.handleVestadState(message("{}")))["value"]["clients"];
    }

    NoDeauthTool noTool_;
    RuntimeDirectory directory_;
    std::shared_ptr<IpcInterface> ipc_ =
        std::make_shared<IpcInterface>(IPC_MODULE_VESTAD, false, 5);
    std::shared_ptr<MessageEntry> config_;
    std::shared_ptr<Portal> portal_;
    IPCEventListener listener_;
};

}  // namespace vesta::testing
