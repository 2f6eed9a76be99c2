#pragma once

// Reads the white lists that apbd hands out with the answer to a subscription. They have no names:
// their hashes name them. One thread at a time.

#include <string>
#include <vector>

#include "messages/white_list_extractor.h"

namespace vesta {

class APBWhiteListExtractor final : public WhiteListExtractor {
public:
    std::vector<Entry> extractAllWhiteLists(Entry entry) override {
        return entry->getArrayValue("permitted-ip-list");
    }
    std::string extractWhiteListValue(Entry entry) override {
        return entry->getCharValue("permitted-ip");
    }
};

}  // namespace vesta
