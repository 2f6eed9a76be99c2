#include "apb/apbd_outbox.h"

#include "core/logger.h"

namespace vesta {

APBDOutbox::Kind APBDOutbox::merged(const ClientInformationIdentity& key, Kind next) const {
    const Kind before = waiting(key);
    if (next == Kind::update && (before == Kind::add || before == Kind::reset)) {
        return before;
    }
    if (next == Kind::add && (before == Kind::remove || before == Kind::reset)) {
        return Kind::reset;
    }
    return next;
}

APBDOutbox::Kind APBDOutbox::waiting(const ClientInformationIdentity& key) const {
    const auto place = places_.find(key);
    return place == places_.end() ? Kind::none : place->second->kind;
}

void APBDOutbox::put(const ClientInformationIdentity& key, Kind kind, std::string text,
                     std::int64_t madeAt) {
    const auto place = places_.find(key);
    if (place != places_.end()) {
        place->second->kind = kind;
        place->second->text = std::move(text);
        place->second->madeAt = madeAt;
        return;
    }
    makeRoom();
    places_.emplace(key,
                    changes_.insert(changes_.end(), Change{key, kind, std::move(text), madeAt}));
}

void APBDOutbox::drop(const ClientInformationIdentity& key) {
    const auto place = places_.find(key);
    if (place != places_.end()) {
        changes_.erase(place->second);
        places_.erase(place);
    }
}

void APBDOutbox::makeRoom() {
    if (changes_.size() < kMaxChanges) {
        return;
    }
    if (!warned_) {
        logger().Warning("apbd is away and %d changes wait for it: the oldest are lost\n",
                         static_cast<int>(kMaxChanges));
        warned_ = true;
    }
    places_.erase(changes_.front().key);
    changes_.pop_front();
}

}  // namespace vesta
