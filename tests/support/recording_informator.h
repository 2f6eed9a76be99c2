#pragma once

// Keeps what it was told, one text an event: "authenticated aa:bb:...", with the end reason behind
// it where there is one; and the client of the last event, as a RADIUS request does.

#include <string>
#include <vector>

#include "client/client.h"
#include "client/informator.h"

namespace vesta::testing {

class RecordingInformator final : public Informator {
public:
    using ClientPtr = std::shared_ptr<Client>;
    using Statistics = ClientStatisticInfo;

    bool informClientAuthenticated(ClientPtr client, Statistics& statistics) override {
        return record("authenticated", client, statistics);
    }
    bool informUpdateClient(ClientPtr client, Statistics& statistics) override {
        return record("update", client, statistics);
    }
    bool informClientDeuthenticated(ClientPtr client, Statistics& statistics) override {
        return record("deauthenticated", client, statistics);
    }
    bool informClientConnected(ClientPtr client, Statistics& statistics) override {
        return record("connected", client, statistics);
    }
    bool informClientDisconnected(ClientPtr client, Statistics& statistics) override {
        return record("disconnected", client, statistics);
    }
    bool informClientDrop(ClientPtr client, Statistics& statistics) override {
        return record("drop", client, statistics);
    }
    bool informClientRemoved(ClientPtr client, Statistics& statistics) override {
        return record("removed", client, statistics);
    }
    bool informClientResetNeeded(ClientPtr client, Statistics& statistics) override {
        return record("reset", client, statistics);
    }

    // What was told since the last call.
    std::vector<std::string> take() { return std::exchange(events_, {}); }

    ClientPtr lastClient;

private:
    bool record(const char* event, const ClientPtr& client, const Statistics& statistics) {
        lastClient = client;
        std::string text = std::string(event) + " " + client->getMacAddress();
        if (statistics.endReason != END_REASON_NONE) {
            text += " " + std::to_string(statistics.endReason);
        }
        events_.push_back(std::move(text));
        return false;
    }

    std::vector<std::string> events_;
};

}  // namespace vesta::testing
