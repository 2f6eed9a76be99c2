// Stations behind redirectord, with real packets.

#include "access_point.h"
#include "support/child_process.h"
#include "support/runtime_directory.h"

namespace vesta::testing {
namespace {

using AccessTest = NetworkTest;

TEST_F(AccessTest, without_redirectord_a_station_reaches_the_internet) {
    const AccessPointNetwork net;
    const ostrel::Fd web = serverSocket(net.internet, SOCK_STREAM, "::", 443);
    EXPECT_EQ(connectFrom(net.station(1).space, kInternet, 443).error, 0);
    EXPECT_EQ(connectFrom(net.station(2).space, kInternet6, 443).error, 0);
}

}  // namespace
}  // namespace vesta::testing
