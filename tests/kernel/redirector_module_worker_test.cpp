#include "kernel/redirector_module_worker.h"

#include "kernel/redirector_fixture.h"
#include "kernel/redirector_module_helper.h"
#include "kernel/redirector_records.h"

namespace vesta::testing {
namespace {

class RedirectorModuleWorkerTest : public RedirectorTest {
protected:
    RedirectorModuleWorkerTest() {
        EXPECT_THAT(module->take(3), ElementsAre(word(13) + word(getpid()), word(24), word(23)));
        worker.insertWhiteList(std::make_shared<WhiteAddressesList>("other", "#"));
        worker.insertWhiteList(std::make_shared<WhiteAddressesList>("free", "#"));
    }

    RedirectorModuleWorker worker{portal};
};

TEST_F(RedirectorModuleWorkerTest, TurnsEventsIntoRequests) {
    EXPECT_TRUE(worker.informUpdateClient(client, statistics));
    EXPECT_TRUE(worker.informClientConnected(client, statistics));
    EXPECT_TRUE(worker.informClientDisconnected(client, statistics));
    EXPECT_TRUE(worker.informClientResetNeeded(client, statistics));
    EXPECT_TRUE(worker.informClientAddressChanged(client, statistics)) << "not told of so far";
    const std::pair<decltype(&Informator::informClientDrop), int> table[] = {
        {&Informator::informClientAuthenticated, 9},
        {&Informator::informClientDrop, 10},
        {&Informator::informClientRemoved, 11}};
    for (const auto& [inform, number] : table) {
        EXPECT_TRUE((worker.*inform)(client, statistics));
        EXPECT_THAT(module->take(1), ElementsAre(word(number) + clientRecordBytes()));
    }
}

TEST_F(RedirectorModuleWorkerTest, PutsADeauthenticatedStationUnderItsWhiteListIfThatIsKnown) {
    for (const char* list : {"", "unknown", "free"}) {
        SCOPED_TRACE(list);
        instance.whiteListId = list;
        EXPECT_TRUE(worker.informClientDeuthenticated(client, statistics));
        std::vector<std::string> expected{word(8) + clientRecordBytes()};
        if (list == std::string("free")) {
            expected.push_back(word(19) + clientRecordBytes().substr(0, 22) + word(2));
        }
        EXPECT_EQ(module->take(expected.size()), expected);
    }
}

TEST_F(RedirectorModuleWorkerTest, TellsOfAnotherAddress) {
    worker.informClientAuthenticated(client, statistics);
    module->take(1);
    client->setIpAddress("");
    EXPECT_TRUE(worker.informClientAddressChanged(client, statistics));
    EXPECT_THAT(module->take(1),
                ElementsAre(word(9) + clientRecordBytes().substr(0, 42) + zeros(4)));
}

TEST_F(RedirectorTest, IsAskedForProxyAndGateway) {
    RedirectorModuleHelper helper;
    EXPECT_EQ(helper.getProxyIPv4(), "192.168.1.1");
    EXPECT_EQ(helper.getOutputGw("10.9.8.7"), "10.0.0.254");
    EXPECT_THAT(module->take(), ElementsAre(word(25) + "\x0a\x09\x08\x07" + zeros(48)));
}

// What the worker has to say when it finds the loss by itself, and when an event comes first.
TEST_F(RedirectorTest, BegunAnewIsToldWhomToNotifyThenAllThatHolds) {
    RedirectorModuleWorker worker(portal);
    worker.insertWhiteList(std::make_shared<WhiteAddressesList>("free", "#"));
    worker.insertWhiteList(std::make_shared<WhiteAddressesList>("a", "example.org"));
    const std::string list = word(21) + word(2) + "example.org" + zeros(1032 - 4 - 11);
    instance.whiteListId = "free";
    const auto other = makeClient(instance, 0, 0, "10.1.2.4", "02:00:00:00:00:01");
    worker.informClientDrop(other, statistics);
    worker.informClientDeuthenticated(client, statistics);
    const std::string hello = word(13) + word(getpid());
    const std::string state = word(8) + clientRecordBytes();
    const std::string stationList = word(19) + clientRecordBytes().substr(0, 22) + word(1);
    const std::vector<std::string> first = module->take(7);
    ASSERT_EQ(first.size(), 7U);
    const std::string dropped = first.at(4);
    const auto all = ElementsAre(hello, word(24), word(23), list, dropped, state, stationList);
    EXPECT_THAT(first, all);

    const auto restart = [&] {
        while (!worker.isQuiet()) {
            std::this_thread::yield();
        }
        restartModule();
    };
    restart();
    clock.monotonic += 1000000;
    EXPECT_THAT(module->take(7), all) << "it is looked for once a second";

    restart();
    worker.informClientRemoved(other, statistics);
    EXPECT_THAT(module->take(7), ElementsAre(hello, word(24), word(23), list,
                                             word(11) + dropped.substr(4), state, stationList));
}

// Each of these calls would wait for a second, were it to wait for the answer.
TEST_F(RedirectorTest, NobodyWaitsForAModuleThatHangs) {
    module = nullptr;
    const ostrel::testing::FakeServer silent(path("redirector"));
    const auto begin = std::chrono::steady_clock::now();
    {
        RedirectorModuleWorker worker(portal);
        for (int event = 0; event < 40; ++event) {
            clock.monotonic += 10000000;
            worker.informClientDeuthenticated(client, statistics);
            worker.informClientAuthenticated(client, statistics);
            worker.insertWhiteList(
                std::make_shared<WhiteAddressesList>(std::to_string(event), "example.org"));
            EXPECT_EQ(worker.getProxyIPv4(), "0.0.0.0");
        }
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

// A record as text.
template <class Record>
std::string textOf(const Record& record) {
    return {record.begin(), record.end()};
}

TEST(RedirectorClientRecord, CutsTheNameToItsBoundAndHasZeroesForWhatCannotBeRead) {
    const std::string name = "abcdefghijklmnopqrstuvwxyz0123456789ABCDEF";
    EXPECT_EQ(textOf(makeClientRecord({}, name, "", 15)),
              zeros(6) + "abcdefghijklmno" + zeros(1 + 20 + 4));
    // Without a bound the reserved bytes are all there is.
    EXPECT_EQ(textOf(makeClientRecord({}, name, "", 1000)),
              zeros(6) + "abcdefghijklmnopqrstuvwxyz0123456789" + zeros(4));
    EXPECT_EQ(textOf(makeClientRecord(MacAddr("0a:1b:2c:3d:4e"), "", "10.1.2", 15)).substr(0, 6),
              zeros(6));
    EXPECT_EQ(textOf(makeClientRecord({}, "", "no address", 15)), zeros(46));
}

TEST(RedirectorNotification, HasANameOf16BytesAtMost) {
    const std::string datagram = std::string(16, '\xee') + zeros(6) + "abcdefghijklmnop" + zeros(8);
    ASSERT_EQ(datagram.size(), kNotificationSize);
    const auto* const bytes = reinterpret_cast<const unsigned char*>(datagram.data());
    EXPECT_EQ(readNotification(bytes).interfaceName, "abcdefghijklmnop");
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
