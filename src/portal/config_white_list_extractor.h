#pragma once

// Reads the white lists of the configuration's "captive-portal" section.

#include "messages/white_list_extractor.h"

namespace vesta {

class ConfigWhiteListExtractor final : public WhiteListExtractor {
public:
    std::vector<Entry> extractAllWhiteLists(Entry section) override {
        return section->getArrayValue("white-list");
    }
    std::string extractWhiteListName(Entry list) override { return list->getCharValue("name"); }
    std::string extractWhiteListValue(Entry list) override { return list->getCharValue("values"); }
};

}  // namespace vesta
