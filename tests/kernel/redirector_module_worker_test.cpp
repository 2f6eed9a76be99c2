#include "kernel/redirector_module_worker.h"

#include "kernel/redirector_fixture.h"
#include "kernel/redirector_module_helper.h"

namespace vesta::testing {
namespace {

class RedirectorModuleWorkerTest : public RedirectorTest {
protected:
    RedirectorModuleWorkerTest() {
        EXPECT_THAT(module->take(), ElementsAre(word(13) + word(getpid()), word(24), word(23)));
        worker.insertWhiteList(std::make_shared<WhiteAddressesList>("other", "#"));
        worker.insertWhiteList(std::make_shared<WhiteAddressesList>("free", "#"));
    }

    RedirectorModuleWorker worker{portal};
};

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

TEST_F(RedirectorModuleWorkerTest, PutsADeauthenticatedStationUnderItsWhiteListIfThatIsKnown) {
    for (const char* list : {"free", "", "unknown"}) {
        SCOPED_TRACE(list);
        instance.whiteListId = list;
        EXPECT_TRUE(worker.informClientDeuthenticated(client, statistics));
        std::vector<std::string> expected{word(8) + clientRecordBytes()};
        if (list == std::string("free")) {
            expected.push_back(word(19) + clientRecordBytes().substr(0, 22) + word(2));
        }
        EXPECT_EQ(module->take(), expected);
    }
}

TEST_F(RedirectorTest, IsAskedForProxyAndGateway) {
    RedirectorModuleHelper helper;
    EXPECT_EQ(helper.getProxyIPv4(), "192.168.1.1");
    EXPECT_EQ(helper.getOutputGw("10.9.8.7"), "10.0.0.254");
    EXPECT_THAT(module->take(), ElementsAre(word(6), word(25) + "\x0a\x09\x08\x07" + zeros(48)));
}

TEST(RedirectorModuleWorkerAlone, WorksOnWithoutAModule) {
    setenv("OSTREL_RUNTIME_DIR", "/dev/null/nowhere", 1);
    RecordingPortal portal;
    RedirectorModuleWorker worker(portal);
    EXPECT_EQ(worker.getProxyIPv4(), "0.0.0.0");
    EXPECT_TRUE(worker.insertWhiteList(std::make_shared<WhiteAddressesList>("a", "1.2.3.4")));
    EXPECT_FALSE(worker.handle());
    unsetenv("OSTREL_RUNTIME_DIR");
}

}  // namespace
}  // namespace vesta::testing
