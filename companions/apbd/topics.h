#pragma once

// Where things stand on the broker, under one topic root:
//
//   <root>/<mobility domain>/<SSID>/<MAC>                  a client record
//   <root>/<mobility domain>/<SSID>/permitted-ip           the SSID's white list
//   <root>/<mobility domain>/<SSID>/permitted-ip/<name>    a further white list
//   <root>/marker/<instance>                               an apbd's own marker
//
// In a level, '/', '+', '#', '%' and every byte that is not printable ASCII are percent-encoded
// (RFC 3986, section 2.1).
//
// Threads: any; nothing here changes.

#include <optional>
#include <string>
#include <string_view>

#include "apbd/record.h"

namespace apbd {

// Any text as one level of a topic.
[[nodiscard]] std::string encodeLevel(std::string_view text);
// Nothing when an escape is cut short or not hexadecimal.
[[nodiscard]] std::optional<std::string> decodeLevel(std::string_view level);

// Empty when `root` can be a topic root, else what is wrong with it.
[[nodiscard]] std::string wrongRoot(const std::string& root);

class Topics {
public:
    explicit Topics(std::string root) : root_(std::move(root)) {}

    // What stands at a topic of a scope: a station's record or a white list.
    struct Place {
        Scope scope;
        std::string mac;  // empty: a white list
        bool isFurtherList = false;
    };

    [[nodiscard]] std::string record(const Key& key) const;
    [[nodiscard]] std::string marker(const std::string& instance) const;
    // Matches everything of `scope`.
    [[nodiscard]] std::string filter(const Scope& scope) const;
    // Nothing when the topic is not one of the first three above.
    [[nodiscard]] std::optional<Place> place(const std::string& topic) const;

private:
    std::string root_;
};

}  // namespace apbd
