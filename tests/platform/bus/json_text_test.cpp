#include "platform/bus/json_text.h"

#include <gtest/gtest.h>

namespace ostrel::bus {
namespace {

using Kind = JsonReader::Kind;

std::string nested(int depth) {
    const auto count = static_cast<std::size_t>(depth);
    return std::string(count, '[') + std::string(count, ']');
}

TEST(JsonTextTest, IsOneTextAndNothingBehind) {
    const struct {
        std::string text;
        Kind kind;
    } cases[] = {
        {"{}", Kind::object},
        {" {\"a\": 1}\r\n\t ", Kind::object},
        {"{    \"command\": \"get-response\",    \"result\": 1,}", Kind::object},
        {"{\"ssid\": \"caf\xc3\xa9\"}", Kind::object},
        {"5", Kind::notObject},
        {"null", Kind::notObject},
        {"[{}]", Kind::notObject},
        {nested(60), Kind::notObject},
        {"", Kind::notJson},
        {"  ", Kind::notJson},
        {"{\"a\": 1", Kind::notJson},
        {"{,}", Kind::notJson},
        {"{} {}", Kind::notJson},
        {"{}x", Kind::notJson},
        {std::string("{}\0", 3), Kind::notJson},
        {std::string("{\"a\0b\": 1}", 10), Kind::notJson},
        {"{\"ssid\": \"caf\xe9\"}", Kind::notJson},
        {"GET / HTTP/1.1", Kind::notJson},
        {nested(100000), Kind::notJson},
    };
    JsonReader reader;
    for (const auto& each : cases) {
        Json object;
        EXPECT_EQ(reader.read(each.text, object), each.kind) << each.text.substr(0, 60);
        EXPECT_EQ(object != nullptr, each.kind == Kind::object) << each.text.substr(0, 60);
    }
}

TEST(JsonTextTest, NamesItsCommand) {
    const struct {
        const char* text;
        const char* command;
    } cases[] = {
        {R"({"command": "get"})", "get"},
        {R"({"cmd": "get"})", "get"},
        {R"({"cmd": "b", "command": "a"})", "a"},
        {R"({"cmd": "b", "command": 7})", "b"},
        {R"({"command": ["a"]})", ""},
        {R"({})", ""},
    };
    JsonReader reader;
    for (const auto& each : cases) {
        Json object;
        ASSERT_EQ(reader.read(each.text, object), Kind::object);
        EXPECT_EQ(commandOf(object.get()), each.command) << each.text;
    }
}

}  // namespace
}  // namespace ostrel::bus
