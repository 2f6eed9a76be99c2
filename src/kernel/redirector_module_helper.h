#pragma once

// A handle onto the redirector module for programs other than the daemon: the requests about
// stations, without lists and notifications.
//
// Threads: any; requests of one handle follow one another.

#include <memory>
#include <string>

#include "kernel/redirector_records.h"
#include "ostrel/modules.h"

namespace vesta {

class Client;

class RedirectorModuleHelper {
public:
    RedirectorModuleHelper();

    void setClientAuthed(std::shared_ptr<Client>);
    void setClientUnauthed(std::shared_ptr<Client>);
    void setClientDrop(std::shared_ptr<Client>);
    void wipeClient(std::shared_ptr<Client>);
    void wipeAllClients();
    // Sets the process that the module tells of new stations.
    void setVestadPid(int pid);
    // The local HTTP proxy, dotted; "0.0.0.0" when the module knows none.
    std::string getProxyIPv4();
    // The gateway on the way to `address`, dotted; "0.0.0.0" when there is none.
    std::string getOutputGw(const std::string& address);

private:
    static std::string logAddress(const unsigned char* address);
    void request(RedirectorRequest number, void* argument);
    void clientRequest(RedirectorRequest number, const char* operation, const Client& client);

    std::unique_ptr<ostrel::ModuleControl> control_;
};

}  // namespace vesta
