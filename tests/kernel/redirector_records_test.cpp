#include "kernel/redirector_records.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <string>

namespace vesta {
namespace {

template <class Record>
std::string text(const Record& record) {
    return {record.begin(), record.end()};
}

std::string zeros(std::size_t count) {
    return std::string(count, '\0');
}

TEST(RedirectorClientRecord, IsMacNameReservedAddress) {
    EXPECT_EQ(text(makeClientRecord("0a:1b:2c:3d:4e:5f", "wlan0-va1", "10.1.2.3", 15)),
              "\x0a\x1b\x2c\x3d\x4e\x5f"
              "wlan0-va1" +
                  zeros(27) + "\x0a\x01\x02\x03");
}

TEST(RedirectorClientRecord, CutsTheNameToItsBound) {
    const std::string name = "abcdefghijklmnopqrstuvwxyz0123456789ABCDEF";
    EXPECT_EQ(text(makeClientRecord("", name, "", 15)),
              zeros(6) + "abcdefghijklmno" + zeros(1 + 20 + 4));
    // Without a bound the reserved bytes are all there is.
    EXPECT_EQ(text(makeClientRecord("", name, "", 1000)),
              zeros(6) + "abcdefghijklmnopqrstuvwxyz0123456789" + zeros(4));
}

TEST(RedirectorClientRecord, HasZeroesForWhatCannotBeRead) {
    EXPECT_EQ(text(makeClientRecord("0a:1b:2c:3d:4e", "", "10.1.2", 15)).substr(0, 6), zeros(6));
    EXPECT_EQ(text(makeClientRecord("", "", "no address", 15)), zeros(46));
}

TEST(RedirectorClientWhiteListRecord, TakesMacAndNameAndHasTheId) {
    const RedirectorClientRecord client =
        makeClientRecord("0a:1b:2c:3d:4e:5f", "wlan0-va1", "10.1.2.3", 15);
    const RedirectorClientWhiteListRecord record = makeClientWhiteListRecord(client, 0x01010101);
    EXPECT_EQ(text(record), text(client).substr(0, 22) + "\x01\x01\x01\x01");
}

TEST(AddressChunk, CountsEntriesBehindIdAndCount) {
    AddressChunk chunk(0x02020202);
    EXPECT_TRUE(chunk.empty());
    chunk.add(inet_addr("10.0.0.0"), inet_addr("255.0.0.0"));
    chunk.add(inet_addr("8.8.8.8"), 0xffffffff);
    const std::uint32_t two = 2;
    const std::string count(reinterpret_cast<const char*>(&two), 4);
    const std::string entries("\x0a\x00\x00\x00\xff\x00\x00\x00\x08\x08\x08\x08\xff\xff\xff\xff",
                              16);
    EXPECT_EQ(text(chunk.bytes()), "\x02\x02\x02\x02" + count + entries + zeros(1008));
}

TEST(AddressChunk, IsFullWith128EntriesUpToItsLastByte) {
    AddressChunk chunk(1);
    for (int i = 0; i < 128; ++i) {
        EXPECT_FALSE(chunk.full());
        chunk.add(0x0a0a0a0a, 0xffffffff);
    }
    EXPECT_TRUE(chunk.full());
    EXPECT_EQ(text(chunk.bytes()).substr(1024), "\x0a\x0a\x0a\x0a\xff\xff\xff\xff");
    chunk.clear();
    EXPECT_EQ(text(chunk.bytes()), zeros(1032));
    EXPECT_TRUE(chunk.empty());
}

struct Fit {
    std::size_t before;  // bytes of a text that is there already; it ends with its terminator
    std::size_t length;
    bool fits;
};

class StringChunkBoundary : public ::testing::TestWithParam<Fit> {};

TEST_P(StringChunkBoundary, IsByte1030) {
    StringChunk chunk(1);
    chunk.add(std::string(GetParam().before, 'x'));
    EXPECT_EQ(chunk.fits(std::string(GetParam().length, 'y')), GetParam().fits);
}

// Behind a text of 995 bytes and its terminator the position is 1000.
INSTANTIATE_TEST_SUITE_P(Table, StringChunkBoundary,
                         ::testing::Values(Fit{995, 30, true}, Fit{995, 31, false},
                                           Fit{1025, 0, true}, Fit{1026, 0, false}));

TEST(StringChunk, HoldsZeroTerminatedTextsBehindTheId) {
    StringChunk chunk(0x02020202);
    EXPECT_TRUE(chunk.empty());
    chunk.add("a.org");
    chunk.add("");
    chunk.add("b");
    EXPECT_EQ(text(chunk.bytes()),
              "\x02\x02\x02\x02" + std::string("a.org\0\0b\0", 9) + zeros(1019));
    chunk.clear();
    EXPECT_EQ(text(chunk.bytes()), zeros(1032));
}

TEST(StringChunk, TakesATextOf1026BytesAtMost) {
    EXPECT_FALSE(StringChunk::neverFits(std::string(1026, 'x')));
    EXPECT_TRUE(StringChunk::neverFits(std::string(1027, 'x')));
    StringChunk chunk(1);
    chunk.add(std::string(1026, 'x'));
    EXPECT_EQ(text(chunk.bytes()).substr(1029), std::string("x\0\0", 3));
}

RedirectorNotification read(const std::string& payload) {
    const std::string datagram = std::string(16, '\xee') + payload;
    EXPECT_EQ(datagram.size(), kNotificationSize);
    return readNotification(reinterpret_cast<const unsigned char*>(datagram.data()));
}

TEST(RedirectorNotification, IsReadBehindItsHeader) {
    const RedirectorNotification station = read(
        "\x0a\x1b\x2c\x3d\x4e\x5f"
        "wlan0-va1" +
        zeros(7) + "\x0a\x01\x02\x03" + "\x05\x05\x05\x05");
    EXPECT_EQ(station.mac, "0a:1b:2c:3d:4e:5f");
    EXPECT_EQ(station.interfaceName, "wlan0-va1");
    EXPECT_EQ(station.ip, "10.1.2.3");
    EXPECT_EQ(station.value, 0x05050505U);
}

TEST(RedirectorNotification, HasANameOf16BytesAtMost) {
    EXPECT_EQ(read(zeros(6) + "abcdefghijklmnop" + zeros(8)).interfaceName, "abcdefghijklmnop");
}

}  // namespace
}  // namespace vesta
