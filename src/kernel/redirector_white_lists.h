#pragma once

// The white lists that the redirector module shall know. A list goes to the module in chunks, under
// an id that stands for its name from then on.
//
// Threads: no lock of its own; the worker's lock guards it.

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "whitelist/white_addresses_list.h"

namespace vesta {

class RedirectorWhiteLists {
public:
    // Keeps the name and returns its id, one more than the largest in use. A second list of the
    // same name gets an id too, but is not kept.
    std::uint32_t add(const std::string& name);
    // The id that the list had; nothing when no list has that name.
    std::optional<std::uint32_t> remove(const std::string& name);
    // Forgets all lists; ids start at 1 again.
    void clear() { ids_.clear(); }
    // Nothing when no list has that name.
    [[nodiscard]] std::optional<std::uint32_t> idOf(const std::string& name) const;
    // The names and ids, for log records.
    [[nodiscard]] std::string to_string() const;

    // The requests that tell the module of the list, see RedirectorSender.
    [[nodiscard]] static std::string requestsFor(const WhiteAddressesList& list, std::uint32_t id);

private:
    std::map<std::string, std::uint32_t> ids_;  // by name
};

}  // namespace vesta
