// Any bytes as what the kernel answers over netlink: every reader of monitord takes them without a
// fault.

#include <linux/genetlink.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "monitord/hostapd_watch.h"
#include "monitord/radio_stations.h"
#include "netlink/neighbours.h"
#include "netlink/set_reader.h"
#include "netlink/station_key.h"

namespace {

void readMessage(const nlmsghdr& message) {
    companion::readElements(message, [](const companion::SetElement& element) {
        const auto station = companion::StationKey::ofBytes(element.key);
        if (station && !companion::isDeviceName(station->deviceName())) {
            std::abort();
        }
    });
    static_cast<void>(companion::readNeighbour(message));
    static_cast<void>(companion::readBridgeEntry(message));
    monitord::RadioList list;
    monitord::readRadioStation(message, 0, list);
    static_cast<void>(monitord::readFamily(message));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static_cast<void>(
        monitord::readHostapdStation(std::string(reinterpret_cast<const char*>(data), size)));
    // Words, as netlink aligns its messages; the kernel pads them too.
    std::vector<std::uint32_t> words((size + 3) / 4);
    if (words.empty()) {
        return 0;
    }
    std::memcpy(words.data(), data, size);
    companion::forEachMessage(words.data(), size, [](const nlmsghdr& message) {
        readMessage(message);
        return true;
    });
    return 0;
}
