#pragma once

// What the system knows of a network interface. Stateless.

#include <netinet/in.h>

#include <optional>
#include <string>

namespace vesta {

// The interface's hardware address as "aa:bb:cc:dd:ee:ff"; "" when there is no such interface or it
// has none.
[[nodiscard]] std::string interfaceMac(const std::string& name);

// The interface's IPv4 address as it is at this moment; nothing when there is no such interface or
// it has none.
[[nodiscard]] std::optional<in_addr> interfaceIpv4(const std::string& name);

}  // namespace vesta
