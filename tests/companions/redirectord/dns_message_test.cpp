// What the forwarder reads of queries and answers.

#include "redirectord/dns_message.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "dns_bytes.h"
#include "redirectord/name_patterns.h"
#include "redirectord/socket_address.h"
#include "redirectord/white_list.h"

namespace vesta::testing {
namespace {

using namespace redirectord;
using namespace std::string_literals;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string kHost = "\xc6\x33\x64\x07"s;   // 198.51.100.7
const std::string kHost2 = "\xc6\x33\x64\x08"s;  // 198.51.100.8

TEST(DnsQuery, goes_out_only_when_it_is_one_plain_question) {
    const std::string good = dns::query(7, "www.example.org");
    const auto with = [&good](std::size_t at, char byte) {
        std::string changed = good;
        changed[at] = byte;
        return changed;
    };
    const struct {
        const char* what;
        std::string message;
        QueryVerdict verdict;
    } cases[] = {
        {"plain", good, QueryVerdict::forward},
        {"with an option record after it", good + std::string(11, '\0'), QueryVerdict::forward},
        {"empty", "", QueryVerdict::drop},
        {"half a header", good.substr(0, 11), QueryVerdict::drop},
        {"an answer", with(2, '\x81'), QueryVerdict::drop},
        {"a notification", with(2, '\x20'), QueryVerdict::notImplemented},
        {"an update", with(2, '\x28'), QueryVerdict::notImplemented},
        {"no question", with(5, 0), QueryVerdict::formatError},
        {"two questions", with(5, 2), QueryVerdict::formatError},
        {"a compressed name", with(12, '\xc0'), QueryVerdict::formatError},
        {"a label of 64", with(12, 64), QueryVerdict::formatError},
        {"a name that ends outside", good.substr(0, 20), QueryVerdict::formatError},
        {"without a class", good.substr(0, good.size() - 1), QueryVerdict::formatError},
        {"a zone transfer", dns::query(7, "example.org", 252), QueryVerdict::refused},
        {"the root", dns::query(7, "", 2), QueryVerdict::forward},
        {"a name of 255 bytes",
         dns::query(7, std::string(63, 'a') + "." + std::string(63, 'b') + "." +
                           std::string(63, 'c') + "." + std::string(61, 'd')),
         QueryVerdict::forward},
        {"a name of 256 bytes",
         dns::query(7, std::string(63, 'a') + "." + std::string(63, 'b') + "." +
                           std::string(63, 'c') + "." + std::string(62, 'd')),
         QueryVerdict::formatError},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(judgeQuery(one.message), one.verdict) << one.what;
    }
    EXPECT_EQ(dnsErrorAnswer(good, DnsError::format), "\x00\x07\x81\x01"s + std::string(8, '\0'));
}

struct Read {
    std::vector<std::string> names;
    std::vector<std::string> addresses;  // with their TTL
};

Read read(const std::string& message) {
    const DnsAnswer answer = readDnsAnswer(message);
    Read read{answer.names, {}};
    for (const DnsAddress& one : answer.addresses) {
        read.addresses.push_back(one.address.text() + " " + std::to_string(one.ttl.count()));
    }
    return read;
}

TEST(DnsAnswer, gives_the_addresses_of_the_name_and_its_aliases) {
    const std::string asked = dns::question("www.example.org");
    const Read direct = read(dns::answer(
        7, asked,
        {dns::a("WWW.Example.ORG", 300, kHost),
         dns::record("www.example.org", dns::kAaaa, 60, "\x20\x01\x0d\xb8"s + std::string(12, 1)),
         dns::a("other.example.org", 300, kHost2)}));
    EXPECT_THAT(direct.names, ElementsAre("www.example.org"));
    EXPECT_THAT(direct.addresses,
                ElementsAre("198.51.100.7 300", "2001:db8:101:101:101:101:101:101 60"));

    const Read alias = read(dns::answer(
        7, asked,
        {dns::a("c.cdn.net", 20, kHost), dns::cname("b.cdn.net", "c.cdn.net"),
         dns::cname("www.example.org", "B.cdn.net"), dns::cname("c.cdn.net", "www.example.org")}));
    EXPECT_THAT(alias.names, ElementsAre("www.example.org", "b.cdn.net", "c.cdn.net"));
    EXPECT_THAT(alias.addresses, ElementsAre("198.51.100.7 20"));
}

TEST(DnsAnswer, gives_the_addresses_that_an_https_record_hints_at) {
    const auto hints = [](const std::string& parameters) {
        return read(dns::answer(7, dns::question("www.example.org", dns::kHttps),
                                {dns::record("www.example.org", dns::kHttps, 300,
                                             dns::word(1) + dns::name("") + parameters)}))
            .addresses;
    };
    const std::string protocols = dns::word(1) + dns::word(3) + "\x02h2";
    const std::string v4 = dns::word(4) + dns::word(8) + kHost + kHost2;
    EXPECT_THAT(hints(protocols + v4 + dns::word(6) + dns::word(16) + "\x20\x01\x0d\xb8"s +
                      std::string(12, 1)),
                ElementsAre("198.51.100.7 300", "198.51.100.8 300",
                            "2001:db8:101:101:101:101:101:101 300"));
    EXPECT_THAT(hints(protocols), IsEmpty());
    EXPECT_THAT(hints(""), IsEmpty());
    EXPECT_THAT(hints(dns::word(4) + dns::word(200) + kHost), Each("198.51.100.7 300"));
    EXPECT_THAT(hints(dns::word(4)), IsEmpty());
}

TEST(DnsAnswer, that_is_broken_or_an_error_gives_nothing) {
    const std::string asked = dns::question("www.example.org");
    const std::string good = dns::answer(7, asked, {dns::a("www.example.org", 300, kHost)});
    EXPECT_THAT(
        read(dns::answer(7, asked, {dns::a("www.example.org", 9, kHost)}, 0x8183)).addresses,
        IsEmpty())
        << "no such name";
    EXPECT_THAT(
        read(dns::answer(7, asked, {dns::a("www.example.org", 9, "\x01\x02\x03"s)})).addresses,
        IsEmpty())
        << "three bytes of an address";
    for (std::size_t size = 0; size < good.size(); ++size) {
        EXPECT_THAT(read(good.substr(0, size)).addresses, IsEmpty()) << size;
    }
    std::string loop = dns::answer(7, asked, {});
    loop[7] = 1;
    loop += "\xc0\x21\x00\x01\x00\x01\x00\x00\x00\x09\x00\x04"s + kHost;
    EXPECT_THAT(read(loop).addresses, IsEmpty()) << "a name that points to itself";
    EXPECT_THAT(read("\x07"s).addresses, IsEmpty());
    EXPECT_THAT(read(std::string(9000, 'x')).addresses, IsEmpty());
}

TEST(NamePatterns, match_names_and_wildcards) {
    const struct {
        const char* pattern;
        const char* name;
        bool matches;
    } cases[] = {
        {"example.org", "example.org", true},
        {"Example.ORG.", "example.org", true},
        {"example.org", "www.example.org", false},
        {"example.org", "example.orgx", false},
        {"*.cdn.net", "a.cdn.net", true},
        {"*.cdn.net", "a.b.cdn.net", true},
        {"*.cdn.net", "cdn.net", false},
        {"*.cdn.net", "xcdn.net", false},
        {"*cdn.net", "xcdn.net", true},
        {"img?.shop.*", "img7.shop.example", true},
        {"img?.shop.*", "img.shop.example", false},
        {"*a*b*c", "xxaxxbxxc", true},
        {"*a*b*c", "xxaxxbxxcx", false},
        {"*", "anything.example", true},
        {"", "", false},
    };
    for (const auto& one : cases) {
        NamePatterns patterns;
        patterns.add(one.pattern);
        EXPECT_EQ(patterns.matches(one.name), one.matches) << one.pattern << " " << one.name;
    }
}

std::vector<std::string> texts(const std::vector<IpRange>& ranges) {
    std::vector<std::string> texts;
    for (const IpRange& range : ranges) {
        texts.push_back(range.text());
    }
    return texts;
}

IpAddress v4(const char* text) {
    const SocketAddress address = parseSocketAddress(text, "0");
    return address.ip();
}

TEST(WhiteListContent, has_subnets_without_overlaps_and_an_order_of_its_own) {
    WhiteList list;
    EXPECT_TRUE(list.addSubnet(v4("10.1.2.3"), v4("255.255.0.0")));
    EXPECT_TRUE(list.addSubnet(v4("10.0.0.0"), v4("255.0.0.0")));
    EXPECT_TRUE(list.addSubnet(v4("192.0.2.9"), v4("255.255.255.255")));
    EXPECT_FALSE(list.addSubnet(v4("192.0.2.9"), v4("255.0.255.0")));
    list.addText(" 2001:db8::/33 ");
    list.addText("2001:db8::1");
    list.addText("fd00::/129");
    EXPECT_THAT(texts(list.ranges(AF_INET)), ElementsAre("10.0.0.0-10.255.255.255", "192.0.2.9"));
    EXPECT_THAT(texts(list.ranges(AF_INET6)),
                ElementsAre("2001:db8::-2001:db8:7fff:ffff:ffff:ffff:ffff:ffff"));

    WhiteList all;
    EXPECT_TRUE(all.addSubnet(v4("1.2.3.4"), v4("0.0.0.0")));
    EXPECT_THAT(texts(all.ranges(AF_INET)), ElementsAre("0.0.0.0-255.255.255.255"));

    WhiteList one;
    WhiteList other;
    one.addText("a.example");
    one.addText("*.cdn.net");
    other.addText("*.CDN.net");
    other.addText(" a.example");
    EXPECT_EQ(one.digest(), other.digest());
    other.addText("b.example");
    EXPECT_NE(one.digest(), other.digest());
}

}  // namespace
}  // namespace vesta::testing
