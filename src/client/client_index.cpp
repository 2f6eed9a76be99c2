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
    Client* oldest = byMac_.find(identity.mac);
    const auto consider = [&oldest](Client* client) {
        if (client != nullptr &&
            (oldest == nullptr || client->getArrival() < oldest->getArrival())) {
            oldest = client;
        }
    };
    if (!identity.ip.empty()) {
        consider(byIp_.find(identity.ip));
    }
    if (!identity.username.empty()) {
        consider(byLogin_.find(identity.username));
    }
    return oldest;
}

}  // namespace vesta
