#include "client/client_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "client/client.h"
#include "scenario/scenario_sequence.h"
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

// The table as it is defined: a list that is searched from its start.
struct Model {
    struct Entry {
        ClientPtr client;
        bool everConnected;
    };

    template <class Matches>
    [[nodiscard]] ClientPtr first(Matches matches) const {
        const auto found = std::find_if(entries.begin(), entries.end(), matches);
        return found != entries.end() ? found->client : nullptr;
    }

    std::vector<Entry> entries;
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
    Model model;
    std::vector<ClientPtr> removed;

    for (int step = 0; step < 20000; ++step) {
        const std::size_t action = below(5);
        if (model.entries.empty() || (action == 0 && model.entries.size() < 90)) {
            // Some come back as they were.
            ClientPtr client = make(oneOf(macs), oneOf(ips));
            if (!removed.empty() && below(3) == 0) {
                client = removed.back();
                removed.pop_back();
            }
            table_.add(client);
            model.entries.push_back({client, client->isConnected()});
        } else {
            const std::size_t index = below(model.entries.size());
            const ClientPtr client = model.entries[index].client;
            if (action == 1 && below(2) == 0) {
                table_.erase(client);
                model.entries.erase(model.entries.begin() + static_cast<std::ptrdiff_t>(index));
                removed.push_back(client);
                client->setLogin(oneOf(logins));
            } else if (action == 2) {
                client->setIpAddress(oneOf(ips));
            } else if (action == 3) {
                client->setLogin(oneOf(logins));
            } else if (action == 4) {
                setConnected(*client, below(2) == 0);
                model.entries[index].everConnected |= client->isConnected();
            }
        }
        const ClientIdentity identity(MacAddr(oneOf(macs)), oneOf(ips), "", oneOf(logins));
        const auto means = [&](const auto& entry) { return entry.client->isThatYou(identity); };
        const auto meansHere = [&](const auto& entry) {
            return means(entry) && entry.client->isConnected();
        };
        const auto neverConnected = [](const auto& entry) { return !entry.everConnected; };
        SCOPED_TRACE(step);
        ASSERT_EQ(table_.find(identity), model.first(means));
        ASSERT_EQ(table_.findConnected(identity), model.first(meansHere));
        ASSERT_EQ(table_.oldestNeverConnected(), model.first(neverConnected));
        ASSERT_EQ(table_.neverConnectedCount(),
                  std::count_if(model.entries.begin(), model.entries.end(), neverConnected));
    }
    ASSERT_TRUE(std::equal(
        table_.begin(), table_.end(), model.entries.begin(), model.entries.end(),
        [](const ClientPtr& left, const Model::Entry& right) { return left == right.client; }));
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

}  // namespace
}  // namespace vesta
