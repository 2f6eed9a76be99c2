#include "kernel/redirector_module_worker.h"

#include "kernel/redirector_fixture.h"
#include "kernel/redirector_module_helper.h"
#include "kernel/redirector_records.h"

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
    EXPECT_TRUE(worker.handle());
    const std::string hello = word(13) + word(getpid());
    const std::string dropped = module->take().at(4);

    restartModule();
    EXPECT_TRUE(worker.handle());
    EXPECT_THAT(module->take(), IsEmpty()) << "it is looked for once a second";
    clock.monotonic += 1000000;
    EXPECT_TRUE(worker.handle());
    EXPECT_THAT(module->take(),
                ElementsAre(hello, word(24), word(23), list, dropped, word(8) + clientRecordBytes(),
                            word(19) + clientRecordBytes().substr(0, 22) + word(1)));

    restartModule();
    worker.informClientRemoved(other, statistics);
    worker.informClientAuthenticated(client, statistics);
    EXPECT_THAT(module->take(),
                ElementsAre(hello, word(11) + dropped.substr(4), word(9) + clientRecordBytes()));
    for (int pass = 0; pass < 2; ++pass) {
        clock.monotonic += 1000000;
        EXPECT_TRUE(worker.handle());
    }
    EXPECT_THAT(module->take(),
                ElementsAre(word(24), word(23), list, word(9) + clientRecordBytes()))
        << "once";
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
