#pragma once

// A worker's Access-Requests that wait for a decision, and the stations to be asked about again
// because their request ended without one.
//
// A request is known by its Request Authenticator. Identifiers come round again, so by them a late
// or forged answer could hit another station. An entry goes when its answer comes, its request is
// given up, or its station is removed or sends a newer request. An entry older than any request can
// be goes too, so a stale one never admits anybody.
//
// Threads: any. One leaf lock guards all; nothing is called while it is held.

#include <array>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "core/mutex.h"
#include "ostrel/librad.h"
#include "station/mac_addr.h"

namespace vesta {

class Client;

// What the requests of one login say of its station. A copy, because the thread that answers
// challenges may not read the client.
struct RadiusStation {
    std::string login;
    librad_secret password;
    MacAddr mac;
    std::string ip;
    std::uint32_t mtu = 0;
    std::uint32_t accountingId = 0;  // the low word of the session id, 0 = none
    unsigned int challenges = 0;     // that this login has answered
};

class PendingRequests {
public:
    // A Request Authenticator.
    using Key = std::array<unsigned char, librad_authenticator_length>;
    using ClientPtr = std::shared_ptr<Client>;

    // Longer than the library keeps a request, which waits up to 30 s and is sent for up to 30 s.
    static constexpr std::int64_t kLongestLifeSeconds = 120;
    // From the end of a request without decision to the next.
    static constexpr std::int64_t kAskAgainSeconds = 30;

    static Key keyOf(const librad_radius_msg* request);

    // `askAgain`: stations whose request ended without a decision are kept for takeDue().
    explicit PendingRequests(bool askAgain) : askAgain_(askAgain) {}

    // Adds a request. An older request for the client is forgotten, and the client is no longer
    // among those to be asked about again.
    void add(const Key& key, ClientPtr client, RadiusStation station) EXCLUDES(mutex_);
    [[nodiscard]] std::optional<RadiusStation> findStation(const Key& key) const EXCLUDES(mutex_);
    // Puts the next request of the same login, which answers a challenge, in the place of `oldKey`.
    // False when that is gone.
    [[nodiscard]] bool changeKey(const Key& oldKey, const Key& newKey) EXCLUDES(mutex_);
    // Takes out the entry of a request that was decided: the client, null when there is none, and
    // the login that was asked about, which may not be the client's any more.
    [[nodiscard]] std::pair<ClientPtr, std::string> take(const Key& key) EXCLUDES(mutex_);
    // The request ended without a decision.
    void abandon(const Key& key) EXCLUDES(mutex_);
    // Has the client asked about later, because no request could be sent now.
    void askLater(ClientPtr client) EXCLUDES(mutex_);
    // Forgets a client that is removed.
    void forget(const Client& client) EXCLUDES(mutex_);
    // Takes out the clients that are due to be asked about again.
    [[nodiscard]] std::vector<ClientPtr> takeDue() EXCLUDES(mutex_);

    [[nodiscard]] std::size_t size() const EXCLUDES(mutex_);

private:
    struct Entry {
        Key key;
        ClientPtr client;
        RadiusStation station;
        std::int64_t sentAt;  // monotonic seconds
    };
    struct Unanswered {
        ClientPtr client;
        std::int64_t dueAt;  // monotonic seconds
    };
    using Entries = std::list<Entry>;

    // Entries that are taken out are moved to `removed`, which is destroyed without the lock.
    void remove(Entries::iterator entry, Entries& removed) REQUIRES(mutex_);
    void dropStale(Entries& removed) REQUIRES(mutex_);
    void keepUnanswered(const ClientPtr& client) REQUIRES(mutex_);

    const bool askAgain_;
    mutable Mutex mutex_;
    Entries entries_ GUARDED_BY(mutex_);  // in sending order
    std::map<Key, Entries::iterator> byKey_ GUARDED_BY(mutex_);
    std::unordered_map<const Client*, Entries::iterator> byClient_ GUARDED_BY(mutex_);
    std::unordered_map<const Client*, Unanswered> unanswered_ GUARDED_BY(mutex_);
};

}  // namespace vesta
