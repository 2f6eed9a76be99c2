#pragma once

// Which stations hostapd serves, on each device that has a control socket in its directory: its
// list, asked for at the start and every ten seconds, and its events between.
//
// Threads: the loop's.

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "common/event_loop.h"
#include "common/hostapd_control.h"
#include "monitord/stations.h"

namespace monitord {

// One station in an answer of hostapd.
struct HostapdStation {
    Mac mac{};
    bool authorized = false;
    std::int64_t connectedSeconds = 0;
};

// Reads the answer to "STA-FIRST" or "STA-NEXT"; nothing when it describes no station.
[[nodiscard]] std::optional<HostapdStation> readHostapdStation(const std::string& answer);

class HostapdWatch {
public:
    // Gets the stations of a device whenever they change; nothing when hostapd does not tell any
    // more.
    using Receiver = std::function<void(const std::string& device, std::optional<RadioList>)>;

    HostapdWatch(companion::EventLoop& loop, std::string directory, Receiver receiver);
    ~HostapdWatch();
    HostapdWatch(const HostapdWatch&) = delete;
    HostapdWatch& operator=(const HostapdWatch&) = delete;

    // Looks for new sockets and asks again. Call it once a second.
    void tick(Time now);
    // Whether hostapd tells who is on the device.
    [[nodiscard]] bool tells(const std::string& device) const;

private:
    enum class State { attaching, listing, idle };
    struct Session {
        companion::HostapdControl control;
        State state = State::attaching;
        Time asked = 0;   // when the last request left
        Time listed = 0;  // when the last list was complete; 0: never
        RadioList stations;
        RadioList listing;
    };

    void findSockets(Time now);
    void ask(const std::string& device, Session& session, const std::string& request, Time now);
    void receive(const std::string& device);
    void takeAnswer(const std::string& device, Session& session, const std::string& text, Time now);
    void takeEvent(const std::string& device, Session& session, const std::string& text, Time now);
    // A copy: the name may be that of the session that ends.
    void drop(std::string device, const char* why);

    companion::EventLoop& loop_;
    const std::string directory_;
    const Receiver receiver_;
    std::map<std::string, Session> sessions_;
    std::set<std::string> closed_;  // sockets that can't be opened, each reported once
};

}  // namespace monitord
