#pragma once

// How the peers of the bus name a white list under "permitted-ip": by the hash of a list that they
// have announced, or by the list's values themselves. Stateless; any thread.

#include <string>
#include <utility>

namespace vesta {

class IWhiteAddressesListsStore;

// Whether the text is 32 hexadecimal digits.
[[nodiscard]] bool isWhiteListHash(const std::string& text);

// The name of the list that `text` means, and `text` itself. An empty text gives ("", ""). A hash
// gives the name of the stored list with that hash, or the hash when there is none. Values become a
// list in the store, and their hash is its name.
[[nodiscard]] std::pair<std::string, std::string> resolvePermittedIp(
    IWhiteAddressesListsStore& store, const std::string& text);

}  // namespace vesta
