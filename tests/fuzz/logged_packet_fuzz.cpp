// What redirectord reads of a message of the kernel's packet log: the packet in it is a station's.

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "redirectord/news_listener.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto packet = redirectord::readLoggedPacket({reinterpret_cast<const char*>(data), size});
    if (packet && packet->device <= 0) {
        std::abort();
    }
    return 0;
}
