#include "apb/apbd_collaborator.h"

#include "core/logger.h"

namespace vesta {
namespace {

std::shared_ptr<MessageEntry> apbdSection(MessageEntry& config) {
    try {
        return config.getObjectValue("captive-portal")->getObjectValue("apbd");
    } catch (const ENTRY_EXCEPTION_TYPE&) {
        return nullptr;
    }
}

bool isEnabled(MessageEntry& section) {
    try {
        return section.getBoolValue("enabled");
    } catch (const ENTRY_EXCEPTION_TYPE&) {
        return false;
    }
}

}  // namespace

APBDCollaborator::APBDCollaborator(std::shared_ptr<MessageEntry> config,
                                   std::shared_ptr<IpcInterface>, std::shared_ptr<Portal>) {
    const std::shared_ptr<MessageEntry> section = apbdSection(*config);
    if (section == nullptr) {
        logger().Debug("No apbd part in configuration!\n");
    } else if (!isEnabled(*section)) {
        logger().Debug("APB not enabled. Clients not gonna be synced over APs\n");
    } else {
        logger().Warning(
            "\"apbd\" is enabled, but this build can't synchronise clients with other access "
            "points\n");
    }
}

std::shared_ptr<MessageEntry> APBDCollaborator::getMessageForClient(
    const ClientInformationIdentity&) {
    return nullptr;
}

}  // namespace vesta
