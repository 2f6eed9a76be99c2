#pragma once

// What an operator decides. Values, without threads.

#include <cstdint>
#include <map>
#include <string>

namespace portald {

struct Settings {
    std::uint16_t port = 8888;
    std::uint16_t tlsPort = 0;  // 0: no TLS
    std::string name;           // under which stations reach this portal; "" its address
    std::string venueUrl;       // "": none
    bool canExtend = false;     // a session can be made longer before it ends
    // The virtual portals whose pages ask for agreement alone; "*" is any. The value is the
    // scenario that the station gets then; "" where vestad decides itself.
    std::map<std::string, std::string> terms;
};

}  // namespace portald
