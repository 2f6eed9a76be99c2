// White lists and names, with real packets and a real name server.

#include <gmock/gmock.h>

#include <chrono>

#include "forwarding.h"
#include "name_server.h"
#include "redirectord/dns_message.h"
#include "redirectord/features.h"

namespace vesta::testing {
namespace {

using redirectord::StationKey;
using ::testing::HasSubstr;
using ::testing::Not;

class NamesTest : public NetworkTest {
protected:
    void SetUp() override {
        NetworkTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        net_ = std::make_unique<AccessPointNetwork>();
        net_->ap.run(kWayToServices);
        web_ = serverSocket(net_->internet, SOCK_STREAM, "::", 443);
        server_ = std::make_unique<NameServer>(net_->internet);
    }

    [[nodiscard]] const NetNamespace& station(int number = 1) const {
        return net_->station(number).space;
    }
    [[nodiscard]] StationKey key(int number = 1) const {
        const SimulatedStation& one = net_->station(number);
        return StationKey::of(one.device, *ostrel::parseColonMac(one.mac));
    }
    [[nodiscard]] std::string ask(const std::string& name, unsigned int type = dns::kA,
                                  const char* resolver = kResolver, int number = 1) const {
        return lookUp(station(number), name, type, resolver);
    }
    [[nodiscard]] std::string askByTcp(const std::string& name, unsigned int type) const {
        const Connection made = connectFrom(station(), kResolver, 53);
        const std::string query = dns::query(4711, name, type);
        const std::string sent = dns::word(static_cast<unsigned int>(query.size())) + query;
        EXPECT_EQ(made.error, 0);
        send(made.fd.get(), sent.data(), sent.size(), MSG_NOSIGNAL);
        std::string answer;
        while (answer.size() < 2 || answer.size() < 2U + redirectord::dnsIdOf(answer)) {
            std::array<char, 4096> buffer{};
            const ssize_t size = readableWithin(made.fd.get(), std::chrono::seconds(3))
                                     ? recv(made.fd.get(), buffer.data(), buffer.size(), 0)
                                     : 0;
            if (size <= 0) {
                return "";
            }
            answer.append(buffer.data(), static_cast<std::size_t>(size));
        }
        return answer.substr(2);
    }
    [[nodiscard]] int reach(const char* address, int number = 1) const {
        return connectFrom(station(number), address, 443).error;
    }
    [[nodiscard]] std::string rules() const {
        return net_->ap.output("nft list table netdev vesta");
    }

    std::unique_ptr<AccessPointNetwork> net_;
    ostrel::Fd web_;
    std::unique_ptr<NameServer> server_;
};

TEST_F(NetworkTest, a_kernel_that_takes_the_ruleset_lacks_no_feature) {
    const NetNamespace space;
    space.inside([] {
        redirectord::Nft nft;
        ASSERT_TRUE(nft.run(redirectord::baseRuleset())) << nft.error();
        EXPECT_THAT(redirectord::missingFeatures(nft), ::testing::IsEmpty()) << nft.error();
    });
}

TEST_F(NamesTest, the_first_connection_after_the_first_answer_works) {
    Forwarding forwarding(*net_);
    forwarding.tell(key(), {"www.free.example", "shop.example"});

    EXPECT_EQ(reach(kFree), ECONNREFUSED) << "before its name was asked for";
    EXPECT_EQ(redirectord::dnsIdOf(ask("www.free.example")), 4711);
    EXPECT_EQ(reach(kFree), 0);
    EXPECT_NE(ask("www.free.example", dns::kAaaa, kResolver6), "");
    EXPECT_EQ(reach(kFree6), 0);
    EXPECT_NE(ask("shop.example"), "");
    EXPECT_EQ(reach(kCdn), 0) << "an alias";

    EXPECT_NE(ask("other.example"), "");
    EXPECT_EQ(reach(kOther), ECONNREFUSED) << "a name of no list";
    EXPECT_EQ(reach(kFree, 2), ECONNREFUSED) << "a station without a list";

    const std::string sets = rules();
    EXPECT_THAT(sets, HasSubstr("198.51.100.7 timeout 11m expires"));
    EXPECT_THAT(sets, HasSubstr("198.51.100.8 timeout 2m expires"));
}

TEST_F(NamesTest, a_long_answer_comes_by_tcp) {
    Forwarding forwarding(*net_);
    forwarding.tell(key(), {"*.free.example"});
    const std::string cut = ask("big.free.example", dns::kTxt);
    ASSERT_GT(cut.size(), redirectord::kDnsHeaderSize);
    EXPECT_NE(cut[2] & 0x02, 0) << "the mark of a cut answer";
    EXPECT_GT(askByTcp("big.free.example", dns::kTxt).size(), 4000U);
    EXPECT_NE(askByTcp("big.free.example", dns::kA), "");
    EXPECT_EQ(reach(kBig), 0);
}

TEST_F(NamesTest, a_list_that_is_told_anew_is_never_missing) {
    auto forwarding = std::make_unique<Forwarding>(*net_);
    forwarding->tell(key(), {"www.free.example"});
    ASSERT_NE(ask("www.free.example"), "");
    forwarding->call([&] { forwarding->lists().clearLists(); });
    EXPECT_EQ(reach(kFree), 0) << "cleared, not told yet";
    forwarding->tell(key(), {"www.free.example", "other.example"}, 2);
    EXPECT_EQ(reach(kFree), 0) << "another list that has the name";
    ASSERT_NE(ask("other.example"), "");
    EXPECT_EQ(reach(kOther), 0);

    forwarding.reset();
    EXPECT_EQ(reach(kFree), 0) << "without redirectord";
    forwarding = std::make_unique<Forwarding>(*net_);
    EXPECT_EQ(reach(kFree), 0) << "redirectord is back";
    forwarding->call([&] { forwarding->lists().clearLists(); });
    forwarding->tell(key(), {"other.example", "www.free.example"}, 7);
    EXPECT_EQ(reach(kFree), 0) << "the same content under another id";
    EXPECT_EQ(reach(kOther), 0);

    forwarding->call([&] { forwarding->lists().forgetStation(key()); });
    EXPECT_EQ(reach(kFree), ECONNREFUSED);
    EXPECT_THAT(rules(), Not(HasSubstr("jump list_")));
}

TEST_F(NamesTest, a_list_that_is_told_no_more_ends_after_the_grace) {
    auto forwarding = std::make_unique<Forwarding>(*net_);
    forwarding->tell(key(1), {"www.free.example"}, 1);
    forwarding->tell(key(2), {"other.example"}, 2);
    forwarding.reset();
    EXPECT_THAT(rules(), HasSubstr("\"va2\" . 02:00:00:00:01:02 : jump list_"));

    forwarding = std::make_unique<Forwarding>(*net_);
    forwarding->call([&] { forwarding->lists().clearLists(); });
    forwarding->tell(key(1), {"www.free.example"}, 1);
    while (rules().find("va2\" . 02") != std::string::npos) {
    }
    const std::string left = rules();
    EXPECT_THAT(left, HasSubstr("\"va1\" . 02:00:00:00:01:01 : jump list_"));
    EXPECT_EQ(left.find("chain list_"), left.rfind("chain list_")) << "one list is left";
}

TEST_F(NamesTest, a_station_that_becomes_captive_keeps_its_list_only_if_it_is_told_again) {
    Forwarding forwarding(*net_);
    forwarding.tell(key(1), {"www.free.example"});
    forwarding.tell(key(2), {"www.free.example"});
    forwarding.call([&] {
        forwarding.lists().awaitStationList(key(1));
        forwarding.lists().awaitStationList(key(2));
        EXPECT_EQ(forwarding.lists().setStationList(key(2), 1), 0);
    });
    while (rules().find("va1\" . 02") != std::string::npos) {
    }
    EXPECT_THAT(rules(), HasSubstr("\"va2\" . 02:00:00:00:01:02 : jump list_"));
}

TEST_F(NamesTest, a_flood_of_queries_is_cut_at_the_device) {
    Forwarding forwarding(*net_);
    forwarding.tell(key(1), {"www.free.example"});
    const Endpoint resolver(kResolver, 53);
    const ostrel::Fd flood =
        station(1).inside([] { return ostrel::Fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)); });
    const std::string query = dns::query(7, "www.free.example");
    for (int i = 0; i < 20000; ++i) {
        sendto(flood.get(), query.data(), query.size(), 0, resolver.get(), resolver.size);
    }
    EXPECT_NE(ask("www.free.example", dns::kA, kResolver, 2), "") << "another station";
    int answers = 0;
    for (std::array<char, 512> buffer{}; readableWithin(flood.get(), std::chrono::milliseconds(50));
         ++answers) {
        static_cast<void>(recv(flood.get(), buffer.data(), buffer.size(), 0));
    }
    EXPECT_GT(answers, 20);
    EXPECT_LT(answers, 2000);
}

TEST_F(NamesTest, the_forwarder_is_there_for_stations_alone) {
    Forwarding forwarding(*net_);
    EXPECT_EQ(askFrom(net_->internet, "192.0.2.2", 8053), ETIMEDOUT);
    EXPECT_EQ(connectFrom(net_->internet, "192.0.2.2", 8053, std::chrono::milliseconds(300)).error,
              ETIMEDOUT);
    EXPECT_EQ(connectFrom(station(1), "10.77.1.1", 8053).error, 0);
}

TEST_F(NamesTest, elements_that_somebody_removed_cost_one_change) {
    Forwarding forwarding(*net_);
    forwarding.tell(key(), {"www.free.example"});
    net_->ap.run("nft flush map netdev vesta lists");
    forwarding.call([&] {
        EXPECT_EQ(forwarding.lists().addDomains(2, {"other.example"}), 0);
        EXPECT_EQ(forwarding.lists().setStationList(key(), 2), -ENOENT);
        EXPECT_EQ(forwarding.lists().setStationList(key(), 2), 0);
    });
    ASSERT_NE(ask("other.example"), "");
    EXPECT_EQ(reach(kOther), 0);
}

TEST_F(NamesTest, subnets_serve_without_names) {
    Forwarding forwarding(*net_);
    const auto told = [&](const char* address, const char* mask) {
        return redirectord::Ipv4Range{*ostrel::parseIpv4(address), *ostrel::parseIpv4(mask)};
    };
    forwarding.call([&] {
        EXPECT_EQ(forwarding.lists().addAddresses(1, {told("198.51.100.8", "255.255.255.254"),
                                                      told("198.51.100.0", "255.255.0.255")}),
                  -EINVAL);
        EXPECT_EQ(forwarding.lists().addPatterns(1, {"2001:db8::/64"}), 0);
        EXPECT_EQ(forwarding.lists().setStationList(key(), 1), 0);
    });
    EXPECT_EQ(reach(kCdn), 0);
    EXPECT_EQ(reach(kOther), 0);
    EXPECT_EQ(reach(kFree6), 0);
    EXPECT_EQ(reach(kFree), ECONNREFUSED);
}

}  // namespace
}  // namespace vesta::testing
