#include "radius/pending_requests.h"

#include <algorithm>

#include "client/client.h"
#include "ostrel/clock.h"

namespace vesta {

PendingRequests::Key PendingRequests::keyOf(const librad_radius_msg* request) {
    Key key{};
    std::copy_n(librad_radius_msg_get_authenticator(request), key.size(), key.begin());
    return key;
}

void PendingRequests::add(const Key& key, ClientPtr client, RadiusStation station) {
    Entries removed;
    const MutexLock lock(mutex_);
    dropStale(removed);
    const Client* const address = client.get();
    unanswered_.erase(address);
    if (const auto older = byClient_.find(address); older != byClient_.end()) {
        remove(older->second, removed);
    }
    entries_.push_back({key, std::move(client), std::move(station), ostrel::monotonicSeconds()});
    const auto place = std::prev(entries_.end());
    byKey_[key] = place;
    byClient_[address] = place;
}

std::optional<RadiusStation> PendingRequests::findStation(const Key& key) const {
    const MutexLock lock(mutex_);
    const auto found = byKey_.find(key);
    if (found == byKey_.end()) {
        return std::nullopt;
    }
    return found->second->station;
}

bool PendingRequests::changeKey(const Key& oldKey, const Key& newKey) {
    const MutexLock lock(mutex_);
    const auto found = byKey_.find(oldKey);
    if (found == byKey_.end()) {
        return false;
    }
    const Entries::iterator entry = found->second;
    byKey_.erase(found);
    entry->key = newKey;
    ++entry->station.challenges;
    entry->sentAt = ostrel::monotonicSeconds();
    entries_.splice(entries_.end(), entries_, entry);
    byKey_[newKey] = entry;
    return true;
}

std::pair<PendingRequests::ClientPtr, std::string> PendingRequests::take(const Key& key) {
    Entries removed;
    const MutexLock lock(mutex_);
    const auto found = byKey_.find(key);
    if (found == byKey_.end()) {
        return {};
    }
    remove(found->second, removed);
    return {removed.front().client, removed.front().station.login};
}

void PendingRequests::abandon(const Key& key) {
    Entries removed;
    const MutexLock lock(mutex_);
    const auto found = byKey_.find(key);
    if (found != byKey_.end()) {
        remove(found->second, removed);
        keepUnanswered(removed.front().client);
    }
}

void PendingRequests::askLater(ClientPtr client) {
    const MutexLock lock(mutex_);
    keepUnanswered(client);
}

void PendingRequests::forget(const Client& client) {
    Entries removed;
    const MutexLock lock(mutex_);
    unanswered_.erase(&client);
    if (const auto found = byClient_.find(&client); found != byClient_.end()) {
        remove(found->second, removed);
    }
}

std::vector<PendingRequests::ClientPtr> PendingRequests::takeDue() {
    const std::int64_t now = ostrel::monotonicSeconds();
    std::vector<ClientPtr> due;
    const MutexLock lock(mutex_);
    for (auto it = unanswered_.begin(); it != unanswered_.end();) {
        if (it->second.dueAt <= now) {
            due.push_back(std::move(it->second.client));
            it = unanswered_.erase(it);
        } else {
            ++it;
        }
    }
    return due;
}

std::size_t PendingRequests::size() const {
    const MutexLock lock(mutex_);
    return entries_.size();
}

void PendingRequests::remove(Entries::iterator entry, Entries& removed) {
    byKey_.erase(entry->key);
    byClient_.erase(entry->client.get());
    removed.splice(removed.end(), entries_, entry);
}

void PendingRequests::dropStale(Entries& removed) {
    const std::int64_t oldest = ostrel::monotonicSeconds() - kLongestLifeSeconds;
    while (!entries_.empty() && entries_.front().sentAt < oldest) {
        const ClientPtr client = entries_.front().client;
        remove(entries_.begin(), removed);
        keepUnanswered(client);
    }
}

void PendingRequests::keepUnanswered(const ClientPtr& client) {
    if (askAgain_) {
        unanswered_[client.get()] = {client, ostrel::monotonicSeconds() + kAskAgainSeconds};
    }
}

}  // namespace vesta
