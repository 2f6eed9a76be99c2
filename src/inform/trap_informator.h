#pragma once

// Reports station events as traps to the monitoring daemon over the bus.
// A trap that can't be queued is lost: sending never waits.

#include <memory>
#include <string>

#include "client/informator.h"
#include "ostrel/ipc.h"

namespace vesta {

class TrapInformator final : public Informator {
public:
    explicit TrapInformator(std::shared_ptr<IpcInterface> ipc);

    bool informUpdateClient(std::shared_ptr<Client>, ClientStatisticInfo&) override;
    bool informClientDeuthenticated(std::shared_ptr<Client>, ClientStatisticInfo&) override;
    bool informClientConnected(std::shared_ptr<Client>, ClientStatisticInfo&) override;
    bool informClientDisconnected(std::shared_ptr<Client>, ClientStatisticInfo&) override;
    bool informClientRemoved(std::shared_ptr<Client>, ClientStatisticInfo&) override;

    // Sends one trap: {"command": "cp-client-trap", "event": {"type": ..., "mac": ..., "ip": ...,
    // "username": ..., and "ssid", "domain", "name", "dev" where they are not empty}}.
    void send_trap(const std::string& type, std::shared_ptr<Client>, ClientStatisticInfo&);

private:
    std::shared_ptr<IpcInterface> ipc_;
};

}  // namespace vesta
