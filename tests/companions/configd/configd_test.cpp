// The configuration file, and the process that serves it.

#include <gmock/gmock.h>

#include "configd/document.h"
#include "support/bus_peer.h"
#include "support/child_process.h"

namespace configd {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* kGood = R"({"captive-portal": {}, "interface": [ /* none */ ]})";

TEST(Document, WhatIsWrongIsNamedWithItsPlaceAndWithoutQuotingTheText) {
    const std::pair<std::string, const char*> rows[] = {
        {kGood, ""},
        {"", "line 1, column 1"},
        {"{\n  \"interface\": [],\n  \"captive-portal\": {,}\n}", "line 3, column 22"},
        {"{\"a\": \"s3cret\n\"}", "line 2"},
        {std::string(kGood) + "}", "line 1, column 52"},
        {"[]", "the document is of type array"},
        {R"({"captive-portal": {}})", "the key \"interface\" is missing; it is an array"},
        {R"({"captive-portal": [], "interface": []})", "\"captive-portal\" is of another type"},
        {std::string(kMaxDepth + 2, '['), "nested more than"},
        {std::string(kMaxBytes + 1, ' '), "longer than"}};
    for (const auto& [text, problem] : rows) {
        const Document document = parseDocument(text);
        EXPECT_EQ(document.problem.empty(), *problem == '\0') << document.problem;
        EXPECT_THAT(document.problem, AllOf(HasSubstr(problem), Not(HasSubstr("s3cret"))));
    }
}

// At one blow, as configd may read at any time.
void replaceFile(const std::string& path, const std::string& text) {
    ostrel::testing::writeFile(path + ".new", text);
    std::filesystem::rename(path + ".new", path);
}

TEST(Configd, ServesTheFileAsItIsNowAndSaysOnceThatItIsBroken) {
    vesta::testing::RuntimeDirectory runtime;
    const std::string file = runtime.path("config.json");
    replaceFile(file, "{\n oops");
    vesta::testing::ChildProcess configd;
    configd.start({CONFIGD_PROGRAM, file}, vesta::testing::ChildProcess::Output::heard);
    ASSERT_TRUE(configd.waitForText("line 2"));

    vesta::testing::BusPeer vestad(IPC_MODULE_VESTAD, {"initial-config"});
    const auto ask = [&] {
        ASSERT_TRUE(vestad.ipc.send(std::string(R"({"command": "get-initial-config"})"),
                                    IPC_MODULE_CONFIGURATION));
    };
    ask();
    ask();
    ASSERT_TRUE(configd.waitForText("module 3 waits"));
    replaceFile(file, kGood);
    ask();
    EXPECT_EQ(vestad.next("initial-config")["config"],
              nlohmann::json::parse(kGood, {}, true, true));
    replaceFile(file, R"({"captive-portal": {"loglevel": 3}, "interface": []})");
    ask();
    nlohmann::json config;
    do {  // those who asked before may have got the file of before
        config = vestad.next("initial-config")["config"];
    } while (config["captive-portal"] == nlohmann::json::object());
    EXPECT_EQ(config["captive-portal"]["loglevel"], 3);

    configd.signal(SIGTERM);
    EXPECT_EQ(configd.waitForEnd(), 0);
    const std::string waits = "module 3 waits";
    EXPECT_EQ(configd.said().find(waits), configd.said().rfind(waits)) << configd.said();
}

}  // namespace
}  // namespace configd
