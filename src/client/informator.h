#pragma once

// Whoever wants to hear what happens to the stations.
//
// Threads: called on the thread that reports the event, under the lock of the station's instance.
// An informator must not call a portal instance or the portal.

#include <memory>

namespace vesta {

class Client;
struct ClientStatisticInfo;

class Informator {
public:
    virtual ~Informator() = default;

    // Each returns false when the reaction failed; the event goes on to the others all the same.
    virtual bool informClientAuthenticated(std::shared_ptr<Client>, ClientStatisticInfo&) {
        return true;
    }
    virtual bool informUpdateClient(std::shared_ptr<Client>, ClientStatisticInfo&) { return true; }
    virtual bool informClientDeuthenticated(std::shared_ptr<Client>, ClientStatisticInfo&) {
        return true;
    }
    virtual bool informClientConnected(std::shared_ptr<Client>, ClientStatisticInfo&) {
        return true;
    }
    virtual bool informClientDisconnected(std::shared_ptr<Client>, ClientStatisticInfo&) {
        return true;
    }
    virtual bool informClientDrop(std::shared_ptr<Client>, ClientStatisticInfo&) { return true; }
    virtual bool informClientRemoved(std::shared_ptr<Client>, ClientStatisticInfo&) { return true; }
    virtual bool informClientResetNeeded(std::shared_ptr<Client>, ClientStatisticInfo&) {
        return true;
    }
    // The station has another IPv4 address now, or none.
    virtual bool informClientAddressChanged(std::shared_ptr<Client>, ClientStatisticInfo&) {
        return true;
    }
};

}  // namespace vesta
