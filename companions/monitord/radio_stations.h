#pragma once

// The stations of a radio as its driver tells them (nl80211), where there is no hostapd to ask.
//
// Threads: one at a time.

#include <memory>
#include <optional>

#include "monitord/stations.h"
#include "netlink/netlink_socket.h"

namespace monitord {

// Adds the station that one message of a dump describes; nothing else changes the list.
void readRadioStation(const nlmsghdr& message, Time now, RadioList& list);
// The number of a family of generic netlink in the answer to a question for it; 0 without one.
[[nodiscard]] std::uint16_t readFamily(const nlmsghdr& message);

class RadioStations {
public:
    RadioStations();

    // The stations of a device; nothing when it is no radio that tells.
    [[nodiscard]] std::optional<RadioList> of(const std::string& device, Time now);

private:
    companion::NetlinkSocket socket_;
    std::uint16_t family_ = 0;  // 0: the kernel has no radios
};

}  // namespace monitord
