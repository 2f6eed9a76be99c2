// White lists and names as vestad tells them to the real program.

#include "name_server.h"
#include "service_fixture.h"

namespace vesta::testing {
namespace {

class ListsTest : public ServiceTest {
protected:
    void run(Layout layout) {
        build(layout);
        net_->ap.run(kWayToServices);
        server_ = std::make_unique<NameServer>(net_->internet);
        redirector_->process().end(SIGTERM);
        startAgain();
    }
    void startAgain() {
        redirector_->start({"--dns-server", "192.0.2.1"});
        daemon_ = std::make_unique<DaemonSide>();
    }
    int addNames(Request kind, std::uint32_t list, const std::string& names) {
        std::string chunk = bytesOf(list) + names;
        chunk.resize(1032);
        return daemon_->ask(kind, chunk).result;
    }
    // A list in two pieces, the second without its id, then the station's state and list.
    void tellEverything() {
        EXPECT_EQ(addNames(Request::addDomains, 3, "www.free.example"), 0);
        EXPECT_EQ(addNames(Request::addPatterns, 0, "*.cdn.example"), 0);
        EXPECT_EQ(daemon_->tell(Request::captive, station(1)), 0);
        EXPECT_EQ(daemon_
                      ->ask(Request::stationList, bytesOf(*ostrel::parseMac(station(1).mac)) +
                                                      DaemonSide::padded(station(1).device) +
                                                      bytesOf(std::uint32_t{3}))
                      .result,
                  0);
    }
    void checkWhatIsAllowed() {
        EXPECT_EQ(reach(1, 443, kFree), 0);
        EXPECT_EQ(reach(1, 443, kFree6), 0);
        EXPECT_EQ(reach(1, 443, kCdn), 0);
        EXPECT_EQ(reach(1, 443, kOther), ECONNREFUSED);
        EXPECT_EQ(reach(2, 443, kFree), ECONNREFUSED);
    }

    std::unique_ptr<NameServer> server_;
};

TEST_F(ListsTest, names_are_open_from_the_first_answer_on_and_through_restarts) {
    for (const Layout layout : {Layout::routed, Layout::bridged}) {
        run(layout);
        tellEverything();
        EXPECT_EQ(reach(1, 443, kFree), ECONNREFUSED);
        ASSERT_NE(lookUp(station(1).space, "www.free.example"), "");
        EXPECT_EQ(reach(1, 443, kFree), 0);
        ASSERT_NE(lookUp(station(1).space, "www.free.example", dns::kAaaa, kResolver6), "");
        ASSERT_NE(lookUp(station(1).space, "shop.example"), "");
        ASSERT_NE(lookUp(station(1).space, "other.example"), "");
        checkWhatIsAllowed();

        redirector_->process().end(SIGKILL);
        checkWhatIsAllowed();
        startAgain();
        checkWhatIsAllowed();
        EXPECT_EQ(daemon_->ask(Request::forgetStations).result, 0);
        EXPECT_EQ(daemon_->ask(Request::forgetLists).result, 0);
        checkWhatIsAllowed();
        tellEverything();
        checkWhatIsAllowed();
        EXPECT_EQ(daemon_->tell(Request::forget, station(1)), 0);
        EXPECT_EQ(reach(1, 443, kFree), ECONNREFUSED);
    }
}

}  // namespace
}  // namespace vesta::testing
