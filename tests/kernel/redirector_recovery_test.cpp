#include "kernel/redirector_fixture.h"
#include "kernel/redirector_module_worker.h"

namespace vesta::testing {
namespace {

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

}  // namespace
}  // namespace vesta::testing
