#include "kernel/shaper_module_worker.h"

#include "platform/modules/fake_server.h"
#include "support/fake_portal_instance.h"
#include "support/test_client.h"

namespace vesta::testing {
namespace {

class ShaperModuleWorkerTest : public ostrel::testing::ModulesTest {
protected:
    ostrel::testing::FakeServer server{path("shaper")};
    FakePortalInstance instance;
    ClientStatisticInfo statistics;
    ShaperModuleWorker worker{"hall"};
};

TEST_F(ShaperModuleWorkerTest, WritesTheLimitsOfAnAuthenticatedStation) {
    const struct {
        unsigned int txMax, rxMax;
        const char* words;
    } table[] = {
        {512, 0, " 2 524288 524288 0 0 0\n"},
        {0, 1000, " 0 0 0 2 1024000 1024000\n"},
        {1, 4194303, " 2 1024 1024 2 4294966272 4294966272\n"},
        {4194304, 4194305, " 2 0 0 2 1024 1024\n"},
    };
    for (const auto& row : table) {
        const auto client = makeClient(instance, row.txMax, row.rxMax);
        EXPECT_TRUE(worker.informClientAuthenticated(client, statistics));
        EXPECT_EQ(server.receiveFile(), std::string("sta add hall ") + kClientMac + row.words);
    }
}

TEST_F(ShaperModuleWorkerTest, DeletesAtEveryEndAlsoOfAStationWithoutLimits) {
    const auto client = makeClient(instance);
    EXPECT_TRUE(worker.informClientAuthenticated(client, statistics));
    EXPECT_TRUE(worker.informUpdateClient(client, statistics));
    EXPECT_TRUE(worker.informClientDrop(client, statistics));
    EXPECT_TRUE(worker.informClientDisconnected(client, statistics));
    EXPECT_TRUE(worker.informClientDeuthenticated(client, statistics));
    EXPECT_TRUE(worker.informClientRemoved(client, statistics));
    for (int written = 0; written < 2; ++written) {
        EXPECT_EQ(server.receiveFile(), std::string("sta del hall ") + kClientMac);
    }
}

}  // namespace
}  // namespace vesta::testing
