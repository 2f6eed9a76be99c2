#include "client/client_index.h"

namespace vesta {

void ClientIndex::add(Client& client) {
    byMac_.add(client);
    if (!client.getIpAddress().empty()) {
        byIp_.add(client);
    }
    if (!client.getLogin().empty()) {
        byLogin_.add(client);
    }
}

void ClientIndex::remove(Client& client) {
    byMac_.remove(client);
    if (!client.getIpAddress().empty()) {
        byIp_.remove(client);
    }
    if (!client.getLogin().empty()) {
        byLogin_.remove(client);
    }
}

Client* ClientIndex::find(const ClientIdentity& identity) const {
    Client* oldest = nullptr;
    for (Client* const client :
         {byMac_.find(identity.mac), byIp_.find(identity.ip), byLogin_.find(identity.username)}) {
        if (client != nullptr &&
            (oldest == nullptr || client->getArrival() < oldest->getArrival())) {
            oldest = client;
        }
    }
    return oldest;
}

}  // namespace vesta
