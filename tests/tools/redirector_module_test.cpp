#include "apsim/redirector_module.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <future>

namespace apsim {
namespace {

const StationId kAnna{"wlan0-va1", "02:00:00:00:00:0a"};

std::string word(std::uint32_t value) {
    std::string bytes(sizeof value, '\0');
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

std::string padded(std::string bytes, std::size_t size) {
    bytes.resize(size, '\0');
    return bytes;
}

const std::string kMac("\x02\0\0\0\0\x0a", 6);
const std::string kName = padded("wlan0-va1", 16);

std::string client(std::uint32_t request) {
    return word(request) + kMac + kName + std::string(20, '\0') + std::string("\x0a\x01\0\x05", 4);
}

std::string chunk(std::uint32_t request, const std::string& content) {
    return word(request) + padded(content, 1032);
}

std::string pair(const char* address, const char* mask) {
    return std::string(address, 4) + std::string(mask, 4);
}

class RedirectorModuleTest : public ::testing::Test {
protected:
    int result(const std::string& request) {
        const std::string answer = module_.handle(request);
        std::int32_t value = 0;
        std::memcpy(&value, answer.data(), sizeof value);
        return value;
    }

    EventLog log_;
    RedirectorModule module_{log_, "192.168.7.1", "10.9.8.7"};
};

TEST_F(RedirectorModuleTest, PutsChunksWithoutAnIdToTheListBefore) {
    const std::string first = word(3) + word(1) + pair("\x0a\0\0\0", "\xff\0\0\0");
    const std::string second = word(0) + word(1) + pair("\x08\x08\x08\x08", "\xff\xff\xff\xff");
    EXPECT_EQ(result(chunk(20, first)), 0);
    EXPECT_EQ(result(chunk(20, second)), 0);
    EXPECT_EQ(result(chunk(21, word(3) + std::string("example.org\0help.net\0", 21))), 0);
    EXPECT_EQ(result(chunk(22, word(0) + std::string("*.cdn.net\0", 10))), 0);

    const auto lists = module_.whiteLists();
    ASSERT_EQ(lists.size(), 1U);
    const WhiteList& list = lists.at(3);
    EXPECT_EQ(list.addresses.size(), 2U);
    EXPECT_EQ(list.domains, (std::vector<std::string>{"example.org", "help.net"}));
    EXPECT_EQ(list.patterns, std::vector<std::string>{"*.cdn.net"});
}

TEST_F(RedirectorModuleTest, ReachesWhatTheStateAndTheWhiteListAllow) {
    result(chunk(20, word(1) + word(1) + pair("\xc0\xa8\x05\0", "\xff\xff\xff\0")));
    result(chunk(21, word(1) + "example.org"));
    result(chunk(22, word(1) + "*.cdn.net"));
    const auto reaches = [&](const char* destination) {
        return module_.reaches(kAnna, destination);
    };
    EXPECT_FALSE(reaches("192.168.5.9"));  // never told about

    result(client(8));
    EXPECT_FALSE(reaches("192.168.5.9"));  // no list yet
    EXPECT_EQ(result(word(19) + kMac + kName + word(1)), 0);
    EXPECT_EQ(module_.whiteListId(kAnna), 1U);
    EXPECT_TRUE(reaches("192.168.5.9"));
    EXPECT_FALSE(reaches("192.168.6.9"));
    EXPECT_TRUE(reaches("example.org"));
    EXPECT_FALSE(reaches("www.example.org"));
    EXPECT_TRUE(reaches("a.cdn.net"));
    EXPECT_FALSE(reaches("0.0.0.0"));

    result(client(9));
    EXPECT_TRUE(reaches("www.example.org"));
    EXPECT_FALSE(module_.reaches({"wlan0-va2", kAnna.mac}, "www.example.org"));
    result(client(10));
    EXPECT_FALSE(reaches("example.org"));
    result(client(11));
    EXPECT_EQ(module_.access(kAnna), Access::unknown);
    EXPECT_EQ(log_.since().back().what, "forgotten");
}

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
    result(client(9));
    EXPECT_EQ(events.get(), 1U);
}

TEST_F(RedirectorModuleTest, RefusesWhatItCannotRead) {
    const std::string tooMany = word(1) + word(129);
    for (const auto& [request, expected] :
         std::vector<std::pair<std::string, int>>{{"", -EINVAL},
                                                  {"\x08", -EINVAL},
                                                  {word(8), -EINVAL},
                                                  {client(8) + "x", -EINVAL},
                                                  {client(9).substr(0, 49), -EINVAL},
                                                  {word(20) + word(1), -EINVAL},
                                                  {chunk(20, tooMany), -EINVAL},
                                                  {word(7), -ENOTTY}}) {
        EXPECT_EQ(result(request), expected) << request.size() << " bytes";
    }
    EXPECT_EQ(module_.stations(), 0U);
    EXPECT_EQ(log_.since().back().what, "refused");
}

}  // namespace
}  // namespace apsim
