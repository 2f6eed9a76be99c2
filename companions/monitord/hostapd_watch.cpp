#include "monitord/hostapd_watch.h"

#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <sstream>

#include "netlink/station_key.h"
#include "ostrel/clock.h"

namespace monitord {
namespace {

using ostrel::LogLevel;

constexpr std::size_t kMostSessions = 64;
constexpr Time kPatienceMs = 5000;
// Events may be lost: hostapd does not wait for who does not read.
constexpr Time kListEveryMs = 10000;
constexpr std::size_t kMacLetters = 17;
constexpr const char* kConnected = "AP-STA-CONNECTED ";
constexpr const char* kDisconnected = "AP-STA-DISCONNECTED ";

// The MAC behind `name` in an event such as "<3>AP-STA-CONNECTED 02:00:00:00:00:01 keyid=x".
std::optional<Mac> macBehind(const std::string& event, const char* name) {
    const std::size_t begin = event.find('>') + 1;
    const std::size_t length = std::strlen(name);
    return event.compare(begin, length, name) == 0
               ? ostrel::parseColonMac(event.substr(begin + length, kMacLetters))
               : std::nullopt;
}

}  // namespace

std::optional<HostapdStation> readHostapdStation(const std::string& answer) {
    std::istringstream lines(answer);
    std::string line;
    std::getline(lines, line);
    const auto mac = ostrel::parseColonMac(line);
    if (!mac) {
        return std::nullopt;
    }
    HostapdStation station;
    station.mac = *mac;
    constexpr std::string_view kFlags = "flags=";
    constexpr std::string_view kTime = "connected_time=";
    while (std::getline(lines, line)) {
        if (line.compare(0, kFlags.size(), kFlags) == 0) {
            station.authorized = line.find("[AUTHORIZED]") != std::string::npos;
        } else if (line.compare(0, kTime.size(), kTime) == 0) {
            std::uint32_t seconds = 0;
            std::from_chars(line.data() + kTime.size(), line.data() + line.size(), seconds);
            station.connectedSeconds = seconds;
        }
    }
    return station;
}

HostapdWatch::HostapdWatch(companion::EventLoop& loop, std::string directory, Receiver receiver)
    : loop_(loop), directory_(std::move(directory)), receiver_(std::move(receiver)) {}

HostapdWatch::~HostapdWatch() {
    for (const auto& [device, session] : sessions_) {
        loop_.forget(session.control.fd());
    }
}

bool HostapdWatch::tells(const std::string& device) const {
    const auto found = sessions_.find(device);
    return found != sessions_.end() && found->second.listed != 0;
}

void HostapdWatch::tick(Time now) {
    findSockets(now);
    for (auto next = sessions_.begin(); next != sessions_.end();) {
        const std::string device = next->first;  // the session may end in this turn
        Session& session = next->second;
        ++next;
        if (session.state == State::idle && now - session.listed >= kListEveryMs) {
            session.listing.clear();
            session.state = State::listing;
            ask(device, session, "STA-FIRST", now);
        } else if (session.state != State::idle && now - session.asked >= kPatienceMs) {
            drop(device, "does not answer");
        }
    }
}

void HostapdWatch::findSockets(Time now) {
    std::error_code none;
    for (const auto& file : std::filesystem::directory_iterator(directory_, none)) {
        const std::string device = file.path().filename();
        if (!file.is_socket(none) || !companion::isDeviceName(device) ||
            sessions_.count(device) != 0 || sessions_.size() >= kMostSessions) {
            continue;
        }
        auto control = companion::HostapdControl::open(directory_, device);
        if (!control) {
            if (closed_.size() < kMostSessions && closed_.insert(device).second) {
                ostrel::report(LogLevel::warning, "no hostapd at %s: %s", file.path().c_str(),
                               std::strerror(errno));
            }
            continue;
        }
        closed_.erase(device);
        const auto place =
            sessions_
                .emplace(device, Session{std::move(*control), State::attaching, now, 0, {}, {}})
                .first;
        loop_.whenReadable(place->second.control.fd(), [this, device] { receive(device); });
        ask(device, place->second, "ATTACH", now);
    }
}

void HostapdWatch::ask(const std::string& device, Session& session, const std::string& request,
                       Time now) {
    session.asked = now;
    if (!session.control.send(request)) {
        drop(device, std::strerror(errno));
    }
}

void HostapdWatch::receive(const std::string& device) {
    const Time now = ostrel::monotonicMilliseconds();
    // The session may end with each answer.
    for (auto found = sessions_.find(device); found != sessions_.end();
         found = sessions_.find(device)) {
        const std::optional<std::string> text = found->second.control.receive();
        if (!text) {
            if (errno != EAGAIN && errno != EINTR) {
                drop(device, std::strerror(errno));
            }
            return;
        }
        if (companion::HostapdControl::isEvent(*text)) {
            takeEvent(device, found->second, *text, now);
        } else {
            takeAnswer(device, found->second, *text, now);
        }
    }
}

void HostapdWatch::takeAnswer(const std::string& device, Session& session, const std::string& text,
                              Time now) {
    switch (session.state) {
        case State::attaching:
            if (text != "OK\n") {
                drop(device, "refuses to tell");
                return;
            }
            session.state = State::listing;
            ask(device, session, "STA-FIRST", now);
            return;
        case State::listing:
            break;
        case State::idle:
            return;
    }
    if (const auto station = readHostapdStation(text)) {
        if (station->authorized) {
            session.listing.try_emplace(station->mac, now - station->connectedSeconds * 1000);
        }
        ask(device, session, "STA-NEXT " + ostrel::macText(station->mac), now);
    } else if (text.empty()) {
        session.state = State::idle;
        if (session.listed == 0) {
            ostrel::report(LogLevel::warning, "hostapd tells who is on %s", device.c_str());
        }
        session.listed = now;
        session.stations = session.listing;
        receiver_(device, session.stations);
    } else {
        // The station behind which the list was to go on has left: once more, from the beginning.
        session.listing.clear();
        ask(device, session, "STA-FIRST", now);
    }
}

void HostapdWatch::takeEvent(const std::string& device, Session& session, const std::string& text,
                             Time now) {
    if (const auto mac = macBehind(text, kConnected)) {
        session.stations[*mac] = now;
        session.listing[*mac] = now;
    } else if (const auto gone = macBehind(text, kDisconnected)) {
        session.stations.erase(*gone);
        session.listing.erase(*gone);
    } else {
        return;
    }
    if (session.listed != 0) {
        receiver_(device, session.stations);
    }
}

void HostapdWatch::drop(std::string device, const char* why) {
    const auto found = sessions_.find(device);
    if (found == sessions_.end()) {
        return;
    }
    ostrel::report(LogLevel::warning, "hostapd of %s: %s", device.c_str(), why);
    loop_.forget(found->second.control.fd());
    sessions_.erase(found);
    receiver_(device, std::nullopt);
}

}  // namespace monitord
