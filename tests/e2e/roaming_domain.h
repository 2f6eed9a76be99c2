#pragma once

// A mobility domain of two access points, each with a vestad and an apbd process, and a broker
// between them; and stations that walk from one to the other.

#include <array>
#include <memory>
#include <optional>
#include <string>

#include "apsim/access_point.h"
#include "apsim/radius_server.h"
#include "daemon_test.h"
#include "support/broker.h"
#include "support/child_process.h"

namespace vesta::testing {

// Every access point serves the same networks. In each, a login leads to the scenario whose speeds
// are kTransmit and kReceive: the second of two, or the third of five.
struct Network {
    const char* interface;
    const char* ssid;
    const char* mode;  // "verification-mode"
    bool five;
};
inline constexpr Network kNetworks[] = {
    {"wlan0-va1", "Cafe", "local", false},    {"wlan0-va2", "Library", "local", true},
    {"wlan0-va3", "Hotel", "portal", false},  {"wlan0-va4", "Resort", "portal", true},
    {"wlan0-va5", "Campus", "radius", false}, {"wlan0-va6", "Institute", "radius", true},
};
inline constexpr int kTransmit = 2048;  // Kibit/s, as kReceive
inline constexpr int kReceive = 512;
// A network whose sessions end after so many seconds, with no scenario behind.
inline constexpr Network kShort{"wlan0-va7", "Station", "local", false};
inline constexpr int kShortSession = 4;

inline constexpr std::chrono::seconds kPatience{20};

class RoamingTest : public ::testing::Test {
protected:
    struct Member {
        std::string directory;
        ChildProcess daemon;
        std::unique_ptr<apsim::RadiusServer> radius;
        std::unique_ptr<apsim::AccessPoint> accessPoint;
        ChildProcess apbd;
    };

    // A station that is at one of the two.
    class Walker {
    public:
        Walker(RoamingTest& test, const Network& network);

        [[nodiscard]] apsim::Station& here() { return stations_[at_]; }
        [[nodiscard]] apsim::Station& there() { return stations_[1 - at_]; }
        [[nodiscard]] bool waitFor(apsim::Access access) const;
        // Arrives at the first access point, and is let through as its network would have it.
        void comeIn();
        // Is let through by its record, after it was known here without it.
        void comeBackIn();
        // Goes to the other access point; the one that it comes from sees that a moment later.
        void walk();
        // As the daemon has it; null when it doesn't.
        [[nodiscard]] apsim::Json client();
        // Seconds since the login.
        [[nodiscard]] double sessionTime() const;
        // Waits until right behind a pass of the daemon here that has seen it, when its session
        // time has just been counted.
        void awaitPass();
        // In its scenario, with its login and limits, within two seconds of its session time, and
        // without having noticed anything.
        void expectSession();

    private:
        // What the daemons did since it was let in that a station with a session must not see.
        [[nodiscard]] std::string strayEvents() const;
        [[nodiscard]] apsim::Station stationAt(const Member& member) const;

        RoamingTest& test_;
        const Network network_;
        std::string mac_;
        std::array<apsim::Station, 2> stations_;
        std::size_t at_ = 0;
        std::size_t firstEvent_ = 0;
        std::chrono::steady_clock::time_point loggedInAt_;
    };

    void SetUp() override;

    void startApbd(Member& member);
    void startDaemon(Member& member);
    // Whether the networks of mode "radius" work here: a server has to stand in each daemon's own
    // network.
    [[nodiscard]] static bool hasRadius();

    RuntimeDirectory directory_;
    apsim::EventLog log_;
    Broker broker_{directory_.path()};
    std::array<Member, 2> members_;

private:
    void setEnvironment(const Member& member) const;
    apsim::Json configuration(const Member& member) const;

    std::string path_;
};

}  // namespace vesta::testing
