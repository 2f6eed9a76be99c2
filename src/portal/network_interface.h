#pragma once

// What the system knows of a network interface.

#include <string>

namespace vesta {

// The interface's hardware address as "aa:bb:cc:dd:ee:ff"; "" when there is no such interface or it
// has none.
[[nodiscard]] std::string interfaceMac(const std::string& name);

}  // namespace vesta
