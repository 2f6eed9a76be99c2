#pragma once

// The stations of an instance in their order of arrival. A look-up finds the first that matches, in
// constant time. A client tells its table when its IP, login or connection changes, so nothing here
// can go stale.
//
// Threads: no lock; like its clients it is used under the lock of their instance.

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <set>

#include "client/client.h"
#include "client/client_index.h"

namespace vesta {

class ClientTable {
public:
    using ClientPtr = std::shared_ptr<Client>;

    ClientTable() = default;
    ~ClientTable();
    ClientTable(const ClientTable&) = delete;
    ClientTable& operator=(const ClientTable&) = delete;

    // Puts `client`, which stands in no table, at the end.
    void add(ClientPtr client);
    // Takes `client` out; does nothing when it does not stand here.
    void erase(const ClientPtr& client);
    [[nodiscard]] bool contains(const Client& client) const { return client.table_ == this; }

    [[nodiscard]] std::size_t size() const { return clients_.size(); }
    // In order of arrival. Erasing a client ends only the iterators that stand on it.
    [[nodiscard]] std::list<ClientPtr>::const_iterator begin() const { return clients_.begin(); }
    [[nodiscard]] std::list<ClientPtr>::const_iterator end() const { return clients_.end(); }
    // Calls visit(const ClientPtr&) for each client in order of arrival. visit() may erase any
    // client and add others, but must not call forEach().
    template <class Visit>
    void forEach(Visit visit) {
        for (next_ = clients_.begin(); next_ != clients_.end();) {
            const ClientPtr client = *next_++;
            visit(client);
        }
    }

    // The first client whose isThatYou() is true; null when there is none.
    [[nodiscard]] ClientPtr find(const ClientIdentity& identity) const;
    // The same among those that are connected.
    [[nodiscard]] ClientPtr findConnected(const ClientIdentity& identity) const;

    // The number of stations that have not been connected since they came.
    [[nodiscard]] std::size_t neverConnectedCount() const { return neverConnected_.size(); }
    // Null when there is none.
    [[nodiscard]] ClientPtr oldestNeverConnected() const;
    // The station that has not been connected for the longest time; one that never was is absent
    // since it came. Null when all are connected.
    [[nodiscard]] ClientPtr longestAbsent() const;

private:
    friend class Client;

    struct ByArrival {
        bool operator()(const Client* left, const Client* right) const {
            return left->getArrival() < right->getArrival();
        }
    };

    // Called before and after a client's keys change.
    void unindex(Client& client);
    void index(Client& client);
    // Called after its connection changed.
    void connectionChanged(Client& client);

    std::list<ClientPtr> clients_;
    std::list<ClientPtr>::iterator next_ = clients_.end();  // of forEach()
    std::uint64_t lastArrival_ = 0;
    ClientIndex all_;
    ClientIndex connected_;
    std::set<Client*, ByArrival> neverConnected_;
    std::list<Client*> absent_;  // those who are not connected, the longest absent first
};

}  // namespace vesta
