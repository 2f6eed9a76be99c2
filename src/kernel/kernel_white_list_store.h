#pragma once

// The white list store of the daemon. It keeps the names and hashes; a kernel worker loads the
// content into its module.
//
// Threads: any. A change ends, in the module too, before the next one begins. So store and module
// agree, and the parts of two lists do not mix on their way. The lock for that is taken before the
// leaf locks of store and worker, and may be taken under an instance's lock.

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
