#include "records.h"

#include <memory>
#include <nlohmann/json.hpp>

#include "apb/apbd_dialect.h"
#include "client/client.h"
#include "scenario/manageable_scenario_sequence.h"
#include "stations.h"
#include "support/fake_portal_instance.h"
#include "support/keyed_scenarios.h"

namespace vesta::bench {
namespace {

using Json = nlohmann::json;

// A record has the scenarios from the third on, so these are three. The station is in the first of
// them.
std::unique_ptr<Client> roamingClient(std::size_t station, PortalInstanceInterface& owner) {
    auto client = std::make_unique<Client>(
        testing::sequence<ManageableScenarioSequence>(
            {R"({"id": 0, "type": "forbid", "name": "login", "url": "http://portal.example/login",
                 "auth": "guest"})",
             R"({"id": 1, "type": "allow", "name": "trial"})",
             R"({"id": 2, "type": "allow", "name": "guest", "session": 86400, "time": 86400,
                 "away": 3600, "traffic": 2000000000, "tx-speed": 2048, "rx-speed": 512})",
             R"({"id": 3, "type": "allow", "name": "slow", "session": 86400, "time": 86400,
                 "away": 3600, "traffic": 2000000000, "tx-speed": 256, "rx-speed": 64})",
             R"({"id": 4, "type": "forbid", "name": "over", "url": "http://portal.example/over"})"}),
        MacAddr(macOf(station)), ipOf(station), 1500, owner);
    client->setLogin(loginOf(station));
    client->set_auth_scenario_client();
    return client;
}

template <class Factory>
Json recordOf(std::size_t station) {
    testing::FakePortalInstance owner;
    owner.ssid = ssidOf(0);
    const auto record = roamingClient(station, owner)->dumpToMessage(std::make_shared<Factory>());
    return Json::parse(record->getStringRepresentation());
}

}  // namespace

std::string subscriptionAnswer(std::size_t first, std::size_t count) {
    Json users = Json::array();
    for (std::size_t i = first; i < first + count; ++i) {
        users.push_back(recordOf<APBDClientMessageFactory>(i));
    }
    return Json{{"command", "subscribe-response"}, {"status", "success"}, {"user", users}}.dump();
}

std::string addNotify(std::size_t station) {
    return Json{{"command", "add-notify"}, {"user", recordOf<APBDClientMessageFactory>(station)}}
        .dump();
}

std::string updateNotify(std::size_t station) {
    return Json{{"command", "update-notify"},
                {"action", "update"},
                {"user", recordOf<APBDUpdateClientMessageFactory>(station)}}
        .dump();
}

std::string delNotify(std::size_t station) {
    return Json{{"command", "del-notify"},
                {"user", recordOf<APBDUpdateClientMessageFactory>(station)}}
        .dump();
}

}  // namespace vesta::bench
