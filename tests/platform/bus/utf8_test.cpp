#include "bus/utf8.h"

#include <gtest/gtest.h>

namespace ostrel::bus {
namespace {

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
