// What the daemon's roads do not show of the simulated access point.

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <future>

#include "apsim/input.h"
#include "apsim/load.h"
#include "apsim/module_server.h"
#include "apsim/radius_server.h"
#include "ostrel/modules.h"
#include "support/runtime_directory.h"

namespace apsim {
namespace {

const StationId kAnna{"wlan0-va1", "02:00:00:00:00:0a"};

std::string word(std::uint32_t value) {
    return {reinterpret_cast<const char*>(&value), sizeof value};
}

// A redirector request about anna.
std::string request(std::uint32_t number) {
    std::string bytes = word(number) + std::string("\x02\0\0\0\0\x0a", 6) + kAnna.interface;
    bytes.resize(sizeof number + 46, '\0');
    return bytes;
}

class RedirectorModuleTest : public ::testing::Test {
protected:
    EventLog log_;
    RedirectorModule module_{log_, "192.168.7.1", "10.9.8.7"};
};

TEST_F(RedirectorModuleTest, WhoSeesANewStateFindsItsEventInTheLog) {
    std::future<std::size_t> events;
    log_.setObserver([&](const Event&) {
        events = std::async(std::launch::async, [&] {
            while (module_.access(kAnna) != Access::authed) {
            }
            return log_.size();
        });
        events.wait_for(Milliseconds(100));  // over at once where the state shows before the event
    });
    module_.handle(request(9));
    EXPECT_EQ(events.get(), 1U);
}

TEST_F(RedirectorModuleTest, PutsAChunkWithoutAnIdToTheListBefore) {
    for (const std::uint32_t id : {3U, 0U}) {
        std::string chunk = word(21) + word(id) + "example.org";
        chunk.resize(sizeof(std::uint32_t) + 1032, '\0');
        module_.handle(chunk);
    }
    EXPECT_EQ(module_.whiteLists().at(3).domains.size(), 2U);
}

TEST_F(RedirectorModuleTest, RefusesWhatItCannotRead) {
    std::string tooMany = word(20) + word(1) + word(129);
    tooMany.resize(sizeof(std::uint32_t) + 1032, '\0');
    const std::pair<std::string, int> cases[] = {
        {"", -EINVAL},      {"\x08", -EINVAL},
        {word(8), -EINVAL}, {request(8) + "x", -EINVAL},
        {tooMany, -EINVAL}, {request(9).substr(0, 49), -EINVAL},
        {word(7), -ENOTTY}};
    for (const auto& [bytes, result] : cases) {
        EXPECT_EQ(module_.handle(bytes), word(static_cast<std::uint32_t>(result))) << bytes.size();
    }
    EXPECT_EQ(module_.stations(), 0U);
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

TEST(PercentileTest, IsTheSmallestValueThatEnoughLieAtOrBelow) {
    EXPECT_EQ(percentile({}, 0.5), 0);
    EXPECT_EQ(percentile({1, 2, 3, 4}, 0.5), 2);
    EXPECT_EQ(percentile({1, 2, 3, 4}, 0.51), 3);
}

}  // namespace
}  // namespace apsim
