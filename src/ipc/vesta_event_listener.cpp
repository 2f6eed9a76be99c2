#include "ipc/vesta_event_listener.h"

#include <string>
#include <utility>
#include <vector>

#include "apb/apbd_collaborator.h"
#include "apb/apbd_dialect.h"
#include "core/json_entry.h"
#include "core/logger.h"
#include "core/optional_value.h"
#include "ipc/proxy_dialect.h"
#include "messages/dump_dialect.h"
#include "portal/portal.h"
#include "station/client_identity.h"
#include "station/command_info.h"

namespace vesta {
namespace {

constexpr const char* kGetAnswer = "{    \"command\": \"get-response\",    \"result\": 1,}";
constexpr const char* kRedirectAnswer =
    "{    \"command\": \"get-redirect-params-response\",    \"result\": 1,}";
constexpr const char* kDelClientAnswer = "{    \"command\": \"cp-del-client-response\",}";

using Entry = VestaEventListener::Entry;

// {"0": first, "1": second, ...}
Entry numbered(const std::vector<Entry>& entries) {
    auto object = std::make_shared<JsonEntry>("{}");
    std::size_t index = 0;
    for (const Entry& entry : entries) {
        object->insertObjectValue(std::to_string(index++).c_str(), entry);
    }
    return object;
}

// What stands behind the host of a URL and its "/".
std::string pathOf(const std::string& url) {
    const std::size_t scheme = url.find("://");
    if (scheme == std::string::npos) {
        return "";
    }
    const std::size_t slash = url.find('/', scheme + 3);
    return slash == std::string::npos ? "" : url.substr(slash + 1);
}

bool isFailed(MessageEntry& message) {
    return textOrEmpty(message, "status") == "failed";
}

}  // namespace

VestaEventListener::VestaEventListener(std::shared_ptr<Portal> portal,
                                       std::shared_ptr<APBDCollaborator> apbd)
    : portal_(portal), apbd_(std::move(apbd)), tinyproxy_(std::move(portal)) {}

Entry VestaEventListener::handleGetRedirectParams(Entry request) {
    const std::string client = request->getCharValue("client");
    const Entry dump = portal_->dumpClientToMessage(
        ClientIdentity({}, client, "", ""),
        std::make_shared<RedirectorClientMessageFactory>(kRedirectAnswer));
    if (dump == nullptr) {
        logger().Debug("%s can't found redirect url for client %s\n", "handleGetRedirectParams",
                       client.c_str());
        return std::make_shared<JsonEntry>(kRedirectAnswer);
    }
    const std::string location = portal_->getProxyUrl() + pathOf(textOrEmpty(*dump, "portal-url"));
    dump->insertStringValue("redirect-location", location.c_str());
    logger().Debug("%s going to return address %s\n", "handleGetRedirectParams", location.c_str());
    return dump;
}

Entry VestaEventListener::handleValidateIp(Entry request) {
    return tinyproxy_.handleValidateIp(request);
}

Entry VestaEventListener::handleValidate(Entry request) {
    return tinyproxy_.handleValidate(request);
}

Entry VestaEventListener::handleUpdate(Entry request) {
    return tinyproxy_.handleUpdate(request);
}

Entry VestaEventListener::handleUpdateScenario(Entry request) {
    return tinyproxy_.handleUpdateScenario(request);
}

Entry VestaEventListener::handleVestadState(Entry) {
    auto value = std::make_shared<JsonEntry>("{}");
    value->insertObjectValue(
        "clients",
        numbered(portal_->dumpClientsToMessages(std::make_shared<IPCDumpClientMessageFactory>())));
    value->insertObjectValue("instances",
                             numbered(portal_->dumpInstancesToMessages(
                                 std::make_shared<APBDPortalInstanceMessageFactory>())));
    auto answer = std::make_shared<JsonEntry>(kGetAnswer);
    answer->insertObjectValue("value", value);
    return answer;
}

Entry VestaEventListener::handleVestadStateScenarios(Entry request) {
    const std::string mac = textOrEmpty(*request, "mac");
    const std::string ssid = textOrEmpty(*request, "ssid");
    const auto factory = std::make_shared<IPCDumpClientScenariosMessageFactory>();
    std::vector<Entry> clients;
    if (mac.empty() || ssid.empty()) {
        clients = portal_->dumpScenariosToMessages(factory);
    } else if (Entry client = portal_->dumpScenariosToMessage(
                   factory, ClientIdentity(MacAddr(mac), "", "", ""), ssid)) {
        clients.push_back(std::move(client));
    }
    auto answer = std::make_shared<JsonEntry>(kGetAnswer);
    answer->insertObjectValue("value", numbered(clients));
    return answer;
}

Entry VestaEventListener::handleDelClient(Entry request) {
    const std::string interface = request->getCharValue("interface");
    ClientIdentity identity(MacAddr(request->getCharValue("mac")), "", "", "");
    portal_->disconnectClientFromInterface(interface, identity, CommandInfo());
    return std::make_shared<JsonEntry>(kDelClientAnswer);
}

void VestaEventListener::handleAPBConnectedResponce(Entry) {
    logger().Debug("Connected from apbd responce!\n");
    apbd_->connectedNotify();
}

void VestaEventListener::handleAPBDisconnectedResponce(Entry) {
    apbd_->disconnectedNotify();
}

void VestaEventListener::handleAPBSubscribeResponce(Entry message) {
    logger().Debug("Connect to apbd server responce!\n");
    if (isFailed(*message)) {
        logger().Warning("Try to connect to apbd server was failed!\n");
    }
    logger().Debug("APBD connection successfully established\n");
    apbd_->subscribedNotify(message);
}

void VestaEventListener::handleAPBAddResponce(Entry message) {
    handleAPBOperationStatus(*message, "add client");
}

void VestaEventListener::handleAPBUpdateResponce(Entry message) {
    handleAPBOperationStatus(*message, "update client");
}

void VestaEventListener::handleAPBDeleteResponce(Entry message) {
    handleAPBOperationStatus(*message, "delete client");
}

void VestaEventListener::handleAPBAddNotify(Entry message) {
    apbd_->handleAddClients(message);
}

void VestaEventListener::handleAPBUpdateNotify(Entry message) {
    apbd_->handleUpdateClients(message);
}

void VestaEventListener::handleAPBDeleteNotify(Entry message) {
    apbd_->handleDeleteClients(message);
}

void VestaEventListener::handleAPBOperationStatus(MessageEntry& message, const char* operation) {
    if (isFailed(message)) {
        logger().Warning("Try to %s on apbd server was failed!\n", operation);
    }
}

}  // namespace vesta
