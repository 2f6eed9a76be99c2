#include "kernel/redirector_module_worker.h"

#include <gmock/gmock.h>

#include "kernel/redirector_fixture.h"

namespace vesta::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class RedirectorModuleWorkerTest : public RedirectorTest {
protected:
    RedirectorModuleWorkerTest() {
        started = module->take();
        worker.insertWhiteList(std::make_shared<WhiteAddressesList>("other", "#"));
        worker.insertWhiteList(std::make_shared<WhiteAddressesList>("free", "#"));
    }

    NoPortal portal;
    RedirectorModuleWorker worker{portal};
    std::vector<std::string> started;
};

TEST_F(RedirectorModuleWorkerTest, BeginsByNamingItselfAndEmptyingTheModule) {
    EXPECT_THAT(started, ElementsAre(word(13) + word(getpid()), word(24), word(23)));
}

TEST_F(RedirectorModuleWorkerTest, TurnsEventsIntoRequests) {
    EXPECT_TRUE(worker.informClientAuthenticated(client, statistics));
    EXPECT_TRUE(worker.informClientDrop(client, statistics));
    EXPECT_TRUE(worker.informClientRemoved(client, statistics));
    EXPECT_THAT(module->take(),
                ElementsAre(word(9) + clientRecordBytes(), word(10) + clientRecordBytes(),
                            word(11) + clientRecordBytes()));
    EXPECT_TRUE(worker.informUpdateClient(client, statistics));
    EXPECT_TRUE(worker.informClientConnected(client, statistics));
    EXPECT_TRUE(worker.informClientDisconnected(client, statistics));
    EXPECT_TRUE(worker.informClientResetNeeded(client, statistics));
    EXPECT_THAT(module->take(), IsEmpty());
}

TEST_F(RedirectorModuleWorkerTest, PutsADeauthenticatedStationUnderItsWhiteList) {
    EXPECT_TRUE(worker.informClientDeuthenticated(client, statistics));
    EXPECT_THAT(module->take(),
                ElementsAre(word(8) + clientRecordBytes(),
                            word(19) + clientRecordBytes().substr(0, 22) + word(2)));
}

TEST_F(RedirectorModuleWorkerTest, LeavesAStationWithoutAKnownListWithoutOne) {
    for (const char* list : {"", "unknown"}) {
        instance.setWhiteIpListData({list, ""});
        EXPECT_TRUE(worker.informClientDeuthenticated(client, statistics));
        EXPECT_THAT(module->take(), ElementsAre(word(8) + clientRecordBytes())) << list;
    }
}

TEST_F(RedirectorModuleWorkerTest, AsksTheModuleForTheProxy) {
    EXPECT_EQ(worker.getProxyIPv4(), "192.168.1.1");
    EXPECT_THAT(module->take(), ElementsAre(word(6)));
}

TEST(RedirectorModuleWorkerAlone, WorksOnWithoutAModule) {
    setenv("OSTREL_RUNTIME_DIR", "/dev/null/nowhere", 1);
    NoPortal portal;
    RedirectorModuleWorker worker(portal);
    EXPECT_EQ(worker.getProxyIPv4(), "0.0.0.0");
    EXPECT_TRUE(worker.insertWhiteList(std::make_shared<WhiteAddressesList>("a", "1.2.3.4")));
    EXPECT_FALSE(worker.handle());
    unsetenv("OSTREL_RUNTIME_DIR");
}

}  // namespace
}  // namespace vesta::testing
