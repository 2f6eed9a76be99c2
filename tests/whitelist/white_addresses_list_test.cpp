#include "whitelist/white_addresses_list.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vesta {
namespace {

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

TEST(WhiteAddressesList, SortsEntriesByKindInTheirOrder) {
    using Texts = std::vector<std::string>;
    const struct {
        const char* values;
        Texts ips, domains, patterns;
    } rows[] = {
        {"", {}, {}, {}},
        {"10.0.0.0/255.0.0.0,192.168.5.0/24,8.8.8.8,example.org,*.cdn.net,#note",
         {"10.0.0.0/255.0.0.0", "192.168.5.0/255.255.255.0", "8.8.8.8/255.255.255.255"},
         {"example.org"},
         {"*.cdn.net"}},
        {"a,b,", {}, {"a", "b"}, {}},
        {",a", {}, {"a"}, {""}},
        {"a,,b", {}, {"a", "b"}, {""}},
        {"#a,# b", {}, {}, {}},
        {" #a", {}, {}, {" #a"}},
        {"a, b", {}, {"a"}, {" b"}},
        {"0.0.0.0,0.0.0.0/0", {}, {}, {"0.0.0.0", "0.0.0.0/0"}},
        {"10.0.0.x,1a.org", {}, {}, {"10.0.0.x", "1a.org"}},
        {"a-1.b,a_b,a/24", {}, {"a-1.b"}, {"a_b", "a/24"}},
        {"1.2.3.4/1,1.2.3.4/32,1.2.3.4/128.0.0.0",
         {"1.2.3.4/128.0.0.0", "1.2.3.4/255.255.255.255", "1.2.3.4/128.0.0.0"},
         {},
         {}},
        {"1.2.3.4/0,1.2.3.4/33,1.2.3.4/,1.2.3.4/abc,1.2.3.4/255.0,1.2.3.4/24x", {}, {}, {}},
        {"1.2.3.4/-1,1.2.3.4/0.0.0.0,1.2.3.4/255.0.255.0,1.2.3.4/8/8", {}, {}, {}},
        {"\xc3\xa4.org", {}, {}, {"\xc3\xa4.org"}},
    };
    for (const auto& row : rows) {
        const WhiteAddressesList list("free", row.values);
        EXPECT_EQ(ips(list), row.ips) << row.values;
        EXPECT_EQ(Texts(list.domain_cbegin(), list.domain_cend()), row.domains) << row.values;
        EXPECT_EQ(Texts(list.regexp_cbegin(), list.regexp_cend()), row.patterns) << row.values;
        EXPECT_EQ(list.getName(), "free");
    }
}

TEST(WhiteAddressesList, HashesTheWholeTextAndTakesItAsMissingName) {
    EXPECT_EQ(WhiteAddressesList("", "abc").getHash(), "900150983cd24fb0d6963f7d28e17f72");
    const WhiteAddressesList list("", "a,#b");
    EXPECT_EQ(list.getName(), list.getHash());
    EXPECT_NE(list.getHash(), WhiteAddressesList("", "a").getHash());
}

}  // namespace
}  // namespace vesta
