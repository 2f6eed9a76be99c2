#pragma once

// The white lists that the redirector module was told. A list goes to the module in chunks, under
// an id that stands for its name from then on.
//
// Threads: no lock of its own; the worker's lock guards it.

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "kernel/redirector_records.h"
#include "ostrel/modules.h"
#include "whitelist/white_addresses_list.h"

namespace vesta {

class RedirectorWhiteLists {
public:
    // `module` must outlive the lists.
    explicit RedirectorWhiteLists(ostrel::ModuleControl& module) : module_(module) {}

    // Keeps the list under its name and returns its id, one more than the largest in use. A second
    // list of the same name gets an id too, but is not kept.
    std::uint32_t add(std::shared_ptr<WhiteAddressesList> list);
    // Forgets all lists; ids start at 1 again.
    void clear() { lists_.clear(); }
    // Nothing when no list has that name.
    [[nodiscard]] std::optional<std::uint32_t> idOf(const std::string& name) const;
    [[nodiscard]] std::size_t size() const { return lists_.size(); }
    // The names and ids, for log records.
    [[nodiscard]] std::string to_string() const;

    // Tells the module one list, or all that are kept.
    void tell(const WhiteAddressesList& list, std::uint32_t id);
    void tellAll();

private:
    struct Told {
        std::uint32_t id;
        std::shared_ptr<WhiteAddressesList> list;
    };

    void tellAddresses(const WhiteAddressesList& list, std::uint32_t id);
    void tellStrings(RedirectorRequest number, std::uint32_t id,
                     WhiteAddressesList::Strings::const_iterator first,
                     WhiteAddressesList::Strings::const_iterator last);
    void request(RedirectorRequest number, RedirectorChunkBytes& chunk);

    ostrel::ModuleControl& module_;
    std::map<std::string, Told> lists_;  // by name
};

}  // namespace vesta
