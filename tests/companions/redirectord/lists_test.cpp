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
    int giveList(int number, std::uint32_t list) {
        return daemon_
            ->ask(Request::stationList, bytesOf(*ostrel::parseMac(station(number).mac)) +
                                            DaemonSide::padded(station(number).device) +
                                            bytesOf(list))
            .result;
    }
    // A list in two pieces, the second without its id, then the station's state and list.
    void tellEverything() {
        EXPECT_EQ(addNames(Request::addDomains, 3, "www.free.example"), 0);
        EXPECT_EQ(addNames(Request::addPatterns, 0, "*.cdn.example"), 0);
        EXPECT_EQ(daemon_->tell(Request::captive, station(1)), 0);
        EXPECT_EQ(giveList(1, 3), 0);
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

TEST_F(ListsTest, a_long_answer_comes_by_tcp) {
    run(Layout::routed);
    tellEverything();
    const std::string cut = lookUp(station(1).space, "big.cdn.example", dns::kTxt);
    ASSERT_GT(cut.size(), 12U);
    EXPECT_NE(cut[2] & 0x02, 0) << "the mark of a cut answer";
    EXPECT_GT(lookUpByTcp(station(1).space, "big.cdn.example", dns::kTxt).size(), 4000U);
    EXPECT_NE(lookUpByTcp(station(1).space, "big.cdn.example", dns::kA), "");
    EXPECT_EQ(reach(1, 443, kBig), 0);
}

TEST_F(ListsTest, subnets_serve_without_names) {
    run(Layout::routed);
    const auto subnet = [](const char* address, const char* mask) {
        return bytesOf(*ostrel::parseIpv4(address)) + bytesOf(*ostrel::parseIpv4(mask));
    };
    std::string chunk = bytesOf(std::uint32_t{1}) + bytesOf(std::uint32_t{2}) +
                        subnet("198.51.100.8", "255.255.255.254") +
                        subnet("198.51.100.0", "255.255.0.255");
    chunk.resize(1032);
    EXPECT_EQ(daemon_->ask(Request::addAddresses, chunk).result, -EINVAL) << "the second has holes";
    EXPECT_EQ(addNames(Request::addPatterns, 1, "2001:db8::/64"), 0);
    EXPECT_EQ(giveList(1, 1), 0);
    EXPECT_EQ(reach(1, 443, kCdn), 0);
    EXPECT_EQ(reach(1, 443, kOther), 0);
    EXPECT_EQ(reach(1, 443, kFree6), 0);
    EXPECT_EQ(reach(1, 443, kFree), ECONNREFUSED);
}

TEST_F(ListsTest, the_forwarder_serves_stations_alone_and_cuts_floods) {
    run(Layout::routed);
    EXPECT_EQ(askFrom(net_->internet, "192.0.2.2", 8053), ETIMEDOUT);
    EXPECT_EQ(connectFrom(net_->internet, "192.0.2.2", 8053, Milliseconds(300)).error, ETIMEDOUT);
    const Endpoint resolver(kResolver, 53);
    const ostrel::Fd flood = station(1).space.inside(
        [] { return ostrel::Fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)); });
    const std::string query = dns::query(7, "www.free.example");
    for (int i = 0; i < 20000; ++i) {
        sendto(flood.get(), query.data(), query.size(), 0, resolver.get(), resolver.size);
    }
    EXPECT_NE(lookUp(station(2).space, "www.free.example"), "") << "another station";
    int answers = 0;
    for (std::array<char, 512> buffer{}; readableWithin(flood.get(), Milliseconds(50)); ++answers) {
        static_cast<void>(recv(flood.get(), buffer.data(), buffer.size(), 0));
    }
    EXPECT_GT(answers, 20);
    EXPECT_LT(answers, 2000);
}

}  // namespace
}  // namespace vesta::testing
