#include "support.h"

namespace ostrel::testing {
namespace {

constexpr auto kStatusType = LIBRAD_RADIUS_ATTR_ACCT_STATUS_TYPE;
constexpr auto kTimestamp = LIBRAD_RADIUS_ATTR_EVENT_TIMESTAMP;
constexpr auto kDelay = LIBRAD_RADIUS_ATTR_ACCT_DELAY_TIME;
enum Status : std::uint32_t { start = 1, stop = 2, update = 3, on = 7 };
using Kinds = std::vector<std::uint32_t>;

using Station = std::unique_ptr<librad_radius_sta_info, decltype(&librad_free_radius_sta)>;

Station makeStation(std::uint8_t last = 0x22) {
    Station sta(librad_allocate_radius_sta(), librad_free_radius_sta);
    const std::uint8_t mac[6] = {0xaa, 0xbb, 0xcc, 0x00, 0x11, last};
    librad_radius_sta_set_mac(sta.get(), mac);
    return sta;
}

std::string sessionOf(const Station& sta) {
    char text[18];
    std::snprintf(text, sizeof text, "%08X-%08X", sta->acctSessionIdHigh, sta->acctSessionIdLow);
    return text;
}

librad_radius_sta_stats traffic(std::uint64_t rx, std::uint64_t tx, std::int32_t uptime = 0) {
    librad_radius_sta_stats stats;
    stats.rxBytes = rx;
    stats.txBytes = tx;
    stats.uptime = uptime;
    return stats;
}

class Accounting : public ClientTest {
protected:
    Accounting() { makeClient(); }

    void send(librad_radius_msg* msg, librad_radius_client* client) {
        ASSERT_NE(msg, nullptr);
        ASSERT_TRUE(librad_radius_msg_add_attr(msg, LIBRAD_RADIUS_ATTR_NAS_IDENTIFIER, "nas", 3));
        ASSERT_EQ(librad_radius_client_send(client, msg, LIBRAD_RADIUS_ACCT, nullptr), 0);
    }
    void sendStart(const Station& sta) {
        send(librad_create_accounting_sta_start(&config_, sta.get()), client_);
    }
    void sendStop(const Station& sta) {
        send(librad_create_accounting_sta_stop(&config_, sta.get(), nullptr), client_);
    }
    // A station whose Start the server has.
    Station startedStation(std::uint8_t last = 0x22) {
        Station sta = makeStation(last);
        sendStart(sta);
        acknowledgeAll();
        return sta;
    }

    // The next record, whose signature must be right.
    std::optional<Packet> receive() {
        auto packet = server_.receive();
        if (packet) {
            EXPECT_EQ(packet->bytes, sign(packet->bytes));
        }
        return packet;
    }
    // Acknowledges every record that comes, and returns their kinds.
    Kinds acknowledgeAll() {
        Kinds kinds;
        while (const auto packet = receive()) {
            server_.answer(*packet, 5);
            kinds.push_back(packet->number(kStatusType));
        }
        return kinds;
    }
    // Lets time pass, and returns the kinds of the records that are sent meanwhile.
    Kinds sentWithin(int seconds) {
        Kinds kinds;
        for (int i = 0; i < seconds; ++i) {
            clock_.advance(kSecond);
            while (const auto packet = receive()) {
                kinds.push_back(packet->number(kStatusType));
            }
        }
        return kinds;
    }
    auto owed() const { return librad_radius_client_get_spool(client_); }

    LoopClock clock_;
};

TEST(StationCounters, CountOneSessionAndNeverFall) {
    const struct {
        const char* what;
        std::optional<librad_radius_sta_stats> before;
        std::vector<librad_radius_sta_stats> during;
        std::vector<std::uint32_t> input;  // after each record
    } courses[] = {
        {"from the last record before the Start", traffic(500, 0), {traffic(700, 0)}, {200}},
        {"never told before", {}, {traffic(700, 0)}, {700}},
        {"a new driver", traffic(500, 9), {traffic(800, 9), traffic(50, 9)}, {300, 350}},
        {"one direction tells it", traffic(500, 900), {traffic(600, 100)}, {600}},
        {"the uptime tells it", traffic(500, 9, 60), {traffic(600, 9, 5)}, {600}},
        {"zeros say nothing",
         traffic(500, 9),
         {traffic(800, 9), traffic(0, 0), traffic(900, 9)},
         {300, 300, 400}}};
    librad_radius_client_config config;
    config.acctServers.emplace_back();
    for (const auto& course : courses) {
        const Station sta = makeStation();
        const auto inputAfter = [&](const librad_radius_sta_stats& stats) {
            Packet packet;
            packet.msg.reset(librad_create_accounting_sta_update(&config, sta.get(), &stats));
            return packet.number(LIBRAD_RADIUS_ATTR_ACCT_INPUT_OCTETS);
        };
        if (course.before) {
            librad_radius_sta_set_counters(sta.get(), &*course.before);
        }
        Message(librad_create_accounting_sta_start(&config, sta.get()));
        for (std::size_t i = 0; i < course.during.size(); ++i) {
            EXPECT_EQ(inputAfter(course.during[i]), course.input[i]) << course.what;
        }
        // A second login on the same association bills nothing twice.
        Message(librad_create_accounting_sta_stop(&config, sta.get(), nullptr));
        Message(librad_create_accounting_sta_start(&config, sta.get()));
        EXPECT_EQ(inputAfter(course.during.back()), 0U) << course.what;
    }
}

TEST_F(Accounting, AnnouncesItselfOnceToAServerBeforeTheFirstStartOfAnyClient) {
    librad_radius_client* other = librad_radius_client_init(&config_);
    const Station first = makeStation(1);
    const Station second = makeStation(2);
    sendStart(first);
    send(librad_create_accounting_sta_start(&config_, second.get()), other);
    const Packet announcement = receive().value();
    EXPECT_EQ(announcement.number(kStatusType), on);
    EXPECT_EQ(announcement.text(LIBRAD_RADIUS_ATTR_NAS_IDENTIFIER), "nas");
    EXPECT_FALSE(receive());  // both wait
    server_.answer(announcement, 5);
    EXPECT_EQ(acknowledgeAll(), (Kinds{start, start}));
    sendStop(first);
    sendStart(first);
    EXPECT_EQ(acknowledgeAll(), (Kinds{stop, start}));
    librad_radius_client_deinit(other);
}

TEST_F(Accounting, KeepsTheOrderOfASessionAndRepeatsOnlyItsLastUpdate) {
    EXPECT_EQ(librad_create_accounting_sta_update(&config_, makeStation().get(), nullptr), nullptr);
    EXPECT_EQ(librad_create_accounting_sta_stop(&config_, makeStation().get(), nullptr), nullptr);
    const Station sta = startedStation();
    EXPECT_EQ(librad_create_accounting_sta_start(&config_, sta.get()), nullptr);
    for (int i = 0; i < 3; ++i) {
        send(librad_create_accounting_sta_update(&config_, sta.get(), nullptr), client_);
        EXPECT_EQ(outstanding(LIBRAD_RADIUS_ACCT), 1U);
    }
    sendStop(sta);
    EXPECT_EQ(outstanding(LIBRAD_RADIUS_ACCT), 1U);
}

TEST_F(Accounting, DoesNotLoseSessionsToAServerThatIgnoresTheAnnouncement) {
    const Station sta = makeStation();
    sendStart(sta);
    sendStop(sta);
    const Kinds kinds = sentWithin(32);
    ASSERT_FALSE(kinds.empty());
    EXPECT_EQ(kinds.front(), on);
    EXPECT_EQ(kinds.back(), stop);  // the Start went back when the Stop came
    EXPECT_EQ(std::count(kinds.begin(), kinds.end(), start), 0);
}

TEST_F(Accounting, RepeatsWithRaisedDelayNewIdentifierAndAuthenticator) {
    startedStation();
    const Station sta = makeStation(3);
    sendStart(sta);
    const Packet first = receive().value();
    clock_.advance(5 * kSecond / 2);
    const Packet second = receive().value();
    EXPECT_NE(first.id(), second.id());
    EXPECT_NE(first.authenticator(), second.authenticator());
    EXPECT_EQ(first.number(kDelay), 0U);
    EXPECT_EQ(second.number(kDelay), 2U);
    EXPECT_EQ(second.number(kTimestamp), first.number(kTimestamp));
    // A wrong answer is none, an answer to the first transmission is as good as one to the second.
    server_.answer(first, 5, Mac::none, "", "another secret");
    EXPECT_EQ(outstanding(LIBRAD_RADIUS_ACCT), 1U);
    server_.answer(first, 5);
    EXPECT_EQ(outstanding(LIBRAD_RADIUS_ACCT), 0U);
}

TEST_F(Accounting, OwesStopsUntilTheServerIsBackAndSendsOneThatIsIgnoredLast) {
    const Station poison = startedStation(1);
    const Station good = startedStation(2);
    const std::string poisoned = sessionOf(poison);
    const std::string fine = sessionOf(good);
    sendStop(poison);
    sentWithin(1);
    sendStop(good);
    sentWithin(31);
    EXPECT_EQ(owed().count, 2U);
    // A later Stop of a station that has one owed already stands in line behind it.
    sendStart(poison);
    const std::string later = sessionOf(poison);
    sendStop(poison);
    EXPECT_EQ(owed().count, 3U);

    const std::int64_t back = clock_.wall / kSecond;
    sentWithin(1);
    std::vector<std::string> answered;
    int ignored = 0;
    for (int i = 0; i < 600 && answered.size() < 3; ++i) {
        clock_.advance(kSecond);
        while (const auto packet = receive()) {
            const auto session = packet->text(LIBRAD_RADIUS_ATTR_ACCT_SESSION_ID);
            EXPECT_LE(packet->number(kTimestamp), back);
            EXPECT_EQ(packet->number(kTimestamp) + packet->number(kDelay), clock_.wall / kSecond);
            if (session == poisoned && answered.empty()) {
                ++ignored;
            } else if (packet->number(kStatusType) == stop) {
                answered.push_back(session);
                server_.answer(*packet, 5);
            }
        }
    }
    EXPECT_GE(ignored, 10);
    EXPECT_EQ(answered, (std::vector<std::string>{fine, poisoned, later}));
    EXPECT_EQ(owed().count, 0U);
    EXPECT_EQ(sentWithin(120), Kinds{});

    sendStop(startedStation());
    sentWithin(3600);
    EXPECT_EQ(owed().oldestSeconds, 3600);
    EXPECT_FALSE(sentWithin(60).empty());
}

}  // namespace
}  // namespace ostrel::testing
