#include "kernel/redirector_fixture.h"
#include "kernel/redirector_module_worker.h"

namespace vesta::testing {
namespace {

class RedirectorWhiteListsTest : public RedirectorTest {
protected:
    RedirectorWhiteListsTest() { module->take(3); }

    // The requests that load the list, `count` of them.
    std::vector<std::string> insert(const std::string& name, const std::string& values,
                                    std::size_t count = 1) {
        EXPECT_TRUE(worker.insertWhiteList(std::make_shared<WhiteAddressesList>(name, values)));
        return module->take(count);
    }

    RedirectorModuleWorker worker{portal};
};

std::string chunk(int request, const std::string& content) {
    return word(request) + content + zeros(1032 - content.size());
}

// `count` entries of one host.
std::string hosts(std::uint32_t listId, std::uint32_t count) {
    std::string content = word(listId) + word(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        content += "\x08\x08\x04\x04\xff\xff\xff\xff";
    }
    return chunk(20, content);
}

TEST_F(RedirectorWhiteListsTest, SendsAddressesThenDomainsThenPatterns) {
    EXPECT_THAT(insert("free", "*.cdn.net,example.org,10.0.0.0/8,example.com,#x,,8.8.4.4", 3),
                ElementsAre(chunk(20, word(1) + word(2) +
                                          std::string("\x0a\x00\x00\x00\xff\x00\x00\x00", 8) +
                                          "\x08\x08\x04\x04\xff\xff\xff\xff"),
                            chunk(21, word(1) + std::string("example.org\0example.com\0", 24)),
                            chunk(22, word(1) + std::string("*.cdn.net\0\0", 11))));
}

TEST_F(RedirectorWhiteListsTest, CutsAddressesInto128AndContinuesUnderIdZero) {
    std::string values;
    for (int i = 0; i < 128; ++i) {
        values += "8.8.4.4,";
    }
    EXPECT_THAT(insert("a", values), ElementsAre(hosts(1, 128)));
    EXPECT_THAT(insert("b", values + "8.8.4.4", 2), ElementsAre(hosts(2, 128), hosts(0, 1)));
    EXPECT_THAT(insert("c", values + values + "8.8.4.4", 3),
                ElementsAre(hosts(3, 128), hosts(0, 128), hosts(0, 1)));
}

TEST_F(RedirectorWhiteListsTest, CutsStringsAtByte1030AndContinuesUnderIdZero) {
    const std::string first(995, 'x');
    const std::string fits(30, 'y');
    const std::string tooMuch(31, 'y');
    EXPECT_THAT(insert("a", first + "," + fits),
                ElementsAre(chunk(21, word(1) + first + zeros(1) + fits)));
    EXPECT_THAT(insert("b", first + "," + tooMuch, 2),
                ElementsAre(chunk(21, word(2) + first), chunk(21, word(0) + tooMuch)));
}

TEST_F(RedirectorWhiteListsTest, SkipsAStringThatNoChunkHoldsAndSendsNoEmptyChunk) {
    const std::string longest(1026, 'x');
    EXPECT_THAT(insert("a", longest + "x", 0), IsEmpty());
    EXPECT_THAT(insert("b", longest + "x," + longest + ",y", 2),
                ElementsAre(chunk(21, word(2) + longest), chunk(21, word(0) + "y")));
}

TEST_F(RedirectorWhiteListsTest, CountsIdsOnAndFromOneAgainAfterAWipe) {
    EXPECT_THAT(insert("a", "#", 0), IsEmpty());
    insert("b", "x");
    EXPECT_THAT(insert("c", "x"), ElementsAre(chunk(21, word(3) + "x")));
    EXPECT_EQ(worker.to_string(),
              "Userspace to kernelspace white lists map: "
              "\nhash = a / redirector id = 1\nhash = b / redirector id = 2"
              "\nhash = c / redirector id = 3\n");
    EXPECT_TRUE(worker.wipeWhiteLists());
    EXPECT_THAT(module->take(1), ElementsAre(word(23)));
    EXPECT_THAT(insert("d", "x"), ElementsAre(chunk(21, word(1) + "x")));
    EXPECT_EQ(worker.to_string(),
              "Userspace to kernelspace white lists map: \nhash = d / redirector id = 1\n");
}

// The module knows no removal of one list. The others keep their ids, by which stations have them.
TEST_F(RedirectorWhiteListsTest, TellsTheOthersAnewWhenListsAreDropped) {
    for (const char* name : {"a", "b", "c"}) {
        insert(name, name);
    }
    EXPECT_TRUE(worker.dropWhiteLists({"b", "unknown"}));
    EXPECT_THAT(module->take(3),
                ElementsAre(word(23), chunk(21, word(1) + "a"), chunk(21, word(3) + "c")));
}

}  // namespace
}  // namespace vesta::testing
