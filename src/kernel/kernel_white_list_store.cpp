#include "kernel/kernel_white_list_store.h"

#include <vector>

#include "core/logger.h"

namespace vesta {

void KernelWhiteListStore::addWhiteList(std::shared_ptr<WhiteAddressesList> list) {
    add(list, false);
}

void KernelWhiteListStore::addStationList(std::shared_ptr<WhiteAddressesList> list) {
    add(list, true);
}

void KernelWhiteListStore::add(const std::shared_ptr<WhiteAddressesList>& list, bool ofStation) {
    const MutexLock lock(changes_);
    const std::string& name = list->getName();
    if (!ofStation) {
        unused_.erase(name);
    } else if (getWhiteListHash(name).empty() || unused_.count(name) != 0) {
        unused_[name] = 0;
    }
    WhiteListsHashOnlyStore::addWhiteList(list);
}

void KernelWhiteListStore::clearWhiteLists() {
    const MutexLock lock(changes_);
    unused_.clear();
    WhiteListsHashOnlyStore::clearWhiteLists();
}

std::string KernelWhiteListStore::getWhiteListNameByHash(const std::string& hash) {
    const MutexLock lock(changes_);
    const std::string name = WhiteListsHashOnlyStore::getWhiteListNameByHash(hash);
    const auto found = unused_.find(name);
    if (found != unused_.end()) {
        found->second = 0;
    }
    return name;
}

bool KernelWhiteListStore::hasStationLists() {
    const MutexLock lock(changes_);
    return !unused_.empty();
}

void KernelWhiteListStore::dropUnused(const std::set<std::string>& used) {
    const MutexLock lock(changes_);
    std::vector<std::string> dropped;
    for (auto list = unused_.begin(); list != unused_.end();) {
        list->second = used.count(list->first) != 0 ? 0 : list->second + 1;
        if (list->second < 2) {
            ++list;
            continue;
        }
        removeWhiteList(list->first);
        dropped.push_back(list->first);
        list = unused_.erase(list);
    }
    if (!dropped.empty()) {
        logger().Debug("%zu white lists that nobody refers to any more are dropped\n",
                       dropped.size());
        worker_.dropWhiteLists(dropped);
    }
}

void KernelWhiteListStore::whiteListAddingReaction(std::shared_ptr<WhiteAddressesList> list) {
    worker_.insertWhiteList(list);
}

void KernelWhiteListStore::whiteListsClearReaction() {
    worker_.wipeWhiteLists();
}

}  // namespace vesta
