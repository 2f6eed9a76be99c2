#pragma once

// Shares the client records of one access point with the others of its mobility domains: turns
// vestad's requests into publications, and what others publish into notifications.
//
// The broker's order of publications is the truth, and its retained messages are the state. Every
// change is made in the ledger at once and stays unconfirmed until its publication has come round;
// what is unconfirmed when the broker is lost is kept, the last change of each record. When the
// broker is back its whole state is read again (Loading), and each record is settled (BrokerNews):
// what was kept goes out, unless another access point has changed the record meanwhile and that
// counts more. Requests that come before the first state was read wait for it (ChangeRequests).
//
// Threads: none of its own; one thread makes all the calls, and both sides are called on it.

#include <cstdint>
#include <string>

#include "apbd/broker_news.h"
#include "apbd/change_requests.h"
#include "apbd/ledger.h"
#include "apbd/loading.h"
#include "apbd/sides.h"
#include "apbd/subscription.h"
#include "apbd/topics.h"
#include "apbd/vestad_side.h"
#include "apbd/white_lists.h"

namespace apbd {

class Sharing {
public:
    // `instance` names this process among all that use the broker. A record ends by itself after
    // `recordLifetime` seconds at the latest.
    Sharing(BusSide& bus, BrokerSide& broker, const std::string& root, const std::string& instance,
            std::uint32_t recordLifetime);
    Sharing(const Sharing&) = delete;
    Sharing& operator=(const Sharing&) = delete;

    void begin() { subscription_.announce(); }
    void end();  // takes leave of vestad
    // Once a second, and sooner while hasUnsent().
    void tick();
    [[nodiscard]] bool hasUnsent() const { return vestad_.hasUnsent(); }
    // Whether changes are on the way to the broker that have not come round.
    [[nodiscard]] bool hasUnconfirmed() const { return connected_ && !ledger_.changes().empty(); }

    // A request of `sender`, a JSON text.
    void handleRequest(const std::string& text, int sender);

    // `keptState`: the broker knows this client from before and has lost nothing since.
    void brokerConnected(bool keptState);
    void brokerDisconnected();
    // The broker has granted a subscription.
    void subscribed() { loading_.granted(); }
    // `lifetime`: in how many seconds the message ends, 0 where the broker does not tell.
    void received(const std::string& topic, const std::string& payload, std::uint32_t lifetime);

private:
    void handleStatus(int sender);
    void handleSubscribe(const Json& request);
    void load();
    void loaded();
    void settleAll(const Loading::State& state);
    void receivedRecord(const Key& key, const std::string& payload, std::uint32_t lifetime);
    void checkAges();
    void receivedList(const std::string& topic, const Topics::Place& place,
                      const std::string& payload);

    BusSide& bus_;
    const Topics topics_;
    VestadSide vestad_;
    Ledger ledger_;
    Subscription subscription_;
    ChangeRequests requests_;
    BrokerNews news_;
    Loading loading_;
    WhiteLists lists_;
    std::int64_t agesCheckedAt_ = 0;  // monotonic seconds
    bool connected_ = false;
    bool lostState_ = false;   // the broker has forgotten what it held
    bool everLoaded_ = false;  // of the present scopes
};

}  // namespace apbd
