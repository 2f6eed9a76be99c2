#include "inform/trap_informator.h"

#include <utility>

#include "client/client.h"
#include "client/portal_instance_interface.h"
#include "ostrel/cfg.h"

namespace vesta {
namespace {

using Cfg = std::unique_ptr<cfg_t, void (*)(cfg_t*)>;

Cfg emptyCfg() {
    return Cfg(cfg_get_empty(), cfg_release);
}

void setUnlessEmpty(const Cfg& object, const char* name, const std::string& value) {
    if (!value.empty()) {
        cfg_set_param(object.get(), name, value.c_str());
    }
}

Cfg makeEvent(const std::string& type, const Client& client) {
    Cfg event = emptyCfg();
    cfg_set_param(event.get(), "type", type.c_str());
    cfg_set_param(event.get(), "mac", client.getMacAddress().c_str());
    cfg_set_param(event.get(), "ip", client.getIpAddress().c_str());
    cfg_set_param(event.get(), "username", client.getLogin().c_str());
    const PortalInstanceInterface& instance = client.getOwner();
    setUnlessEmpty(event, "ssid", instance.getSsid());
    setUnlessEmpty(event, "domain", instance.getDomain());
    setUnlessEmpty(event, "name", instance.getName());
    setUnlessEmpty(event, "dev", instance.getAttachedInterface());
    return event;
}

}  // namespace

TrapInformator::TrapInformator(std::shared_ptr<IpcInterface> ipc) : ipc_(std::move(ipc)) {}

bool TrapInformator::informUpdateClient(std::shared_ptr<Client>, ClientStatisticInfo&) {
    return true;
}

bool TrapInformator::informClientDeuthenticated(std::shared_ptr<Client> client,
                                                ClientStatisticInfo& statistics) {
    send_trap("cp-deauth", client, statistics);
    return true;
}

bool TrapInformator::informClientConnected(std::shared_ptr<Client> client,
                                           ClientStatisticInfo& statistics) {
    send_trap("cp-connected", client, statistics);
    return true;
}

bool TrapInformator::informClientDisconnected(std::shared_ptr<Client> client,
                                              ClientStatisticInfo& statistics) {
    send_trap("cp-disconnected", client, statistics);
    return true;
}

bool TrapInformator::informClientRemoved(std::shared_ptr<Client> client,
                                         ClientStatisticInfo& statistics) {
    send_trap("cp-disconnected", client, statistics);
    return true;
}

void TrapInformator::send_trap(const std::string& type, std::shared_ptr<Client> client,
                               ClientStatisticInfo&) {
    const Cfg event = makeEvent(type, *client);
    const Cfg trap = emptyCfg();
    cfg_set_param(trap.get(), "command", "cp-client-trap");
    cfg_insert_child(trap.get(), "event", event.get());
    ipc_->send(cfg_json_source(trap.get()), IPC_MODULE_MONITORD_TRAPS);
}

}  // namespace vesta
