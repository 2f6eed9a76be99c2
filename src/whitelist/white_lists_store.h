#pragma once

// The white lists of the daemon, by name. A subclass reacts when a list is added or all are
// dropped. A list is not replaced: to change one, clear the store and add all lists again.
//
// Threads: any. Each store guards its map with a leaf lock, and releases it before a reaction.

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "core/mutex.h"
#include "whitelist/white_addresses_list.h"

namespace vesta {

class IWhiteAddressesListsStore {
public:
    // Called when a list of a new name was added.
    virtual void whiteListAddingReaction(std::shared_ptr<WhiteAddressesList>) = 0;
    // Called when all lists were dropped, also when there were none.
    virtual void whiteListsClearReaction() = 0;
    virtual ~IWhiteAddressesListsStore() = default;

    // A name that is known already changes nothing and calls no reaction.
    virtual void addWhiteList(std::shared_ptr<WhiteAddressesList>) = 0;
    // The same for a list of a station's own: the store may drop it when nobody refers to it any
    // more.
    virtual void addStationList(std::shared_ptr<WhiteAddressesList> list) { addWhiteList(list); }
    virtual void addWhiteLists(std::vector<std::shared_ptr<WhiteAddressesList>>&);
    // "" for an unknown name.
    virtual std::string getWhiteListHash(const std::string& name) = 0;
    // Null for an unknown name, and always from a store that keeps no content.
    virtual std::shared_ptr<WhiteAddressesList> getWhiteList(const std::string& name) = 0;
    virtual void clearWhiteLists() = 0;
    // The name of a kept list with that hash, the first in the order of names; "" when there is
    // none.
    virtual std::string getWhiteListNameByHash(const std::string& hash) = 0;
};

// Keeps the lists themselves.
class WhiteListsStore : public IWhiteAddressesListsStore {
public:
    void addWhiteList(std::shared_ptr<WhiteAddressesList>) override EXCLUDES(mutex_);
    std::string getWhiteListHash(const std::string& name) override EXCLUDES(mutex_);
    std::shared_ptr<WhiteAddressesList> getWhiteList(const std::string& name) override
        EXCLUDES(mutex_);
    void clearWhiteLists() override EXCLUDES(mutex_);
    std::string getWhiteListNameByHash(const std::string& hash) override EXCLUDES(mutex_);

private:
    Mutex mutex_;
    std::map<std::string, std::shared_ptr<WhiteAddressesList>> lists_ GUARDED_BY(mutex_);
};

// Keeps only names and hashes. The lists' content lives elsewhere.
class WhiteListsHashOnlyStore : public IWhiteAddressesListsStore {
public:
    void addWhiteList(std::shared_ptr<WhiteAddressesList>) override EXCLUDES(mutex_);
    std::string getWhiteListHash(const std::string& name) override EXCLUDES(mutex_);
    std::shared_ptr<WhiteAddressesList> getWhiteList(const std::string& name) override;
    void clearWhiteLists() override EXCLUDES(mutex_);
    std::string getWhiteListNameByHash(const std::string& hash) override EXCLUDES(mutex_);

protected:
    // Calls no reaction.
    void removeWhiteList(const std::string& name) EXCLUDES(mutex_);

private:
    Mutex mutex_;
    std::map<std::string, std::string> hashes_ GUARDED_BY(mutex_);  // by name
};

}  // namespace vesta
