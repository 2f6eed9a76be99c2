#include "ipc/tinyproxy_collaborator.h"

#include <string>
#include <utility>
#include <vector>

#include "core/data_parser.h"
#include "core/json_entry.h"
#include "core/logger.h"
#include "ipc/proxy_dialect.h"
#include "kernel/kernel_white_list_store.h"
#include "portal/portal.h"
#include "scenario/access_scenario_constraints.h"
#include "scenario/scenario.h"
#include "scenario/scenario_factory.h"
#include "station/client_identity.h"
#include "whitelist/white_addresses_list.h"

namespace vesta {
namespace {

constexpr const char* kValidateIpDump =
    "{    \"command\": \"validate-ip-response\",    \"status\": 1,    \"use-captcha\": \"down\",  "
    "  \"proxy-mode\": \"usual\"}";
constexpr const char* kClientNotFound =
    "{    \"command\": \"validate-ip-response\",    \"result\": 0,    \"reason\": \"Client not "
    "found\",}";
constexpr const char* kValidateIpAnswer =
    "{    \"command\": \"validate-ip-response\",    \"result\": 1,}";
constexpr const char* kValidateAnswer =
    "{    \"command\": \"validate-response\",    \"result\": 1,}";
constexpr const char* kUpdateAnswer = "{    \"command\": \"update-response\",    \"result\": 1,}";
constexpr const char* kUpdateScenarioAnswer =
    "{    \"command\": \"update-scenario-response\",    \"result\": 1,}";
constexpr const char* kUpdateScenarioFailure =
    "{    \"command\": \"update-scenario-response\",    \"result\": 0,    \"reason\": \"Parse "
    "message failed\",}";

std::shared_ptr<MessageEntry> makeAnswer(const char* text) {
    return std::make_shared<JsonEntry>(text);
}

ClientIdentity identityOf(MessageEntry& params) {
    return ClientIdentity({}, params.getCharValue("ipaddr"), "", "");
}

std::string passwordOf(MessageEntry& params) {
    try {
        return params.getCharValue("password");
    } catch (const ENTRY_EXCEPTION_TYPE&) {
        logger().Debug("%s receive request without password\n", "handleValidate");
        return "";
    }
}

// The proxy sends a text; portals in front of it have been seen to put a number there.
std::string scenarioOf(MessageEntry& params) {
    constexpr const char* kKey = "cur-scenario-id";
    try {
        return params.getCharValue(kKey);
    } catch (const ENTRY_EXCEPTION_TYPE& reason) {
        if (reason != ENTRY_WRONG_TYPE) {
            throw;
        }
        return DataParser::objectToString(params.getIntValue(kKey));
    }
}

std::vector<std::shared_ptr<MessageEntry>> announcedLists(
    TinyproxyWhiteListExtractor& extractor, const std::shared_ptr<MessageEntry>& params) {
    try {
        return extractor.extractAllWhiteLists(params);
    } catch (const ENTRY_EXCEPTION_TYPE& reason) {
        if (reason != ENTRY_NOT_FOUND) {
            throw;
        }
        return {};
    }
}

// The scenarios of the same request may name these lists by their hashes.
void loadWhiteLists(IWhiteAddressesListsStore& store, const std::shared_ptr<MessageEntry>& params) {
    TinyproxyWhiteListExtractor extractor;
    for (const auto& entry : announcedLists(extractor, params)) {
        try {
            const std::string values = extractor.extractWhiteListValue(entry);
            store.addStationList(std::make_shared<WhiteAddressesList>("", values));
        } catch (const ENTRY_EXCEPTION_TYPE&) {
            logger().Warning("White list without values, don't use it\n");
        }
    }
}

std::vector<std::shared_ptr<Scenario>> buildScenarios(
    const std::shared_ptr<IWhiteAddressesListsStore>& store, MessageEntry& params) {
    const auto extractor = std::make_shared<TinyproxyScenarioMessageExtractor>(store);
    std::vector<std::shared_ptr<Scenario>> scenarios;
    for (const auto& entry : params.getArrayValue("scenarios")) {
        if (auto scenario = ScenarioFactory::buildScenario(entry, extractor)) {
            logger().Debug("Collect scenario from\n");
            scenarios.push_back(std::move(scenario));
        }
    }
    return scenarios;
}

}  // namespace

TinyproxyCollaborator::TinyproxyCollaborator(std::shared_ptr<Portal> portal)
    : portal_(std::move(portal)) {}

TinyproxyCollaborator::Entry TinyproxyCollaborator::handleValidateIp(const Entry& request) {
    const ClientIdentity identity = identityOf(*request->getObjectValue("params"));
    const Entry client = portal_->dumpClientToMessage(
        identity, std::make_shared<TinyproxyClientMessageFactory>(kValidateIpDump));
    if (client == nullptr) {
        return makeAnswer(kClientNotFound);
    }
    const std::string proxyIp = portal_->getProxyIp();
    client->insertStringValue("nas-ip", proxyIp.c_str());
    client->insertStringValue("ap-ip-alias", proxyIp.c_str());
    Entry answer = makeAnswer(kValidateIpAnswer);
    answer->insertObjectValue("params", client);
    return answer;
}

TinyproxyCollaborator::Entry TinyproxyCollaborator::handleValidate(const Entry& request) {
    const Entry params = request->getObjectValue("params");
    ClientIdentity identity = identityOf(*params);
    const std::string login = params->getCharValue("login");
    portal_->authenticateClient(identity, login, passwordOf(*params));
    return makeAnswer(kValidateAnswer);
}

TinyproxyCollaborator::Entry TinyproxyCollaborator::handleUpdate(const Entry& request) {
    const Entry params = request->getObjectValue("params");
    ClientIdentity identity = identityOf(*params);
    const std::string scenario = scenarioOf(*params);
    AccessScenarioConstraints constraints(
        params, std::make_shared<TinyproxyScenarioMessageExtractor>(portal_->getWhiteListStore()));
    portal_->setClientScenario(identity, scenario, constraints);
    return makeAnswer(kUpdateAnswer);
}

TinyproxyCollaborator::Entry TinyproxyCollaborator::handleUpdateScenario(const Entry& request) {
    try {
        const Entry params = request->getObjectValue("params");
        ClientIdentity identity = identityOf(*params);
        const std::shared_ptr<IWhiteAddressesListsStore> store = portal_->getWhiteListStore();
        loadWhiteLists(*store, params);
        std::vector<std::shared_ptr<Scenario>> scenarios = buildScenarios(store, *params);
        portal_->addClientScenarios(identity, scenarios);
        return makeAnswer(kUpdateScenarioAnswer);
    } catch (const ENTRY_EXCEPTION_TYPE&) {
        logger().Warning("%s message parsing gone wrong\n", "handleUpdateScenario");
        return makeAnswer(kUpdateScenarioFailure);
    }
}

}  // namespace vesta
