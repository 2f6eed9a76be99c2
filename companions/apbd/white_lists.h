#pragma once

// The white lists that the broker holds for this access point's scopes, by their topics.
//
// Threads: none; the one that runs Sharing.

#include <map>
#include <string>
#include <vector>

#include "apbd/record.h"
#include "apbd/topics.h"

namespace apbd {

class WhiteLists {
public:
    struct List {
        Topics::Place place;
        std::string values;
    };
    using Lists = std::map<std::string, List>;

    // Takes what was published: "" ends the list. False, with a warning, when it is no UTF-8 text,
    // or too much.
    static bool put(Lists& lists, const std::string& topic, const Topics::Place& place,
                    const std::string& payload);

    [[nodiscard]] Lists& lists() { return lists_; }
    // That list, or all of them, as vestad is told.
    [[nodiscard]] std::vector<Json> entries(const std::string& topic, const Scopes& scopes) const;
    [[nodiscard]] std::vector<Json> entries(const Scopes& scopes) const;
    void clear() { lists_.clear(); }
    // Takes `lists` in place of those before. Returns those that are new or have changed.
    [[nodiscard]] std::vector<Json> replace(Lists lists, const Scopes& scopes);

private:
    Lists lists_;
};

}  // namespace apbd
