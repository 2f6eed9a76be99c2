#pragma once

// The white list store of the daemon. It keeps the names and hashes; a kernel worker loads the
// content into its module.
//
// Threads: any. A change ends, at the worker too, before the next one begins. So store and module
// agree. The lock for that is taken before the leaf locks of store and worker, and may be taken
// under an instance's lock.

#include <map>
#include <memory>
#include <set>
#include <string>

#include "core/mutex.h"
#include "kernel/kernel_worker.h"
#include "whitelist/white_lists_store.h"

namespace vesta {

class KernelWhiteListStore final : public WhiteListsHashOnlyStore {
public:
    // `worker` must outlive the store.
    explicit KernelWhiteListStore(KernelWorker& worker) : worker_(worker) {}

    void addWhiteList(std::shared_ptr<WhiteAddressesList>) override EXCLUDES(changes_);
    void addStationList(std::shared_ptr<WhiteAddressesList>) override EXCLUDES(changes_);
    void clearWhiteLists() override EXCLUDES(changes_);
    std::string getWhiteListNameByHash(const std::string& hash) override EXCLUDES(changes_);

    [[nodiscard]] bool hasStationLists() EXCLUDES(changes_);
    // Called from time to time with the names that somebody refers to. Drops each list of a
    // station's own that nobody referred to or asked for since the call before the last: whoever
    // has asked for a list may be about to refer to it.
    void dropUnused(const std::set<std::string>& used) EXCLUDES(changes_);

    void whiteListAddingReaction(std::shared_ptr<WhiteAddressesList>) override;
    void whiteListsClearReaction() override;

private:
    void add(const std::shared_ptr<WhiteAddressesList>& list, bool ofStation) EXCLUDES(changes_);

    Mutex changes_;
    // The lists of stations' own by name, and for how many calls nobody wanted them.
    std::map<std::string, int> unused_ GUARDED_BY(changes_);
    KernelWorker& worker_;
};

}  // namespace vesta
