#include "kernel/shaper_module_worker.h"

#include <gtest/gtest.h>

#include "platform/modules/fake_server.h"
#include "support/fake_portal_instance.h"
#include "support/test_client.h"

namespace vesta::testing {
namespace {

class ShaperModuleWorkerTest : public ostrel::testing::ModulesTest {
protected:
    // What the one connection of a command brought; a command that was not written would wait.
    std::string command() {
        server.accept();
        const std::string text = server.receive();
        EXPECT_EQ(server.receive(), "");
        return text;
    }

    ostrel::testing::FakeServer server{path("shaper")};
    FakePortalInstance instance;
    ClientStatisticInfo statistics;
    ShaperModuleWorker worker{"hall"};
};

struct Limits {
    unsigned int txMax;
    unsigned int rxMax;
    const char* words;
};

TEST_F(ShaperModuleWorkerTest, WritesTheLimitsOfAnAuthenticatedStation) {
    const Limits table[] = {
        {512, 0, " 2 524288 524288 0 0 0\n"},
        {0, 1000, " 0 0 0 2 1024000 1024000\n"},
        {1, 4194303, " 2 1024 1024 2 4294966272 4294966272\n"},
        {4194304, 4194305, " 2 0 0 2 1024 1024\n"},
    };
    for (const Limits& row : table) {
        const auto client = makeClient(instance, row.txMax, row.rxMax);
        EXPECT_TRUE(worker.informClientAuthenticated(client, statistics));
        EXPECT_EQ(command(), std::string("sta add hall ") + kClientMac + row.words);
    }
}

TEST_F(ShaperModuleWorkerTest, DeletesAtEveryEndAlsoOfAStationWithoutLimits) {
    const auto client = makeClient(instance);
    EXPECT_TRUE(worker.informClientAuthenticated(client, statistics));
    EXPECT_TRUE(worker.informUpdateClient(client, statistics));
    EXPECT_TRUE(worker.informClientDrop(client, statistics));
    EXPECT_TRUE(worker.informClientDisconnected(client, statistics));
    // The first that is written at all.
    EXPECT_TRUE(worker.informClientDeuthenticated(client, statistics));
    EXPECT_EQ(command(), std::string("sta del hall ") + kClientMac);
    EXPECT_TRUE(worker.informClientRemoved(client, statistics));
    EXPECT_EQ(command(), std::string("sta del hall ") + kClientMac);
}

TEST(ShaperModuleWorkerAlone, FailsWithoutAModuleWhereThereIsSomethingToWrite) {
    setenv("OSTREL_RUNTIME_DIR", "/dev/null/nowhere", 1);
    FakePortalInstance instance;
    ClientStatisticInfo statistics;
    ShaperModuleWorker worker("hall");
    EXPECT_TRUE(worker.informClientAuthenticated(makeClient(instance), statistics));
    EXPECT_FALSE(worker.informClientAuthenticated(makeClient(instance, 1, 0), statistics));
    EXPECT_FALSE(worker.informClientRemoved(makeClient(instance), statistics));
    unsetenv("OSTREL_RUNTIME_DIR");
}

}  // namespace
}  // namespace vesta::testing
