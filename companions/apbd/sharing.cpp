#include "apbd/sharing.h"

#include <set>

#include "ostrel/clock.h"
#include "ostrel/ipc.h"
#include "ostrel/runtime.h"

namespace apbd {

using ostrel::LogLevel;

namespace {

// A record lasts a minute at least.
constexpr std::int64_t kAgesSeconds = 10;

}  // namespace

Sharing::Sharing(BusSide& bus, BrokerSide& broker, const std::string& root,
                 const std::string& instance, std::uint32_t recordLifetime)
    : bus_(bus),
      topics_(root),
      vestad_(bus),
      ledger_(broker, topics_, instance, recordLifetime),
      subscription_(vestad_),
      requests_(ledger_, vestad_, subscription_),
      news_(ledger_, vestad_, ostrel::wallMilliseconds()),
      loading_(broker, topics_.marker(instance)) {}

void Sharing::end() {
    vestad_.flush();
    vestad_.announce("disconnected");
}

void Sharing::tick() {
    vestad_.flush();
    if (vestad_.hasLost()) {
        subscription_.remind();
    }
    if (!connected_) {
        subscription_.refuseWhenLate();
    }
    checkAges();
    if (loading_.isOverdue()) {
        ostrel::report(LogLevel::warning,
                       "the marker on %s does not come back: may this user read and write there?",
                       loading_.marker().c_str());
        load();
    } else if (ledger_.isOpen() && ledger_.isOverdue()) {
        ostrel::report(LogLevel::warning,
                       "publications do not come round: may this user read and write under %s?",
                       topics_.filter(subscription_.scopes().begin()->first).c_str());
        load();
    }
}

void Sharing::checkAges() {
    const std::int64_t now = ostrel::monotonicSeconds();
    if (now - agesCheckedAt_ < kAgesSeconds) {
        return;
    }
    agesCheckedAt_ = now;
    const Ledger::Aged aged = ledger_.aged();
    for (const Key& key : aged.atHome) {
        // Whether a station is still here only its vestad can say.
        if (vestad_.isSubscribed()) {
            ledger_.prolong(key);
        }
    }
    for (const Key& key : aged.ended) {
        news_.ended(key);
    }
}

void Sharing::handleRequest(const std::string& text, int sender) {
    const Json request = Json::parse(text, nullptr, false);
    if (!request.is_object()) {
        ostrel::report(LogLevel::warning, "module %d sends no JSON object", sender);
        return;
    }
    ostrel::report(LogLevel::debug, "from module %d: %s", sender, text.c_str());
    const std::string command = textOf(request, "cmd");
    if (command == "status") {
        handleStatus(sender);
    } else if (sender != IPC_MODULE_VESTAD) {
        ostrel::report(LogLevel::warning, "module %d sends \"%s\": only vestad may", sender,
                       command.c_str());
    } else if (command == "subscribe-request") {
        handleSubscribe(request);
    } else if (ChangeRequests::isOne(command)) {
        requests_.handle(request, everLoaded_);
        subscription_.remind();
    }
}

void Sharing::handleStatus(int sender) {
    if (sender != IPC_MODULE_VESTAD) {
        if (!bus_.send(Json{{"command", "connected"}}.dump(), sender)) {
            ostrel::report(LogLevel::debug, "module %d is gone before its answer", sender);
        }
        return;
    }
    vestad_.begins();
    vestad_.announce("connected");
}

void Sharing::handleSubscribe(const Json& request) {
    const Scopes before = subscription_.scopes();
    if (!subscription_.take(request)) {
        return;
    }
    ledger_.setApMac(textOf(request, "ap-mac"));
    if (subscription_.scopes() != before) {
        ledger_.keepOnly(subscription_.scopes());
        lists_.clear();
        everLoaded_ = false;
        if (connected_) {
            load();
        }
    }
    if (everLoaded_ && !loading_.isRunning()) {
        subscription_.answer(ledger_.records(), lists_);
    } else {
        subscription_.await();
    }
}

void Sharing::brokerConnected(bool keptState) {
    ostrel::report(LogLevel::debug, "broker connected, %s state",
                   keptState ? "with its" : "without");
    connected_ = true;
    lostState_ = everLoaded_ && !keptState;
    load();
}

void Sharing::brokerDisconnected() {
    connected_ = false;
    loading_.stop();
    ledger_.close();
    if (subscription_.isAwaited() && everLoaded_) {
        subscription_.answer(ledger_.records(), lists_);  // by what is known
    }
}

void Sharing::received(const std::string& topic, const std::string& payload,
                       std::uint32_t lifetime) {
    if (!loading_.isRunning() && !ledger_.isOpen()) {
        return;
    }
    if (topic == loading_.marker()) {
        if (loading_.isComplete(payload)) {
            loaded();
        }
        return;
    }
    const std::optional<Topics::Place> place = topics_.place(topic);
    if (!place || !subscription_.serves(place->scope)) {
        return;
    }
    if (place->mac.empty()) {
        receivedList(topic, *place, payload);
    } else {
        receivedRecord({place->scope, place->mac}, payload, lifetime);
    }
}

void Sharing::load() {
    if (subscription_.scopes().empty()) {
        return;
    }
    ledger_.close();
    std::vector<std::string> filters;
    for (const auto& [scope, radiusDomain] : subscription_.scopes()) {
        filters.push_back(topics_.filter(scope));
    }
    loading_.start(filters);
}

void Sharing::loaded() {
    // What a broker has that forgot everything is brought by those who know it.
    if (!lostState_ && loading_.lookForMissing(ledger_.records(), topics_)) {
        return;
    }
    Loading::State state = loading_.take();
    ledger_.open();
    everLoaded_ = true;
    settleAll(state);
    vestad_.tellWhiteLists(lists_.replace(std::move(state.lists), subscription_.scopes()));
    lostState_ = false;
    requests_.replay();
    if (subscription_.isAwaited()) {
        subscription_.answer(ledger_.records(), lists_);
    }
}

void Sharing::settleAll(const Loading::State& state) {
    std::set<Key> keys;
    const auto addKeys = [&keys](const auto& entries) {
        for (const auto& entry : entries) {
            keys.insert(entry.first);
        }
    };
    addKeys(state.records);
    addKeys(ledger_.records());
    addKeys(ledger_.changes());
    for (const Key& key : keys) {
        const auto found = state.records.find(key);
        const bool isThere = found != state.records.end() && found->second;
        news_.settle(key, isThere ? &*found->second : nullptr, lostState_);
    }
}

void Sharing::receivedRecord(const Key& key, const std::string& payload, std::uint32_t lifetime) {
    std::optional<Record> record;
    if (!payload.empty() && !(record = decode(key, payload))) {
        ostrel::report(LogLevel::warning,
                       "%s holds no record of its station, or too large a one, ignored",
                       topics_.record(key).c_str());
        return;
    }
    if (record) {
        ledger_.limit(*record, lifetime);
    }
    if (loading_.isRunning()) {
        loading_.addRecord(key, std::move(record));
    } else if (record) {
        news_.changed(key, std::move(*record));
    } else {
        news_.deleted(key);
    }
}

void Sharing::receivedList(const std::string& topic, const Topics::Place& place,
                           const std::string& payload) {
    if (loading_.isRunning()) {
        WhiteLists::put(loading_.lists(), topic, place, payload);
    } else if (WhiteLists::put(lists_.lists(), topic, place, payload)) {
        vestad_.tellWhiteLists(lists_.entries(topic, subscription_.scopes()));
    }
}

}  // namespace apbd
