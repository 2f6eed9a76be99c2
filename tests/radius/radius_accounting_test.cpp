// What the accounting server hears of a session.

#include <map>

#include "station/client_statistic_info.h"
#include "worker_fixture.h"

namespace vesta {
namespace {

using ostrel::testing::Packet;
using testing::WorkerTest;

enum StatusType { start = 1, stop = 2, interim = 3, accountingOn = 7 };

class AccountingTest : public WorkerTest {
protected:
    void buildAccounting(const std::string& more = R"(, "acct-periodic": true,
                                                      "acct-interval": 60)") {
        build(AUTH_MODE_LOCAL, RADIUS_WORKMODE_ACCOUNTING, more);
    }

    // The next record that is no Accounting-On, answered. It has these numbers.
    Packet record(const std::map<std::uint8_t, std::uint32_t>& numbers = {}) {
        Packet packet = request();
        server_.answer(packet, LIBRAD_RADIUS_CODE_ACCOUNTING_RESPONSE);
        if (packet.number(LIBRAD_RADIUS_ATTR_ACCT_STATUS_TYPE) == accountingOn) {
            return record(numbers);
        }
        for (const auto& [type, value] : numbers) {
            EXPECT_EQ(packet.number(type), value) << int{type};
        }
        return packet;
    }
    std::shared_ptr<Client> newConnected(const std::string& login = "bob") {
        const auto client = newClient(login);
        client->updateStatistic(none_);
        client->updateConnectStatus();
        return client;
    }
    // A session that runs, its Start taken off.
    std::shared_ptr<Client> newSession() {
        const auto client = newConnected();
        EXPECT_TRUE(worker_->informClientAuthenticated(client, none_));
        record();
        return client;
    }
    static ClientStatisticInfo counters(unsigned long long rx, unsigned long long tx, long uptime,
                                        EndReason reason = END_REASON_NONE) {
        const auto packets = [](unsigned long long bytes) {
            return static_cast<unsigned int>(bytes / 100);
        };
        return {"", {}, rx, tx, packets(rx), packets(tx), 0, 0, 0, 0, 0, uptime, 0, reason};
    }

    ClientStatisticInfo none_;
};

TEST_F(AccountingTest, TellsASessionFromItsStartToItsStop) {
    buildAccounting();
    const auto client = newConnected();
    const std::string session = client->getSessionId();
    client->getRadiusSta()->classes = {"gold", "plus"};
    worker_->noteStatistic(*client, counters(1000, 500, 10));  // before the login
    EXPECT_TRUE(worker_->informClientAuthenticated(client, none_));
    const Packet begin = record({{LIBRAD_RADIUS_ATTR_ACCT_STATUS_TYPE, start}});
    EXPECT_EQ(begin.text(LIBRAD_RADIUS_ATTR_ACCT_SESSION_ID), session);

    // The first update is due a full interval after the Start.
    clock_.advanceSeconds(59);
    ClientStatisticInfo now = counters(3000, 600, 69);
    EXPECT_TRUE(worker_->informUpdateClient(client, now));
    EXPECT_TRUE(isSilent());
    clock_.advanceSeconds(1);
    EXPECT_TRUE(worker_->informUpdateClient(client, now));
    record({{LIBRAD_RADIUS_ATTR_ACCT_STATUS_TYPE, interim},
            {LIBRAD_RADIUS_ATTR_ACCT_INPUT_OCTETS, 2000},  // sent by the station
            {LIBRAD_RADIUS_ATTR_ACCT_OUTPUT_OCTETS, 100},
            {LIBRAD_RADIUS_ATTR_ACCT_INPUT_PACKETS, 20},
            {LIBRAD_RADIUS_ATTR_ACCT_OUTPUT_PACKETS, 1},
            {LIBRAD_RADIUS_ATTR_ACCT_SESSION_TIME, 60}});
    EXPECT_TRUE(worker_->informUpdateClient(client, now));
    EXPECT_TRUE(isSilent());

    client->setLogin("eve");  // typed meanwhile; the session is still bob's
    now = counters(1000 + 0x300000002, 700, 70, END_REASON_TIME_EXPIRED);
    EXPECT_TRUE(worker_->informClientDeuthenticated(client, now));
    const Packet end = record({{LIBRAD_RADIUS_ATTR_ACCT_STATUS_TYPE, stop},
                               {LIBRAD_RADIUS_ATTR_EVENT_TIMESTAMP, 1700000060},
                               {LIBRAD_RADIUS_ATTR_ACCT_INPUT_OCTETS, 2},
                               {LIBRAD_RADIUS_ATTR_ACCT_INPUT_GIGAWORDS, 3},
                               {LIBRAD_RADIUS_ATTR_ACCT_OUTPUT_OCTETS, 200},
                               {LIBRAD_RADIUS_ATTR_ACCT_OUTPUT_GIGAWORDS, 0},
                               {LIBRAD_RADIUS_ATTR_ACCT_TERMINATE_CAUSE, 5}});
    EXPECT_EQ(end.text(LIBRAD_RADIUS_ATTR_ACCT_SESSION_ID), session);
    EXPECT_EQ(end.text(LIBRAD_RADIUS_ATTR_USER_NAME), "bob");
    EXPECT_EQ(librad_radius_msg_get_classes(end.msg.get()),
              (std::vector<std::string>{"gold", "plus"}));
    EXPECT_NE(client->getSessionId(), session);
}

// The scenario's figures, which come with the end, may be older than the driver's.
TEST_F(AccountingTest, SaysWhyASessionEndedAndBillsNothingTwice) {
    const std::pair<EndReason, std::uint32_t> cases[] = {
        {END_REASON_NONE, 0},         {END_REASON_APBD_REQUEST, 4}, {END_REASON_RADIUS_REQUEST, 10},
        {END_REASON_TIME_EXPIRED, 5}, {END_REASON_DISCONNECTED, 1}, {static_cast<EndReason>(5), 0}};
    buildAccounting();
    for (const auto& [reason, cause] : cases) {
        const auto client = newSession();
        worker_->noteStatistic(*client, counters(8000, 0, 20));
        ClientStatisticInfo stale = counters(5000, 0, 15, reason);
        EXPECT_TRUE(worker_->informClientDisconnected(client, stale));
        record({{LIBRAD_RADIUS_ATTR_ACCT_INPUT_OCTETS, 8000},
                {LIBRAD_RADIUS_ATTR_ACCT_TERMINATE_CAUSE, cause}});
    }
}

TEST_F(AccountingTest, SendsNothingWithoutASession) {
    buildAccounting();
    ClientStatisticInfo now = counters(1, 1, 1);
    EXPECT_FALSE(worker_->informClientAuthenticated(newConnected(""), now));
    const auto away = newClient();
    EXPECT_TRUE(worker_->informClientAuthenticated(away, now));
    EXPECT_TRUE(worker_->informClientDeuthenticated(away, now));
    EXPECT_FALSE(worker_->informUpdateClient(away, now));
    EXPECT_FALSE(worker_->informClientDisconnected(away, now));
    EXPECT_FALSE(worker_->informClientRemoved(away, now));
    EXPECT_FALSE(worker_->informClientAuthenticated(newSession(), now));  // started already
    EXPECT_TRUE(isSilent());
}

TEST_F(AccountingTest, SendsNoUpdatesUnlessTheyAreConfigured) {
    for (const char* const more : {R"(, "acct-periodic": false, "acct-interval": 60)",
                                   R"(, "acct-periodic": true, "acct-interval": -1)", ""}) {
        buildAccounting(more);
        const auto client = newSession();
        clock_.advanceSeconds(1000);
        EXPECT_TRUE(worker_->informUpdateClient(client, none_));
        EXPECT_TRUE(isSilent());
    }
}

TEST_F(AccountingTest, FindsTheStationOfASessionAsLongAsThatIsItsSession) {
    buildAccounting();
    const auto client = newSession();
    const std::string id = client->getSessionId();
    const auto found = [](const std::string& session) {
        ClientIdentity identity({}, "", session, "");
        return RadiusWorker::fillClientIdentityOnAcctId(identity) ? identity.mac.to_string() : "";
    };
    EXPECT_EQ(found(id), client->getMacAddress());
    for (const std::string& bad :
         {std::string(), id + "0", id.substr(1), " " + id.substr(1),
          id.substr(0, 8) + "+" + id.substr(9), id.substr(0, 9) + "0x00000F"}) {
        EXPECT_EQ(found(bad), "") << bad;
    }
    worker_->informClientDeuthenticated(client, none_);
    EXPECT_EQ(found(id), "");
    EXPECT_EQ(found(client->getSessionId()), client->getMacAddress());
}

TEST_F(AccountingTest, HandsOutTheAccountingSecretFirst) {
    for (const auto& [workmode, secret] : {std::pair(RADIUS_WORKMODE_AUTHENTICATION, "s3cret"),
                                           {RADIUS_WORKMODE_ACCOUNTING, "other"},
                                           {RADIUS_WORKMODE_BOTH, "other"}}) {
        build(AUTH_MODE_RADIUS, workmode, R"(, "acct-password": "other")");
        const RadiusSharedKey key = worker_->getRadiusSharedKey();
        EXPECT_EQ(std::string(key.first, key.first + key.second), secret);
    }
}

}  // namespace
}  // namespace vesta
