#include "core/data_parser.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <sstream>

namespace vesta {
namespace {

template <class T>
void expectTheStreamsResult(const std::string& text) {
    T expected = 0;
    std::istringstream(text) >> expected;
    EXPECT_EQ(DataParser::stringToType<T>(text), expected) << '"' << text << '"';
}

TEST(DataParser, ReadsNumbersAsAnInputStreamDoes) {
    std::istringstream texts(
        "| |0|7|-7|+7|+-7|--7|- 7| \t\n\v\f\r42|\xA0 42|007|0x1F|12abc|abc|"
        "1 2|1,000|1.9|1e3|-|+|-0|"
        "2147483647|2147483648|-2147483648|-2147483649|4294967295|4294967296|-4294967295|"
        "-4294967296|9223372036854775807|9223372036854775808|-9223372036854775808|"
        "-9223372036854775809|18446744073709551615|18446744073709551616|-18446744073709551615|"
        "-18446744073709551616|99999999999999999999999");
    for (std::string text; std::getline(texts, text, '|');) {
        expectTheStreamsResult<int>(text);
        expectTheStreamsResult<unsigned int>(text);
        expectTheStreamsResult<unsigned long>(text);
        expectTheStreamsResult<long long>(text);
        expectTheStreamsResult<unsigned long long>(text);
    }
}

TEST(DataParser, ReadsAddressesAndMasksInNetworkOrder) {
    const struct {
        const char *subnet, *address, *mask;
    } rows[] = {{"10.1.2.3/24", "10.1.2.3", "255.255.255.0"},
                {"10.0.0.0/0", "10.0.0.0", "0.0.0.0"},
                {"10.0.0.0/1", "10.0.0.0", "128.0.0.0"},
                {"10.0.0.1/32", "10.0.0.1", "255.255.255.255"},
                {"10.0.0.1/33", "10.0.0.1", "255.255.255.255"},
                {"10.0.0.1/-1", "10.0.0.1", "255.255.255.255"},
                {"10.0.0.1/4294967320", "10.0.0.1", "255.255.255.255"},
                {"10.0.0.1/abc", "10.0.0.1", "0.0.0.0"},
                {"10.0.0.1/255.240.0.0", "10.0.0.1", "255.240.0.0"},
                {"10.0.0.1/255.x", "10.0.0.1", "0.0.0.0"},
                {"example/8/9", "0.0.0.0", "255.0.0.0"},
                {"10.0.0.1", "0.0.0.0", "0.0.0.0"}};
    for (const auto& row : rows) {
        const auto [address, mask] = DataParser::parseIpSubnetFromString(row.subnet);
        EXPECT_EQ(DataParser::castRowIpToString(in_addr{address}), row.address) << row.subnet;
        EXPECT_EQ(DataParser::castRowIpToString(in_addr{mask}), row.mask) << row.subnet;
    }
    EXPECT_EQ(DataParser::castStringToRawIpv4("192.168.0.255"), htonl(0xC0A800FF));
    EXPECT_EQ(DataParser::castStringToRawIpv4("192.168.255"), 0U) << "a dotted quad alone";
}

// How the platform reads them is its own test.
TEST(DataParser, PassesHardwareAddressesThrough) {
    unsigned char mac[6] = {1, 2, 3, 4, 5, 6};
    EXPECT_FALSE(DataParser::parseMacFromString("no address", reinterpret_cast<char*>(mac)));
    EXPECT_EQ(DataParser::castRowMacToString(mac), "01:02:03:04:05:06");
    EXPECT_TRUE(DataParser::parseMacFromString("a:B:0:1:2:3f", reinterpret_cast<char*>(mac)));
    EXPECT_EQ(DataParser::castRowMacToString(mac), "0a:0b:00:01:02:3f");
}

TEST(DataParser, ReadsTheIndexesOfAnInterface) {
    using Indexes = std::pair<int, int>;
    EXPECT_EQ(DataParser::extractVapIndexes("wlan12-va34"), Indexes(12, 34));
    EXPECT_EQ(DataParser::extractVapIndexes("wlan3"), Indexes(3, 0));
    EXPECT_EQ(DataParser::extractVapIndexes("wlan"), Indexes(0, 0));
    EXPECT_THROW(DataParser::extractVapIndexes("eth0"), PARSER_EXCEPTION_TYPE);
    EXPECT_THROW(DataParser::extractVapIndexes("wla"), PARSER_EXCEPTION_TYPE);
}

}  // namespace
}  // namespace vesta
