#include "kernel/redirector_records.h"

#include <gtest/gtest.h>

#include <string>

namespace vesta {
namespace {

template <class Record>
std::string text(const Record& record) {
    return {record.begin(), record.end()};
}

std::string zeros(std::size_t count) {
    return std::string(count, '\0');
}

TEST(RedirectorClientRecord, CutsTheNameToItsBoundAndHasZeroesForWhatCannotBeRead) {
    const std::string name = "abcdefghijklmnopqrstuvwxyz0123456789ABCDEF";
    EXPECT_EQ(text(makeClientRecord({}, name, "", 15)),
              zeros(6) + "abcdefghijklmno" + zeros(1 + 20 + 4));
    // Without a bound the reserved bytes are all there is.
    EXPECT_EQ(text(makeClientRecord({}, name, "", 1000)),
              zeros(6) + "abcdefghijklmnopqrstuvwxyz0123456789" + zeros(4));
    EXPECT_EQ(text(makeClientRecord(MacAddr("0a:1b:2c:3d:4e"), "", "10.1.2", 15)).substr(0, 6),
              zeros(6));
    EXPECT_EQ(text(makeClientRecord({}, "", "no address", 15)), zeros(46));
}

TEST(RedirectorNotification, HasANameOf16BytesAtMost) {
    const std::string datagram = std::string(16, '\xee') + zeros(6) + "abcdefghijklmnop" + zeros(8);
    ASSERT_EQ(datagram.size(), kNotificationSize);
    const auto* const bytes = reinterpret_cast<const unsigned char*>(datagram.data());
    EXPECT_EQ(readNotification(bytes).interfaceName, "abcdefghijklmnop");
}

}  // namespace
}  // namespace vesta
