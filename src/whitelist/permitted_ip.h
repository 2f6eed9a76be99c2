#pragma once

// How the peers of the bus name a white list under "permitted-ip": by the hash of a list that they
// have announced, or by the list's values themselves. Stateless; any thread.

#include <string>
#include <utility>

namespace vesta {

class IWhiteAddressesListsStore;

// 32 hexadecimal digits.
[[nodiscard]] bool isWhiteListHash(const std::string& text);

// (name of the list, `text`): ("", "") of an empty text; of a hash the name of the stored list that
// has it, else the hash; of values, which are put into the store, their hash.
[[nodiscard]] std::pair<std::string, std::string> resolvePermittedIp(
    IWhiteAddressesListsStore& store, const std::string& text);

}  // namespace vesta
