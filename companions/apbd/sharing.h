#pragma once

// Shares the client records of one access point with the others of its mobility domains: turns
// vestad's requests into publications, and what others publish into notifications.
//
// The broker's order of publications is the truth, and its retained messages are the state. Every
// change is made in the book at once and stays unconfirmed until its publication has come round;
// what is unconfirmed when the broker is lost is kept, the last change of each record. When the
// broker is back its whole state is read again up to a marker, and each record is settled: what was
// kept goes out, unless another access point has changed the record meanwhile and that counts more.
// Requests that come before the first state was read wait for it.
//
// Threads: none of its own; one thread makes all the calls, and both sides are called on it.

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "apbd/record.h"
#include "apbd/sides.h"
#include "apbd/topics.h"
#include "apbd/vestad_side.h"

namespace apbd {

class Sharing {
public:
    static constexpr std::size_t kMostRecords = 100000;
    // Changes kept for the broker, and requests kept for the first state.
    static constexpr std::size_t kMostKept = 8192;
    // For the broker's state to be there, and for a publication to come round.
    static constexpr std::int64_t kLoadSeconds = 10;
    static constexpr std::int64_t kConfirmSeconds = 30;

    // For the broker to be there at all, until a subscription is refused.
    static constexpr std::int64_t kRefusalSeconds = 2;

    // `instance` names this process among all that use the broker.
    Sharing(BusSide& bus, BrokerSide& broker, const std::string& root, std::string instance);

    void begin();  // announces apbd to vestad
    void end();    // takes leave of it
    // Once a second, and sooner while hasUnsent().
    void tick();
    [[nodiscard]] bool hasUnsent() const { return vestad_.hasUnsent(); }
    // Whether changes are on the way to the broker that have not come round.
    [[nodiscard]] bool hasUnconfirmed() const { return connected_ && !unconfirmed_.empty(); }

    // A request of `sender`, a JSON text.
    void handleRequest(const std::string& text, int sender);

    // `keptState`: the broker knows this client from before and has lost nothing since.
    void brokerConnected(bool keptState);
    void brokerDisconnected();
    void subscribed();
    void received(const std::string& topic, const std::string& payload);

private:
    // A change of ours that has not come round.
    struct Change {
        std::uint64_t number = 0;
        std::optional<Version> base;  // what the broker had before it; nothing: no record
        bool removes = false;
        bool anew = false;             // a session begins: no deletion before it concerns it
        std::int64_t time = 0;         // milliseconds since 1970
        std::int64_t publishedAt = 0;  // monotonic seconds
    };
    struct EarlyRequest {
        Json request;
        std::int64_t receivedAt;  // monotonic milliseconds
    };
    struct WhiteList {
        Topics::Place place;
        std::string values;
    };
    enum class Phase { idle, loading, ready };
    using Lists = std::map<std::string, WhiteList>;

    bool isOverdue(std::int64_t now) const;

    // sharing_requests.cpp: vestad's requests
    void handleStatus(int sender);
    void handleSubscribe(const Json& request);
    void refuseLateSubscription(std::int64_t now);
    void handleChange(const Json& request);
    void remindOfSubscription();
    void keepEarly(const Json& request);
    void replayEarly();
    bool isFromThePast(const Json& request) const;
    bool apply(const Json& request);
    bool applyUpdate(const Key& key, const Json& request);
    bool applyRemoval(const Key& key, const Json& request);
    void put(const Key& key, std::string user, std::int64_t sessionTime, const std::string& action);
    void remove(const Key& key);
    Change& change(const Key& key);
    bool takeScopes(const Json& request);
    void forgetOtherScopes();
    void answerSubscription();
    Json whiteListEntry(const WhiteList& list) const;

    // sharing_broker.cpp: what others publish
    void load();
    bool lookForMissing();
    void loaded();
    void settle(const Key& key, const Record* published);
    void settleChange(const Key& key, const Change& change, const Record* published);
    void settleMissing(const Key& key, const Record& record);
    void publish(const Key& key);
    void receivedRecord(const Key& key, const std::string& payload);
    void receivedList(const std::string& topic, const Topics::Place& place,
                      const std::string& payload);
    void takeLists();
    void recordChanged(const Key& key, Record record);
    void recordDeleted(const Key& key);
    void accept(const Key& key, Record record);
    void erase(const Key& key);
    bool isOurs(const Record& record) const { return record.version.instance == instance_; }

    BrokerSide& broker_;
    BusSide& bus_;
    VestadSide vestad_;
    const Topics topics_;
    const std::string instance_;
    const std::int64_t startedAt_;  // milliseconds since 1970
    std::string apMac_;
    std::uint64_t lastNumber_ = 0;

    std::map<Scope, std::string> scopes_;  // with their RADIUS domains
    std::map<Key, Record> book_;
    std::map<Key, Change> unconfirmed_;
    Lists lists_;
    std::deque<EarlyRequest> early_;
    bool answerDue_ = false;
    bool refusalDue_ = false;
    std::int64_t subscribedAt_ = 0;  // monotonic seconds
    std::int64_t announcedAt_ = 0;   // monotonic seconds

    bool connected_ = false;
    bool lostState_ = false;
    bool everLoaded_ = false;
    bool warnedFull_ = false;
    Phase phase_ = Phase::idle;
    std::uint64_t round_ = 0;  // of loading; the marker's payload
    std::int64_t loadingSince_ = 0;
    std::map<Key, std::optional<Record>> seen_;  // nothing: deleted while it was read
    Lists seenLists_;
    std::optional<std::vector<Key>> missing_;  // still to be looked at; nothing: not yet known
};

}  // namespace apbd
