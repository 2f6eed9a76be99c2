#pragma once

// What a Linux machine tells of its own identity, for boxes that no factory has written to.
//
// Threads: every function may be called from any thread; nothing is kept.

#include <string>

namespace ostrel {

// The host name, "" when there is none.
std::string hostName();

// The first line of `path` (see machine-id(5)), "" when it can't be read.
std::string machineId(const std::string& path = "/etc/machine-id");

// The hardware address of the first real interface under `directory`, "aa:bb:cc:dd:ee:ff": in
// the order of their names the first one backed by a device, else the first with an address at all.
// "" when there is none; the loopback and all-zero addresses don't count.
std::string interfaceMac(const std::string& directory = "/sys/class/net");

}  // namespace ostrel
