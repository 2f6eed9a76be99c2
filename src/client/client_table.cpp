#include "client/client_table.h"

namespace vesta {

// Clients may outlive the table: whoever waits for an answer about one still holds it.
ClientTable::~ClientTable() {
    for (const ClientPtr& client : clients_) {
        client->table_ = nullptr;
    }
}

void ClientTable::add(ClientPtr client) {
    client->table_ = this;
    client->arrival_ = ++lastArrival_;
    client->place_ = clients_.insert(clients_.end(), client);
    index(*client);
    if (!client->isConnected()) {
        neverConnected_.insert(client.get());
        client->absence_ = absent_.insert(absent_.end(), client.get());
    }
}

void ClientTable::erase(const ClientPtr& client) {
    if (!contains(*client)) {
        return;
    }
    const ClientPtr keep = client;  // `client` may be the very pointer in the list
    unindex(*keep);
    neverConnected_.erase(keep.get());
    if (!keep->isConnected()) {
        absent_.erase(keep->absence_);
    }
    if (next_ == keep->place_) {
        ++next_;
    }
    clients_.erase(keep->place_);
    keep->table_ = nullptr;
}

ClientTable::ClientPtr ClientTable::find(const ClientIdentity& identity) const {
    const Client* const client = all_.find(identity);
    return client != nullptr ? *client->place_ : nullptr;
}

ClientTable::ClientPtr ClientTable::findConnected(const ClientIdentity& identity) const {
    const Client* const client = connected_.find(identity);
    return client != nullptr ? *client->place_ : nullptr;
}

ClientTable::ClientPtr ClientTable::oldestNeverConnected() const {
    return neverConnected_.empty() ? nullptr : *(*neverConnected_.begin())->place_;
}

ClientTable::ClientPtr ClientTable::longestAbsent() const {
    return absent_.empty() ? nullptr : *absent_.front()->place_;
}

void ClientTable::unindex(Client& client) {
    all_.remove(client);
    if (client.isConnected()) {
        connected_.remove(client);
    }
}

void ClientTable::index(Client& client) {
    all_.add(client);
    if (client.isConnected()) {
        connected_.add(client);
    }
}

void ClientTable::connectionChanged(Client& client) {
    if (!client.isConnected()) {
        connected_.remove(client);
        client.absence_ = absent_.insert(absent_.end(), &client);
        return;
    }
    connected_.add(client);
    neverConnected_.erase(&client);
    absent_.erase(client.absence_);
}

}  // namespace vesta
