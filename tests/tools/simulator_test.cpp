// What the daemon's roads do not show of the simulated access point.

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cstring>
#include <future>

#include "apsim/input.h"
#include "apsim/module_server.h"
#include "apsim/radius_server.h"
#include "ostrel/modules.h"
#include "support/runtime_directory.h"

namespace apsim {
namespace {

using Json = nlohmann::json;

const StationId kAnna{"wlan0-va1", "02:00:00:00:00:0a"};

std::string word(std::uint32_t value) {
    return {reinterpret_cast<const char*>(&value), sizeof value};
}

TEST(RedirectorModuleTest, WhoSeesANewStateFindsItsEventInTheLog) {
    EventLog log;
    RedirectorModule module(log, "192.168.7.1", "10.9.8.7");
    std::future<std::size_t> events;
    log.setObserver([&](const Event&) {
        events = std::async(std::launch::async, [&] {
            while (module.access(kAnna) != Access::authed) {
            }
            return log.size();
        });
        events.wait_for(Milliseconds(100));  // over at once where the state shows before the event
    });
    std::string request = word(9) + std::string("\x02\0\0\0\0\x0a", 6) + kAnna.interface;
    request.resize(sizeof(std::uint32_t) + 46, '\0');
    module.handle(request);
    EXPECT_EQ(events.get(), 1U);
}

TEST(ModuleServerTest, LosesNoneOfAThousandNotifications) {
    const vesta::testing::RuntimeDirectory runtime;
    ostrel::testing::writeFile(runtime.path("modules/redirector"), "left by one that died");
    EventLog log;
    ModuleServer server(log);
    server.notify(kAnna, "10.1.0.5", 0);  // kept for the daemon that comes
    std::uint32_t pid = 77;
    const ostrel::Fd socket = ostrel::openNotifications(pid);
    ASSERT_EQ(ostrel::openRedirector()->request(13, &pid), 0);
    for (std::uint32_t mtu = 1; mtu < 1000; ++mtu) {
        server.notify(kAnna, "10.1.0.5", mtu);
    }
    for (std::uint32_t mtu = 0; mtu < 1000; ++mtu) {
        pollfd polled{socket.get(), POLLIN, 0};
        ASSERT_EQ(poll(&polled, 1, 5000), 1) << mtu;
        std::array<char, 256> buffer{};
        const ssize_t size = recv(socket.get(), buffer.data(), buffer.size(), 0);
        ASSERT_EQ(std::string(buffer.data() + size - sizeof mtu, sizeof mtu), word(mtu));
    }
}

TEST(RadiusServerTest, PointsTheConfigurationAtAServer) {
    Json config = Json::parse(R"({"interface": [
        {"name": "a", "vap": {"ssid": "A"}},
        {"name": "b", "vap": {"radius": {"domain": "d", "auth-port": 1}}}]})");
    useRadiusServer(config, parseRadiusAddress("127.0.0.1:1812", "s"));
    EXPECT_EQ(config, Json::parse(R"({"interface": [
        {"name": "a", "vap": {"ssid": "A"}},
        {"name": "b", "vap": {"radius": {"domain": "d",
            "auth-address": "127.0.0.1", "auth-port": 1812, "auth-password": "s",
            "acct-address": "127.0.0.1", "acct-port": 1813, "acct-password": "s"}}}]})"));
    for (const char* text : {"127.0.0.1", "127.0.0.1:", "127.0.0.1:0", "127.0.0.1:65535",
                             "127.0.0.1:18x", "no host:1812"}) {
        EXPECT_THROW(parseRadiusAddress(text, "s"), InputError) << text;
    }
}

}  // namespace
}  // namespace apsim
