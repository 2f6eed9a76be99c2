#include "bus/json_text.h"

#include <gtest/gtest.h>

namespace ostrel::bus {
namespace {

using Kind = JsonReader::Kind;

std::string nested(int depth) {
    const auto count = static_cast<std::size_t>(depth);
    return std::string(count, '[') + std::string(count, ']');
}

TEST(JsonTextTest, IsOneTextAndNothingBehindAndNamesItsCommand) {
    const struct {
        std::string text;
        Kind kind;
        const char* command = "";
    } cases[] = {
        {"{}", Kind::object},
        {" {\"a\": 1}\r\n\t ", Kind::object},
        {"{    \"command\": \"get-response\",    \"result\": 1,}", Kind::object, "get-response"},
        {"{\"ssid\": \"caf\xc3\xa9\"}", Kind::object},
        {R"({"cmd": "get"})", Kind::object, "get"},
        {R"({"cmd": "b", "command": "a"})", Kind::object, "a"},
        {R"({"cmd": "b", "command": 7})", Kind::object, "b"},
        {R"({"command": ["a"]})", Kind::object},
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
        SCOPED_TRACE(each.text.substr(0, 60));
        Json object;
        EXPECT_EQ(reader.read(each.text, object), each.kind);
        ASSERT_EQ(object != nullptr, each.kind == Kind::object);
        if (object != nullptr) {
            EXPECT_EQ(commandOf(object.get()), each.command);
        }
    }
}

}  // namespace
}  // namespace ostrel::bus
