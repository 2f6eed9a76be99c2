#pragma once

// The identity of a Linux machine, for boxes without factory data.
//
// Threads: every function may be called from any thread; nothing is kept.

#include <string>

namespace ostrel {

// The host name, "" when there is none.
std::string hostName();

// The first line of `path` (see machine-id(5)), "" when it can't be read.
std::string machineId(const std::string& path = "/etc/machine-id");

// The hardware address of the first real interface under `directory`, "aa:bb:cc:dd:ee:ff": in
// order of their names the first one of a device, or else the first one with an address.
// "" when there is none; the loopback and all-zero addresses don't count.
std::string interfaceMac(const std::string& directory = "/sys/class/net");

}  // namespace ostrel
