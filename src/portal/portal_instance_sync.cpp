// What other access points know about the instance's stations: how they come in by a record, and
// how a copy is taken away that their news made wrong.

#include "client/client.h"
#include "core/logger.h"
#include "messages/client_message_extractor.h"
#include "portal/portal_instance.h"
#include "scenario/scenario_sequence.h"
#include "scenario/scenario_sequence_factory.h"

namespace vesta {

bool PortalInstance::addClient(std::shared_ptr<MessageEntry> message,
                               std::shared_ptr<ClientMessageExtractor> extractor,
                               const std::string& ip, unsigned int value) {
    const std::string mac = extractor->extractMac(message);
    const ClientIdentity identity(mac, ip, "", "");
    if (identity.mac.isZero()) {
        return false;
    }
    if (clients_.find(identity)) {
        logger().Warning("%s,%d,client '%s' is already exsists. Don't do anything\n", "addClient",
                         227, identity.to_string().c_str());
        return true;
    }
    const ClientPtr client = restoreClient(message, extractor, mac, ip, value);
    insertClient(client);
    ClientStatisticInfo statistics = client->getStatistic();
    handleClientScenarioChange(client, statistics);
    return true;
}

// Records carry the scenarios from the third on. A station in one of the first two, or whose record
// holds no usable scenario, goes on in this instance's own.
PortalInstance::ClientPtr PortalInstance::restoreClient(
    const std::shared_ptr<MessageEntry>& message,
    const std::shared_ptr<ClientMessageExtractor>& extractor, const std::string& mac,
    const std::string& ip, unsigned int value) {
    constexpr unsigned int kFirstCarriedId = 2;
    if (extractor->extractCurrentScenarioId(message) >= kFirstCarriedId) {
        try {
            return std::make_shared<Client>(message, extractor, mac, ip, value, owner_);
        } catch (ENTRY_EXCEPTION_TYPE) {
            logger().Debug("%s: record of client %s holds no usable scenario\n", "restoreClient",
                           mac.c_str());
        }
    }
    return std::make_shared<Client>(sequences_->buildManageable(), message, *extractor, mac, ip,
                                    value, owner_);
}

bool PortalInstance::removeClientWhen(RemoveWhen condition, const ClientIdentity& identity,
                                      const CommandInfo& command) {
    const ClientPtr client = clients_.find(identity);
    if (!client) {
        return true;
    }
    const bool due = condition == RemoveWhen::always ||
                     (condition == RemoveWhen::disconnected && !client->isConnected()) ||
                     (condition == RemoveWhen::unauthorised && !client->isAuthorized());
    if (due) {
        removeClient(client, command.getEndReason());
    }
    return due;
}

}  // namespace vesta
