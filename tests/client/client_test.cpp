#include "client/client_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <random>
#include <set>

#include "client/client.h"
#include "scenario/manageable_scenario_sequence.h"
#include "support/fake_portal_instance.h"
#include "support/keyed_scenarios.h"

namespace vesta {
namespace {

using ClientPtr = ClientTable::ClientPtr;
using testing::FakePortalInstance;
using testing::sequence;

class ClientTableTest : public ::testing::Test {
protected:
    ClientPtr make(const std::string& mac, const std::string& ip) {
        return std::make_shared<Client>(
            sequence<ScenarioSequence>(
                {R"({"type": "allow", "id": 0, "name": "a", "deauth": ""})"}),
            MacAddr(mac), ip, 1500, owner_);
    }

    static void setConnected(Client& client, bool connected) {
        if (connected) {
            ClientStatisticInfo record;
            client.updateStatistic(record);
        }
        client.updateConnectStatus();
    }

    FakePortalInstance owner_;
    ClientTable table_;
};

TEST_F(ClientTableTest, AnswersAsALinearSearchThroughAnythingThatHappens) {
    // Enough addresses to fill a hash table; else few keys, so that nearly every client shares one.
    std::vector<std::string> macs = {"bad"};
    for (int i = 10; i < 90; ++i) {
        macs.push_back("02:00:00:00:00:" + std::to_string(i));
    }
    const std::vector<std::string> ips = {"", "10.0.0.1", "10.0.0.2", "10.0.0.3"};
    const std::vector<std::string> logins = {"", "guest", "anna", "bob"};
    std::mt19937 random(20241);
    const auto below = [&random](std::size_t limit) { return random() % limit; };
    const auto oneOf = [&below](const std::vector<std::string>& texts) {
        return texts[below(texts.size())];
    };
    // The table as it is defined: a list that is searched from its start.
    std::vector<ClientPtr> list;
    std::set<ClientPtr> everConnected;  // since they came
    const auto first = [&list](const auto& matches) {
        const auto found = std::find_if(list.begin(), list.end(), matches);
        return found != list.end() ? *found : nullptr;
    };
    std::vector<ClientPtr> removed;

    for (int step = 0; step < 20000; ++step) {
        const std::size_t action = below(5);
        if (list.empty() || (action == 0 && list.size() < 90)) {
            // Some come back as they were.
            ClientPtr client = make(oneOf(macs), oneOf(ips));
            if (!removed.empty() && below(3) == 0) {
                client = removed.back();
                removed.pop_back();
            }
            table_.add(client);
            list.push_back(client);
        }
        const std::size_t index = below(list.size());
        const ClientPtr client = list[index];
        if (action == 1 && below(2) == 0) {
            table_.erase(client);
            list.erase(list.begin() + static_cast<std::ptrdiff_t>(index));
            everConnected.erase(client);
            removed.push_back(client);
            client->setLogin(oneOf(logins));
        } else if (action == 2) {
            client->setIpAddress(oneOf(ips));
        } else if (action == 3) {
            client->setLogin(oneOf(logins));
        } else if (action == 4) {
            setConnected(*client, below(2) == 0);
        }
        std::copy_if(list.begin(), list.end(), std::inserter(everConnected, everConnected.end()),
                     [](const ClientPtr& each) { return each->isConnected(); });
        const ClientIdentity identity(MacAddr(oneOf(macs)), oneOf(ips), "", oneOf(logins));
        const auto means = [&](const ClientPtr& each) { return each->isThatYou(identity); };
        const auto meansHere = [&](const ClientPtr& each) {
            return means(each) && each->isConnected();
        };
        const auto neverConnected = [&](const ClientPtr& each) {
            return everConnected.count(each) == 0;
        };
        SCOPED_TRACE(step);
        ASSERT_EQ(table_.find(identity), first(means));
        ASSERT_EQ(table_.findConnected(identity), first(meansHere));
        ASSERT_EQ(table_.oldestNeverConnected(), first(neverConnected));
        ASSERT_EQ(table_.neverConnectedCount(), list.size() - everConnected.size());
    }
    ASSERT_TRUE(std::equal(table_.begin(), table_.end(), list.begin(), list.end()));
}

TEST_F(ClientTableTest, VisitsEveryClientThatIsStillThere) {
    std::vector<ClientPtr> clients;
    for (int i = 0; i < 5; ++i) {
        clients.push_back(make("02:00:00:00:00:0" + std::to_string(i), ""));
        table_.add(clients.back());
    }
    std::vector<ClientPtr> visited;
    table_.forEach([&](const ClientPtr& client) {
        visited.push_back(client);
        if (client == clients[0]) {
            table_.erase(clients[1]);
            table_.erase(clients[0]);
        }
        if (client == clients[3]) {
            table_.erase(clients[2]);
            table_.erase(clients[4]);
        }
    });
    EXPECT_EQ(visited, (std::vector<ClientPtr>{clients[0], clients[2], clients[3]}));
    EXPECT_EQ(table_.size(), 1U);
    EXPECT_TRUE(table_.contains(*clients[3]));
    EXPECT_FALSE(table_.contains(*clients[0]));
    table_.erase(clients[0]);
    EXPECT_EQ(table_.size(), 1U);
}

TEST_F(ClientTableTest, LetsClientsOutliveIt) {
    const ClientPtr client = make("02:00:00:00:00:01", "10.0.0.1");
    {
        ClientTable table;
        table.add(client);
    }
    client->setIpAddress("10.0.0.2");
    setConnected(*client, true);
    table_.add(client);
    EXPECT_EQ(table_.findConnected({MacAddr(), "10.0.0.2", "", ""}), client);
    EXPECT_EQ(table_.neverConnectedCount(), 0U);
}

TEST(Client, HasTheListOfItsScenarioAndClearsTheLastExpiryForScenarioZero) {
    FakePortalInstance owner;
    Client client(sequence<ManageableScenarioSequence>(
                      {R"({"type": "allow", "id": 0, "name": "guest"})",
                       R"({"type": "forbid", "id": 1, "name": "login", "white-list": "list",
                 "white-list-data": ""})"}),
                  MacAddr("0a:1b:2c:3d:4e:5f"), "", 1500, owner);
    const auto guest = client.get_current_scenario();
    EXPECT_FALSE(client.setCurrentScenario("0")) << "a redirect scenario has no reason";
    EXPECT_EQ(client.get_current_scenario(), guest);
    EXPECT_EQ(client.getWhiteIpListId(), "free") << "the instance's default";
    EXPECT_TRUE(client.setCurrentScenario("login"));
    EXPECT_EQ(client.getWhiteIpListId(), "list");
    EXPECT_TRUE(client.setCurrentScenario("0"));
    EXPECT_EQ(guest->getExpireReason(), "cleared");
    EXPECT_EQ(client.get_current_scenario()->getScenarioName(), "login");
}

}  // namespace
}  // namespace vesta
