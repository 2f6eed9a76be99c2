#include "whitelist/white_addresses_list.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "whitelist/md5_hash_calculator.h"

namespace vesta {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<std::string> ips(const WhiteAddressesList& list) {
    std::vector<std::string> texts;
    for (auto entry = list.ip_cbegin(); entry != list.ip_cend(); ++entry) {
        char address[INET_ADDRSTRLEN];
        char mask[INET_ADDRSTRLEN];
        inet_ntop(AF_INET, &entry->first, address, sizeof address);
        inet_ntop(AF_INET, &entry->second, mask, sizeof mask);
        texts.push_back(std::string(address) + "/" + mask);
    }
    return texts;
}

std::vector<std::string> domains(const WhiteAddressesList& list) {
    return {list.domain_cbegin(), list.domain_cend()};
}

std::vector<std::string> patterns(const WhiteAddressesList& list) {
    return {list.regexp_cbegin(), list.regexp_cend()};
}

TEST(WhiteAddressesList, SortsEntriesByKindInTheirOrder) {
    const WhiteAddressesList list(
        "free", "10.0.0.0/255.0.0.0,192.168.5.0/24,8.8.8.8,example.org,*.cdn.net,#note");
    EXPECT_THAT(ips(list), ElementsAre("10.0.0.0/255.0.0.0", "192.168.5.0/255.255.255.0",
                                       "8.8.8.8/255.255.255.255"));
    EXPECT_THAT(domains(list), ElementsAre("example.org"));
    EXPECT_THAT(patterns(list), ElementsAre("*.cdn.net"));
    EXPECT_EQ(list.getName(), "free");
}

struct EntryKind {
    const char* values;
    std::vector<std::string> ips;
    std::vector<std::string> domains;
    std::vector<std::string> patterns;
};

class WhiteListEntries : public ::testing::TestWithParam<EntryKind> {};

TEST_P(WhiteListEntries, AreOfTheExpectedKind) {
    const WhiteAddressesList list("", GetParam().values);
    EXPECT_EQ(ips(list), GetParam().ips);
    EXPECT_EQ(domains(list), GetParam().domains);
    EXPECT_EQ(patterns(list), GetParam().patterns);
}

INSTANTIATE_TEST_SUITE_P(
    Table, WhiteListEntries,
    ::testing::Values(
        EntryKind{"", {}, {}, {}}, EntryKind{"a,b,", {}, {"a", "b"}, {}},
        EntryKind{",a", {}, {"a"}, {""}}, EntryKind{"a,,b", {}, {"a", "b"}, {""}},
        EntryKind{"#a,# b", {}, {}, {}}, EntryKind{" #a", {}, {}, {" #a"}},
        EntryKind{"a, b", {}, {"a"}, {" b"}},
        EntryKind{"0.0.0.0,0.0.0.0/0", {}, {}, {"0.0.0.0", "0.0.0.0/0"}},
        EntryKind{"10.0.0.x,1a.org", {}, {}, {"10.0.0.x", "1a.org"}},
        EntryKind{"a-1.b,a_b,a/24", {}, {"a-1.b"}, {"a_b", "a/24"}},
        EntryKind{"1.2.3.4/0,1.2.3.4/33", {"1.2.3.4/0.0.0.0", "1.2.3.4/255.255.255.255"}, {}, {}},
        EntryKind{"\xc3\xa4.org", {}, {}, {"\xc3\xa4.org"}}));

TEST(WhiteAddressesList, HashesTheWholeTextAndTakesItAsMissingName) {
    const WhiteAddressesList list("", "a,#b");
    EXPECT_EQ(list.getHash(), MD5HashCalculator().getHash("a,#b"));
    EXPECT_EQ(list.getName(), list.getHash());
    EXPECT_NE(list.getHash(), WhiteAddressesList("", "a").getHash());
}

// The digests of RFC 1321, A.5, and a text with a zero byte inside.
TEST(MD5HashCalculator, GivesTheDigestInLowerCase) {
    const MD5HashCalculator md5;
    EXPECT_EQ(md5.getHash(""), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(md5.getHash("abc"), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_NE(md5.getHash(std::string("a\0b", 3)), md5.getHash("a"));
}

}  // namespace
}  // namespace vesta
