#include "apb/portal_changes.h"

#include "apb/apbd_dialect.h"
#include "apb/domain_news.h"
#include "core/logger.h"
#include "kernel/kernel_white_list_store.h"
#include "portal/portal.h"
#include "station/client_identity.h"
#include "station/command_info.h"
#include "whitelist/white_addresses_list.h"

namespace vesta {
namespace {

ClientIdentity identityOf(const ClientInformationIdentity& key) {
    ClientIdentity identity;
    identity.mac = key.mac;
    return identity;
}

}  // namespace

void removeUnauthorised(Portal& portal, const std::vector<ClientInformationIdentity>& keys) {
    for (const ClientInformationIdentity& key : keys) {
        portal.removeClientFrom(key.ssid, identityOf(key), RemoveWhen::unauthorised,
                                CommandInfo(END_REASON_APBD_REQUEST));
    }
}

void disconnectStation(Portal& portal, const ClientInformationIdentity& key) {
    ClientIdentity identity = identityOf(key);
    portal.disconnectClientFrom(key.ssid, identity, CommandInfo(END_REASON_APBD_REQUEST));
}

bool removeCopies(Portal& portal, const ClientInformationIdentity& key,
                  const std::string& keptVap) {
    return portal.removeClientFrom(key.ssid, identityOf(key), RemoveWhen::disconnected,
                                   CommandInfo(END_REASON_APBD_REQUEST), keptVap);
}

void takeWhiteLists(Portal& portal, const std::shared_ptr<MessageEntry>& message) {
    APBWhiteListExtractor extractor;
    std::vector<std::shared_ptr<MessageEntry>> lists;
    try {
        lists = extractor.extractAllWhiteLists(message);
    } catch (ENTRY_EXCEPTION_TYPE problem) {
        if (problem == ENTRY_WRONG_TYPE) {
            logUnexpectedMessage(*message);
        }
        return;
    }
    logger().Debug("Receive %d permited ip lists\n", static_cast<int>(lists.size()));
    const auto store = portal.getWhiteListStore();
    const auto instances = std::make_shared<APBPortalInstanceMessageExtractor>(store);
    for (const std::shared_ptr<MessageEntry>& list : lists) {
        try {
            const std::string values = extractor.extractWhiteListValue(list);
            if (!values.empty()) {
                store->addWhiteList(std::make_shared<WhiteAddressesList>("", values));
            }
            portal.updatePortalInstance(list, instances);
        } catch (ENTRY_EXCEPTION_TYPE) {
            logger().Warning("White list without values, don't use it\n");
        }
    }
}

}  // namespace vesta
