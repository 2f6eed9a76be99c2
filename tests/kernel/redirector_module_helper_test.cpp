#include "kernel/redirector_module_helper.h"

#include <gmock/gmock.h>

#include "kernel/redirector_fixture.h"

namespace vesta::testing {
namespace {

using ::testing::ElementsAre;

class RedirectorModuleHelperTest : public RedirectorTest {
protected:
    RedirectorModuleHelper helper;
};

TEST_F(RedirectorModuleHelperTest, IssuesTheRequestsAboutStations) {
    helper.setClientAuthed(client);
    helper.setClientUnauthed(client);
    helper.setClientDrop(client);
    helper.wipeClient(client);
    helper.wipeAllClients();
    helper.setVestadPid(4711);
    EXPECT_THAT(module->take(),
                ElementsAre(word(9) + clientRecordBytes(), word(8) + clientRecordBytes(),
                            word(10) + clientRecordBytes(), word(11) + clientRecordBytes(),
                            word(24), word(13) + word(4711)));
}

TEST_F(RedirectorModuleHelperTest, AsksForProxyAndGateway) {
    EXPECT_EQ(helper.getProxyIPv4(), "192.168.1.1");
    EXPECT_EQ(helper.getOutputGw("10.9.8.7"), "10.0.0.254");
    EXPECT_THAT(module->take(), ElementsAre(word(6), word(25) + "\x0a\x09\x08\x07" + zeros(48)));
}

}  // namespace
}  // namespace vesta::testing
