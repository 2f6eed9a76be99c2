#pragma once

// Reads the white lists that the proxy announces before it names them by their hashes. They have no
// names of their own. One thread at a time.

#include <string>
#include <vector>

#include "messages/white_list_extractor.h"

namespace vesta {

class TinyproxyWhiteListExtractor final : public WhiteListExtractor {
public:
    std::vector<Entry> extractAllWhiteLists(Entry entry) override {
        return entry->getArrayValue("permitted-ip-list");
    }
    std::string extractWhiteListValue(Entry entry) override {
        return entry->getCharValue("permitted-ip");
    }
};

}  // namespace vesta
