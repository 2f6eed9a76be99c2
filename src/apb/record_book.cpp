#include "apb/record_book.h"

#include "core/logger.h"
#include "core/quoted.h"

namespace vesta {
namespace {

// Reads the text as it stands: there may be thousands of records, and nearly all of them name none.
void collectHashes(const std::string& record, std::set<std::string>& names) {
    const std::string key = "\"permitted-ip\"";
    constexpr std::size_t kHashDigits = 32;
    for (std::size_t at = record.find(key); at != std::string::npos; at = record.find(key, at)) {
        const std::size_t begin = record.find('"', at + key.size());
        const std::size_t end = begin == std::string::npos ? begin : record.find('"', begin + 1);
        if (end == std::string::npos) {
            return;
        }
        if (end - begin - 1 == kHashDigits) {
            names.insert(record.substr(begin + 1, kHashDigits));
        }
        at = end;
    }
}

}  // namespace

APBDEntry* RecordBook::find(const Key& key) {
    const auto record = records_.find(key);
    return record == records_.end() ? nullptr : &record->second;
}

APBDEntry* RecordBook::insert(const Key& key) {
    if (records_.size() >= kMaxRecords && records_.find(key) == records_.end()) {
        if (!refusing_) {
            logger().Warning("There are records of %d stations, more are not kept\n",
                             static_cast<int>(kMaxRecords));
            refusing_ = true;
        }
        return nullptr;
    }
    return &records_[key];
}

void RecordBook::awaitAll() {
    for (auto& record : records_) {
        record.second.untold = true;
    }
}

void RecordBook::clearAll() {
    refusing_ = false;
    for (auto& record : records_) {
        record.second.untold = true;
        record.second.cleared = true;
    }
}

std::vector<RecordBook::Key> RecordBook::settle() {
    std::vector<Key> lost;
    for (auto record = records_.begin(); record != records_.end();) {
        APBDEntry& entry = record->second;
        if (entry.untold && !entry.isHere()) {
            record = records_.erase(record);
            continue;
        }
        if (entry.untold) {
            entry.untold = false;
            entry.cleared = false;
            lost.push_back(record->first);
        }
        ++record;
    }
    return lost;
}

void RecordBook::collectWhiteLists(std::set<std::string>& names) const {
    for (const auto& record : records_) {
        collectHashes(record.second.text, names);
    }
}

std::shared_ptr<MessageEntry> RecordBook::get(const Key& key) {
    const APBDEntry* const entry = find(key);
    if (entry == nullptr || entry->cleared) {
        return nullptr;
    }
    std::shared_ptr<MessageEntry> message = entry->agedMessage();
    if (logger().isDebug()) {
        logger().Debug("client %s found in messages:\n'%s'\n",
                       message->getCharValue("sta-mac").c_str(),
                       quotedForLog(message->getStringRepresentation()).c_str());
    }
    return message;
}

std::shared_ptr<MessageEntry> RecordBook::take(const Key& key, const std::string& vap) {
    std::shared_ptr<MessageEntry> message = get(key);
    if (message != nullptr) {
        APBDEntry& entry = *find(key);
        entry.state = APBDEntryState::associatedHere;
        entry.vap = vap;
        suspectCopies(key);  // one on another radio of this access point
    }
    return message;
}

bool RecordBook::confirmPresence(const Key& key, const std::string& vap) {
    APBDEntry* const entry = find(key);
    if (entry == nullptr || entry->cleared) {
        return true;
    }
    if (entry->state == APBDEntryState::received) {
        // Old news of its leaving may be on the way and must not count any more. The others are
        // told of its coming when it is connected.
        entry->state = APBDEntryState::associatedHere;
        entry->vap = vap;
    }
    return entry->state != APBDEntryState::associatedElsewhere;
}

std::optional<std::string> RecordBook::rightfulVap(const Key& key) {
    const APBDEntry* const entry = find(key);
    if (entry == nullptr ||
        (entry->vap.empty() && entry->state != APBDEntryState::associatedElsewhere)) {
        return std::nullopt;
    }
    return entry->vap;
}

}  // namespace vesta
