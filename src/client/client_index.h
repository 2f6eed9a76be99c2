#pragma once

// Finds clients by MAC, IP or login in constant time: of several that match the one that arrived
// first. Keys are not copied but read in the client, which must leave the index before one changes.

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <string_view>

#include "client/client.h"
#include "client/client_hash_table.h"

namespace vesta {

// By one key. The oldest client of each key stands in a hash table; the others stand in a tree by
// key and arrival, from which the next one moves up. So a login that thousands share costs little
// more than one that nobody shares.
template <class Key, const Key& (Client::*keyOf)() const>
class OldestClientIndex {
public:
    void add(Client& client) {
        const ClientHashTable::Slot* const slot = slotOf((client.*keyOf)());
        if (slot == nullptr) {
            oldest_.insert(hashOf((client.*keyOf)()), client);
        } else if (slot->client->getArrival() < client.getArrival()) {
            younger_.insert(&client);
        } else {
            younger_.insert(slot->client);
            oldest_.replace(slot, client);
        }
    }

    // `client` is in the index.
    void remove(Client& client) {
        const ClientHashTable::Slot* const slot = slotOf((client.*keyOf)());
        if (slot->client != &client) {
            younger_.erase(&client);
            return;
        }
        const auto next = younger_.lower_bound(&client);
        if (next == younger_.end() || ((*next)->*keyOf)() != (client.*keyOf)()) {
            oldest_.erase(slot);
            return;
        }
        oldest_.replace(slot, **next);
        younger_.erase(next);
    }

    // Null when there is none.
    [[nodiscard]] Client* find(const Key& key) const {
        const ClientHashTable::Slot* const slot = slotOf(key);
        return slot != nullptr ? slot->client : nullptr;
    }

private:
    static std::string_view bytesOf(const std::string& key) { return key; }
    static std::string_view bytesOf(const MacAddr& key) {
        return {reinterpret_cast<const char*>(key.bytes().data()), key.bytes().size()};
    }

    static std::uint32_t hashOf(const Key& key) {
        const std::uint64_t hash = std::hash<std::string_view>()(bytesOf(key));
        return static_cast<std::uint32_t>(hash ^ (hash >> 32U));
    }

    [[nodiscard]] const ClientHashTable::Slot* slotOf(const Key& key) const {
        return oldest_.find(hashOf(key),
                            [&key](const Client& client) { return (client.*keyOf)() == key; });
    }

    struct ByKeyAndArrival {
        bool operator()(const Client* left, const Client* right) const {
            const int order = bytesOf((left->*keyOf)()).compare(bytesOf((right->*keyOf)()));
            return order != 0 ? order < 0 : left->getArrival() < right->getArrival();
        }
    };

    ClientHashTable oldest_;
    std::set<Client*, ByKeyAndArrival> younger_;
};

// By every key that Client::isThatYou() compares.
class ClientIndex {
public:
    void add(Client& client);
    // `client` is in the index.
    void remove(Client& client);
    // The client that arrived first of those whose isThatYou() is true; null when there is none.
    [[nodiscard]] Client* find(const ClientIdentity& identity) const;

private:
    OldestClientIndex<MacAddr, &Client::getMac> byMac_;
    OldestClientIndex<std::string, &Client::getIpAddress> byIp_;
    OldestClientIndex<std::string, &Client::getLogin> byLogin_;
};

}  // namespace vesta
