#pragma once

// What the daemon does on each request of the bus, knowing nothing of the bus: a handler takes the
// request and returns the answer, or nothing where the command has none. A request that lacks what
// its handler needs throws ENTRY_EXCEPTION_TYPE.
//
// Threads: one request at a time, on the listener's thread.

#include <memory>

#include "core/event_listener.h"
#include "core/message_entry.h"
#include "ipc/tinyproxy_collaborator.h"

namespace vesta {

class APBDCollaborator;
class Portal;

class VestaEventListener : public EventListener {
public:
    using Entry = std::shared_ptr<MessageEntry>;

    VestaEventListener(std::shared_ptr<Portal> portal, std::shared_ptr<APBDCollaborator> apbd);

    // Of the proxy and the web portal.
    Entry handleGetRedirectParams(Entry request);
    Entry handleValidateIp(Entry request);
    Entry handleValidate(Entry request);
    Entry handleUpdate(Entry request);
    Entry handleUpdateScenario(Entry request);

    // Of status tools: all clients and instances; scenarios of one client ("mac" and "ssid") or
    // all.
    Entry handleVestadState(Entry request);
    Entry handleVestadStateScenarios(Entry request);

    // Throws one station off; the answer doesn't say whether there was one.
    Entry handleDelClient(Entry request);

    // Of apbd.
    void handleAPBConnectedResponce(Entry message);
    void handleAPBDisconnectedResponce(Entry message);
    // The collaborator gets the answer also when apbd reports a failure: it decides what counts.
    void handleAPBSubscribeResponce(Entry message);
    void handleAPBAddResponce(Entry message);
    void handleAPBUpdateResponce(Entry message);
    void handleAPBDeleteResponce(Entry message);
    void handleAPBAddNotify(Entry message);
    void handleAPBUpdateNotify(Entry message);
    void handleAPBDeleteNotify(Entry message);

private:
    static void handleAPBOperationStatus(MessageEntry& message, const char* operation);

    std::shared_ptr<Portal> portal_;
    std::shared_ptr<APBDCollaborator> apbd_;
    TinyproxyCollaborator tinyproxy_;
};

}  // namespace vesta
