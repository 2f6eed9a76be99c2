#include "ostrel/addresses.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace ostrel {
namespace {

const std::string kNone = "-";

std::string textOf(const std::optional<MacBytes>& mac) {
    return mac.has_value() ? macText(*mac) : kNone;
}

TEST(Addresses, ReadsHardwareAddresses) {
    const struct {
        const char* text;
        std::string parsed, scanned;
    } rows[] = {{"aa:bb:0c:00:11:2f", "aa:bb:0c:00:11:2f", "aa:bb:0c:00:11:2f"},
                {"AA-bB-0C-00-11-2F", "aa:bb:0c:00:11:2f", kNone},
                {"AABB.0c00.112F", "aa:bb:0c:00:11:2f", kNone},
                {"aa:bb:0c:00:11:2f and more", kNone, "aa:bb:0c:00:11:2f"},
                {" a: b:c:0:1:2", kNone, "0a:0b:0c:00:01:02"},
                {"aa:bb:cc:00:11:2g", kNone, "aa:bb:cc:00:11:02"},
                {"aa:bb:cc:00:11:2", kNone, "aa:bb:cc:00:11:02"},
                {"aa-bb:cc:00:11:22", "aa:bb:cc:00:11:22", kNone},
                {"aa::bb:cc:00:11:22", kNone, kNone},
                {"a:abb:cc:00:11:22", kNone, kNone},
                {":aa:bb:cc:00:11:22", kNone, kNone},
                {"aa:bb:cc:00:11:22:", kNone, "aa:bb:cc:00:11:22"},
                {"aa:bb:cc:00:11:", kNone, kNone},
                {"aa:bb:cc:00:11:gg", kNone, kNone},
                {"", kNone, kNone}};
    for (const auto& row : rows) {
        EXPECT_EQ(textOf(parseMac(row.text)), row.parsed) << row.text;
        EXPECT_EQ(textOf(scanMac(row.text)), row.scanned) << row.text;
        // With all five colons, and only then, both readings agree.
        EXPECT_EQ(textOf(parseColonMac(row.text)), row.parsed == row.scanned ? row.parsed : kNone)
            << row.text;
    }
}

TEST(Addresses, ReadsDottedQuadsAlone) {
    const auto address = parseIpv4("192.168.0.255");
    ASSERT_TRUE(address.has_value());
    EXPECT_EQ(address->s_addr, htonl(0xC0A800FF));
    EXPECT_EQ(ipv4Text(*address), "192.168.0.255");
    for (const char* bad : {"", "192.168.255", "192.168.0.256", "192.168.0.1 ", "0x7f.0.0.1"}) {
        EXPECT_FALSE(parseIpv4(bad).has_value()) << bad;
    }
}

TEST(Addresses, RefusesAPathThatNoSocketCanHave) {
    sockaddr_un address;
    EXPECT_TRUE(unixAddress(std::string(sizeof address.sun_path - 1, 'x'), address));
    errno = 0;
    EXPECT_FALSE(unixAddress(std::string(sizeof address.sun_path, 'x'), address));
    EXPECT_EQ(errno, ENAMETOOLONG);
}

}  // namespace
}  // namespace ostrel
