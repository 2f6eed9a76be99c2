#pragma once

// Finds clients by MAC, IP or login: of several that match, the one that arrived first, in constant
// time. Keys are not copied; they stay where they are in the client, which leaves the index before
// one of them changes.

#include <cstddef>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>

#include "client/client.h"

namespace vesta {

// By one key. The oldest client of each key stands in a hash table, the others of that key in a
// tree by key and arrival, from which the next one moves up: thousands that share a login cost
// little more than those that share nothing.
template <class Key, const Key& (Client::*keyOf)() const>
class OldestClientIndex {
public:
    void add(Client& client) {
        const auto [place, isOnly] = oldest_.try_emplace(&(client.*keyOf)(), &client);
        if (isOnly) {
            return;
        }
        Client* const other = place->second;
        if (other->getArrival() < client.getArrival()) {
            younger_.insert(&client);
            return;
        }
        oldest_.erase(place);
        oldest_.emplace(&(client.*keyOf)(), &client);
        younger_.insert(other);
    }

    // `client` is in the index.
    void remove(Client& client) {
        const auto place = oldest_.find(&(client.*keyOf)());
        if (place->second != &client) {
            younger_.erase(&client);
            return;
        }
        oldest_.erase(place);
        const auto next = younger_.lower_bound(&client);
        if (next != younger_.end() && ((*next)->*keyOf)() == (client.*keyOf)()) {
            oldest_.emplace(&((*next)->*keyOf)(), *next);
            younger_.erase(next);
        }
    }

    // Null when there is none.
    [[nodiscard]] Client* find(const Key& key) const {
        const auto place = oldest_.find(&key);
        return place != oldest_.end() ? place->second : nullptr;
    }

private:
    static std::string_view bytesOf(const std::string& key) { return key; }
    static std::string_view bytesOf(const MacAddr& key) {
        return {reinterpret_cast<const char*>(key.bytes().data()), key.bytes().size()};
    }

    // noexcept has the table keep no copy of the hash: 16 bytes less a station.
    struct Hash {
        std::size_t operator()(const Key* key) const noexcept {
            return std::hash<std::string_view>()(bytesOf(*key));
        }
    };
    struct Equal {
        bool operator()(const Key* left, const Key* right) const { return *left == *right; }
    };
    struct ByKeyAndArrival {
        bool operator()(const Client* left, const Client* right) const {
            const int order = bytesOf((left->*keyOf)()).compare(bytesOf((right->*keyOf)()));
            return order != 0 ? order < 0 : left->getArrival() < right->getArrival();
        }
    };

    std::unordered_map<const Key*, Client*, Hash, Equal> oldest_;
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
