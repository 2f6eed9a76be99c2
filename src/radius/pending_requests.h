#pragma once

// The Access-Requests of a worker that a server has not decided yet, and the stations that are to
// be asked for again because none did.
//
// A request is known by its Request Authenticator: identifiers come round again, so an answer that
// is late or forged could hit another station by them. An entry goes when its answer comes, when
// the request is given up, when its station is removed or sends a newer request, and at the latest
// when it is older than any request gets: one that is stale never admits anybody.
//
// Threads: any; one leaf lock, which is not held while anything is called.

#include <array>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "core/mutex.h"
#include "ostrel/librad.h"
#include "station/mac_addr.h"

namespace vesta {

class Client;

// What the requests of one login need of its station. A copy, since the thread that answers
// challenges may not read the client.
struct RadiusStation {
    std::string login;
    librad_secret password;
    MacAddr mac;
    std::string ip;
    std::uint32_t mtu = 0;
    std::uint32_t accountingId = 0;  // the low word of the session id, 0 = none
};

class PendingRequests {
public:
    // A Request Authenticator.
    using Key = std::array<unsigned char, librad_authenticator_length>;
    using ClientPtr = std::shared_ptr<Client>;

    // Longer than the library keeps a request: up to 30 s of waiting and 30 s of transmitting.
    static constexpr std::int64_t kLongestLifeSeconds = 120;
    // From the end of a request without decision to the next.
    static constexpr std::int64_t kAskAgainSeconds = 30;

    static Key keyOf(const librad_radius_msg* request);

    // `askAgain`: stations whose request ended without a decision are kept for takeDue().
    explicit PendingRequests(bool askAgain) : askAgain_(askAgain) {}

    // Replaces what is pending for the client, and all its hope for being asked again.
    void add(const Key& key, ClientPtr client, RadiusStation station) EXCLUDES(mutex_);
    [[nodiscard]] std::optional<RadiusStation> findStation(const Key& key) const EXCLUDES(mutex_);
    // The next request of the same login takes the place of `oldKey`. False when that is gone.
    [[nodiscard]] bool changeKey(const Key& oldKey, const Key& newKey) EXCLUDES(mutex_);
    // The request has been decided: takes the entry out. Null when there is none.
    [[nodiscard]] ClientPtr take(const Key& key) EXCLUDES(mutex_);
    // The request ended without a decision.
    void abandon(const Key& key) EXCLUDES(mutex_);
    // No request could be sent for the client.
    void askLater(ClientPtr client) EXCLUDES(mutex_);
    // The client is removed.
    void forget(const Client& client) EXCLUDES(mutex_);
    // Takes out the clients that are to be asked for again by now.
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

    // What was taken out is appended to `removed`, to be destroyed without the lock.
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
