#include "messages/client_information_store.h"

#include <gtest/gtest.h>

namespace vesta {
namespace {

using Identity = ClientInformationIdentity;

TEST(ClientInformationIdentity, IsOrderedByTheBytesOfTheMacThenBySsid) {
    const Identity ordered[] = {{"no address", "A"},
                                {"7f:00:00:00:00:00", "Z"},
                                {"80:11:22:33:44:55", "A"},
                                {"80:11:22:33:44:55", "B"},
                                {"80:11:22:33:44:56", "A"}};
    for (const Identity& left : ordered) {
        for (const Identity& right : ordered) {
            EXPECT_EQ(left < right, &left < &right) << &left - ordered << ' ' << &right - ordered;
            EXPECT_EQ(left == right, &left == &right);
        }
    }
}

TEST(ClientInformationIdentity, TakesAnyUnreadableMacForTheZeroOne) {
    EXPECT_EQ(Identity("00:11:22:33:44", "A"), Identity("", "A"));
    EXPECT_EQ(Identity("0:11:22:33:44:5f", "A"), Identity("00:11:22:33:44:5F", "A"));
}

}  // namespace
}  // namespace vesta
