// What a frame is, and its payload.

#include "bus/frame.h"

#include <gmock/gmock.h>

#include "bus/json_text.h"
#include "bus/utf8.h"

namespace ostrel::bus {
namespace {

using testing::ElementsAre;
using testing::Field;
using testing::SizeIs;

const std::string kHello("\x00\x00\x00\x02\x00\x01\x00\x2a{}", 10);  // 2 bytes from tool 65578

auto frame(std::uint32_t sender, const std::string& payload) {
    return testing::AllOf(Field(&Frame::sender, sender), Field(&Frame::payload, payload));
}

TEST(FrameTest, IsReadWhateverThePieces) {
    EXPECT_EQ(encodeFrame(65578, "{}"), kHello);
    const std::string stream = kHello + encodeFrame(7, "") + encodeFrame(0xfffffffe, "[1,2]");
    for (std::size_t piece = 1; piece <= stream.size(); ++piece) {
        FrameReader reader;
        std::vector<Frame> frames;
        for (std::size_t at = 0; at < stream.size(); at += piece) {
            ASSERT_TRUE(reader.feed(std::string_view(stream).substr(at, piece), frames));
            const std::size_t end = std::min(at + piece, stream.size());
            EXPECT_EQ(reader.midFrame(), end != 10 && end != 18 && end != stream.size()) << end;
        }
        EXPECT_THAT(frames,
                    ElementsAre(frame(65578, "{}"), frame(7, ""), frame(0xfffffffe, "[1,2]")))
            << "in pieces of " << piece;
    }
}

TEST(FrameTest, MayHaveSixteenMebibytesAndNotOneMore) {
    std::vector<Frame> frames;
    FrameReader largest;
    ASSERT_TRUE(largest.feed(encodeFrame(1, std::string(kMaxPayloadBytes, ' ')), frames));
    EXPECT_THAT(frames, ElementsAre(Field(&Frame::payload, SizeIs(16U << 20U))));
    FrameReader tooLarge;
    EXPECT_FALSE(
        tooLarge.feed(kHello + std::string("\x01\x00\x00\x01\x00\x00\x00\x01", 8), frames));
    EXPECT_EQ(tooLarge.claimedBytes(), (16U << 20U) + 1);
    EXPECT_THAT(frames, SizeIs(2)) << "the one before counts";
}

using Kind = JsonReader::Kind;

std::string nested(int depth) {
    const auto count = static_cast<std::size_t>(depth);
    return std::string(count, '[') + std::string(count, ']');
}

std::string repeated(std::string_view part, int count) {
    std::string text;
    for (int i = 0; i < count; ++i) {
        text += part;
    }
    return text;
}

// What is built of a text of a stranger is bounded as well, in bytes.
TEST(JsonTextTest, OfAStrangerTakesNoMoreMemoryThanItMay) {
    const std::string text(4000000, 'x');
    const struct {
        std::string text;
        Kind kind;
        bool keepsContext;
    } cases[] = {
        {R"({"context": 7, "a": [)" + repeated("1,", 499990) + "1]}", Kind::object, true},
        {R"({"context": 7, "a": [)" + repeated("{},", 70000) + "1]}", Kind::object, true},
        {R"({"context": 7, "a": [)" + repeated("{},", 100000) + "1]}", Kind::tooLarge, true},
        {R"({"context": 7, "a": [)" + repeated("[],", 200000) + "1]}", Kind::tooLarge, true},
        {R"({"context": 7, "a": {)" + repeated("\"a\":1,", 200000) + "}}", Kind::tooLarge, true},
        {R"({"context": 7, "a": ")" + repeated("{[:,", 200000) + "\"}", Kind::object, true},
        {R"({"context": ")" + text + "\"}", Kind::object, false}};
    JsonReader reader;
    for (const auto& each : cases) {
        SCOPED_TRACE(each.text.substr(0, 60));
        Json object;
        EXPECT_EQ(reader.read(each.text, object, true), each.kind);
        EXPECT_EQ(json_object_object_get_ex(object.get(), "context", nullptr) != 0,
                  each.keepsContext);
        EXPECT_EQ(reader.read(each.text, object), Kind::object);
    }
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
        {nested(31), Kind::notObject},
        {nested(100000), Kind::notObject},
        {"{\"a\": " + nested(30) + "}", Kind::object},
        {R"({"command": "get", "a": )" + nested(31) + "}", Kind::tooLarge, "get"},
        {R"({"a": {"command": "x"}, "cmd": "b", "context": )" + nested(40) + "}", Kind::tooLarge,
         "b"},
        {R"({"command": "get", "a": [)" + repeated("1,", 499996) + "1]}", Kind::object, "get"},
        {R"({"command": "get", "a": [)" + repeated("1,", 499997) + "1]}", Kind::tooLarge, "get"},
        {R"({"command": "get", "a": ")" + repeated(",{", 500001) + "\"}", Kind::object, "get"},
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
        {nested(100000) + "x", Kind::notJson},
        {std::string(100000, '['), Kind::notJson},
        {"{\"a\": " + nested(40), Kind::notJson},
    };
    JsonReader reader;
    for (const auto& each : cases) {
        SCOPED_TRACE(each.text.substr(0, 60));
        Json object;
        EXPECT_EQ(reader.read(each.text, object), each.kind);
        ASSERT_EQ(object != nullptr, each.kind == Kind::object || each.kind == Kind::tooLarge);
        if (object != nullptr) {
            EXPECT_EQ(commandOf(object.get()), each.command);
        }
    }
}

TEST(Utf8Test, ReplacesWhatIsNoCharacterAndNothingElse) {
    const std::string bad = "\xef\xbf\xbd";
    const struct {
        std::string text;
        std::string sent;
    } cases[] = {
        {"", ""},
        {"all ASCII, more than one word", "all ASCII, more than one word"},
        {"\x7f \xc2\x80 \xdf\xbf \xe0\xa0\x80 \xed\x9f\xbf \xee\x80\x80 \xef\xbf\xbf "
         "\xf0\x90\x80\x80 \xf4\x8f\xbf\xbf",
         "\x7f \xc2\x80 \xdf\xbf \xe0\xa0\x80 \xed\x9f\xbf \xee\x80\x80 \xef\xbf\xbf "
         "\xf0\x90\x80\x80 \xf4\x8f\xbf\xbf"},
        {"{\"url\": \"http://a/\xe9\"}", "{\"url\": \"http://a/" + bad + "\"}"},
        {"12345678\xff", "12345678" + bad},
        {"\x80\xbf", bad + bad},
        {"\xc0\x80 \xc1\xbf", bad + bad + " " + bad + bad},
        {"\xc3 \xc3\xc3\xa9", bad + " " + bad + "\xc3\xa9"},
        {"\xe0\x9f\xbf", bad + bad + bad},
        {"\xe2\x82\x20 \xe2\x20\x82", bad + bad + "  " + bad + " " + bad},
        {"\xed\xa0\x80", bad + bad + bad},
        {"\xf0\x8f\xbf\xbf", bad + bad + bad + bad},
        {"\xf0\x9f\x98\x20 \xf0\x9f\x20\x80", bad + bad + bad + "  " + bad + bad + " " + bad},
        {"\xf4\x90\x80\x80", bad + bad + bad + bad},
        {"\xf5\x80 \xfe", bad + bad + " " + bad},
        {"cut off \xe2\x82", "cut off " + bad + bad},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.text);
        std::string repaired;
        const std::string_view sent = asUtf8(one.text, repaired);
        EXPECT_EQ(sent, one.sent);
        EXPECT_EQ(sent.data() == one.text.data(), one.text == one.sent) << "copies without need";
    }
}

}  // namespace
}  // namespace ostrel::bus
