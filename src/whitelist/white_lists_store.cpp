#include "whitelist/white_lists_store.h"

#include "core/logger.h"

namespace vesta {

void IWhiteAddressesListsStore::addWhiteLists(
    std::vector<std::shared_ptr<WhiteAddressesList>>& lists) {
    for (const std::shared_ptr<WhiteAddressesList>& list : lists) {
        addWhiteList(list);
    }
}

void WhiteListsStore::addWhiteList(std::shared_ptr<WhiteAddressesList> list) {
    bool added = false;
    {
        const MutexLock lock(mutex_);
        added = lists_.emplace(list->getName(), list).second;
    }
    if (!added) {
        logger().Debug("WhiteListsStore::%s list with name %s already exists\n", "addWhiteList",
                       list->getName().c_str());
        return;
    }
    whiteListAddingReaction(list);
}

std::string WhiteListsStore::getWhiteListHash(const std::string& name) {
    const std::shared_ptr<WhiteAddressesList> list = getWhiteList(name);
    return list == nullptr ? "" : list->getHash();
}

std::shared_ptr<WhiteAddressesList> WhiteListsStore::getWhiteList(const std::string& name) {
    const MutexLock lock(mutex_);
    const auto found = lists_.find(name);
    return found == lists_.end() ? nullptr : found->second;
}

void WhiteListsStore::clearWhiteLists() {
    {
        const MutexLock lock(mutex_);
        lists_.clear();
    }
    whiteListsClearReaction();
}

std::string WhiteListsStore::getWhiteListNameByHash(const std::string& hash) {
    const MutexLock lock(mutex_);
    for (const auto& [name, list] : lists_) {
        if (list->getHash() == hash) {
            return name;
        }
    }
    return "";
}

void WhiteListsHashOnlyStore::addWhiteList(std::shared_ptr<WhiteAddressesList> list) {
    {
        const MutexLock lock(mutex_);
        if (!hashes_.emplace(list->getName(), list->getHash()).second) {
            return;
        }
    }
    whiteListAddingReaction(list);
}

std::string WhiteListsHashOnlyStore::getWhiteListHash(const std::string& name) {
    const MutexLock lock(mutex_);
    const auto found = hashes_.find(name);
    return found == hashes_.end() ? "" : found->second;
}

std::shared_ptr<WhiteAddressesList> WhiteListsHashOnlyStore::getWhiteList(const std::string&) {
    return nullptr;
}

void WhiteListsHashOnlyStore::clearWhiteLists() {
    {
        const MutexLock lock(mutex_);
        hashes_.clear();
    }
    whiteListsClearReaction();
}

void WhiteListsHashOnlyStore::removeWhiteList(const std::string& name) {
    const MutexLock lock(mutex_);
    hashes_.erase(name);
}

std::string WhiteListsHashOnlyStore::getWhiteListNameByHash(const std::string& hash) {
    const MutexLock lock(mutex_);
    for (const auto& [name, knownHash] : hashes_) {
        if (knownHash == hash) {
            return name;
        }
    }
    return "";
}

}  // namespace vesta
