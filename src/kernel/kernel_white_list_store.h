#pragma once

// The white list store of the daemon: keeps the names and hashes, and has a kernel worker load the
// content into its module.
//
// Threads: any. One change is carried through, module included, before the next one begins, so that
// store and module agree and the parts of two lists do not mix on their way. The lock for that
// stands above the leaf locks of store and worker; whoever adds a list may hold an instance's lock.

#include <memory>

#include "core/mutex.h"
#include "kernel/kernel_worker.h"
#include "whitelist/white_lists_store.h"

namespace vesta {

class KernelWhiteListStore final : public WhiteListsHashOnlyStore {
public:
    // `worker` must outlive the store.
    explicit KernelWhiteListStore(KernelWorker& worker) : worker_(worker) {}

    void addWhiteList(std::shared_ptr<WhiteAddressesList>) override EXCLUDES(changes_);
    void clearWhiteLists() override EXCLUDES(changes_);

    void whiteListAddingReaction(std::shared_ptr<WhiteAddressesList>) override;
    void whiteListsClearReaction() override;

private:
    Mutex changes_;
    KernelWorker& worker_;
};

}  // namespace vesta
