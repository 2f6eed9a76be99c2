#pragma once

// Finds out which station asks: by its address alone, which vestad is asked about. A station of
// IPv6 is found by its IPv4 address; one that has only just come is waited for.
//
// Threads: the event loop's alone.

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "portald/daemon.h"
#include "portald/messages.h"
#include "portald/neighbours.h"
#include "portald/station.h"

namespace portald {

class Recognition {
public:
    enum class Failure {
        unknown,     // vestad knows no such station
        unanswered,  // vestad isn't there
    };
    using Found = std::function<void(const Station&)>;
    using Failed = std::function<void(Failure)>;

    // All live longer than this object.
    Recognition(Daemon& daemon, Neighbours& neighbours, const Later& later)
        : daemon_(daemon), neighbours_(neighbours), later_(later) {}

    // Calls one of the two, once, now or within two seconds.
    void find(const Asked& asked, Found found, Failed failed);

private:
    struct Search;
    using SearchPtr = std::shared_ptr<Search>;

    void begin(const SearchPtr& search);
    void tryNext(const SearchPtr& search);
    void examine(const SearchPtr& search, const Daemon::Answer& answer);
    void namePortal(Station& station);

    Daemon& daemon_;
    Neighbours& neighbours_;
    const Later& later_;
    std::map<std::string, std::string> portalNames_;  // by SSID
};

}  // namespace portald
