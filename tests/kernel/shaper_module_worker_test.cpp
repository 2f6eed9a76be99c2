#include "kernel/shaper_module_worker.h"

#include <gmock/gmock.h>

#include <optional>

#include "platform/modules/fake_server.h"
#include "support/fake_portal_instance.h"
#include "support/test_client.h"

namespace vesta::testing {
namespace {

class ShaperModuleWorkerTest : public ostrel::testing::ModulesTest {
protected:
    std::optional<ostrel::testing::FakeServer> server{path("shaper")};
    FakePortalInstance instance;
    ClientStatisticInfo statistics;
    ShaperModuleWorker worker{"hall", ShaperModuleWorker::openFile()};
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
        EXPECT_EQ(server->receiveFile(), std::string("sta add hall ") + kClientMac + row.words);
    }
}

TEST_F(ShaperModuleWorkerTest, DeletesAtEveryEndAlsoOfAStationWithoutLimits) {
    const auto client = makeClient(instance);
    EXPECT_TRUE(worker.informClientAuthenticated(client, statistics));
    EXPECT_TRUE(worker.informUpdateClient(client, statistics));
    EXPECT_TRUE(worker.informClientDrop(client, statistics));
    EXPECT_TRUE(worker.informClientDisconnected(client, statistics));
    for (const auto inform :
         {&Informator::informClientDeuthenticated, &Informator::informClientRemoved}) {
        EXPECT_TRUE((worker.*inform)(client, statistics));
        EXPECT_EQ(server->receiveFile(), std::string("sta del hall ") + kClientMac);
    }
}

TEST_F(ShaperModuleWorkerTest, TakesAwayLimitsThatAnotherScenarioDoesNotHave) {
    worker.informClientAuthenticated(makeClient(instance, 512), statistics);
    EXPECT_THAT(server->receiveFile(), ::testing::StartsWith("sta add"));
    worker.informClientAuthenticated(makeClient(instance), statistics);
    EXPECT_EQ(server->receiveFile(), std::string("sta del hall ") + kClientMac);
}

TEST_F(ShaperModuleWorkerTest, TellsAShaperThatComesBackAllLimits) {
    const char* const other = "02:00:00:00:00:01";
    worker.informClientAuthenticated(makeClient(instance, 512), statistics);
    server->receiveFile();
    worker.informClientAuthenticated(makeClient(instance, 512, 0, "10.1.2.4", other), statistics);
    server->receiveFile();
    worker.informClientRemoved(makeClient(instance), statistics);
    server->receiveFile();
    server.reset();
    worker.informClientAuthenticated(makeClient(instance, 256), statistics);  // nobody hears it
    server.emplace(path("shaper"));
    clock.monotonic += 1000000;
    std::vector<std::string> told;
    for (int line = 0; line < 2; ++line) {
        told.push_back(server->receiveFile());
    }
    EXPECT_THAT(told,
                ::testing::UnorderedElementsAre(
                    ::testing::StartsWith(std::string("sta add hall ") + kClientMac + " 2 262144"),
                    ::testing::StartsWith(std::string("sta add hall ") + other)));
}

}  // namespace
}  // namespace vesta::testing
