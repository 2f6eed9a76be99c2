#include "messages/client_information_store.h"

#include <gtest/gtest.h>

namespace vesta {
namespace {

using Identity = ClientInformationIdentity;

TEST(ClientInformationIdentity, IsOrderedByTheBytesOfTheMacThenBySsid) {
    const Identity ordered[] = {{MacAddr("no address"), "A"},
                                {MacAddr("7f:00:00:00:00:00"), "Z"},
                                {MacAddr("80:11:22:33:44:55"), "A"},
                                {MacAddr("80:11:22:33:44:55"), "B"},
                                {MacAddr("80:11:22:33:44:56"), "A"}};
    for (const Identity& left : ordered) {
        for (const Identity& right : ordered) {
            EXPECT_EQ(left < right, &left < &right) << &left - ordered << ' ' << &right - ordered;
            EXPECT_EQ(left == right, &left == &right);
        }
    }
}

}  // namespace
}  // namespace vesta
