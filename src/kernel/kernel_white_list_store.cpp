#include "kernel/kernel_white_list_store.h"

namespace vesta {

void KernelWhiteListStore::addWhiteList(std::shared_ptr<WhiteAddressesList> list) {
    const MutexLock lock(changes_);
    WhiteListsHashOnlyStore::addWhiteList(list);
}

void KernelWhiteListStore::clearWhiteLists() {
    const MutexLock lock(changes_);
    WhiteListsHashOnlyStore::clearWhiteLists();
}

void KernelWhiteListStore::whiteListAddingReaction(std::shared_ptr<WhiteAddressesList> list) {
    worker_.insertWhiteList(list);
}

void KernelWhiteListStore::whiteListsClearReaction() {
    worker_.wipeWhiteLists();
}

}  // namespace vesta
