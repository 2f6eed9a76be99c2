#pragma once

// Reads the white lists of a message. Held by shared pointers to the concrete class.

#include <memory>
#include <string>
#include <vector>

#include "core/message_entry.h"

namespace vesta {

class WhiteListExtractor {
public:
    using Entry = std::shared_ptr<MessageEntry>;

    // One entry a list.
    virtual std::vector<Entry> extractAllWhiteLists(Entry) = 0;
    virtual std::string extractWhiteListName(Entry) { return ""; }
    // The list's addresses, domains and patterns, separated by commas.
    virtual std::string extractWhiteListValue(Entry) = 0;

protected:
    ~WhiteListExtractor() = default;
};

}  // namespace vesta
