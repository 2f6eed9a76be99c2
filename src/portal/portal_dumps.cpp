// What the portal tells of its instances and of their clients.

#include "client/portal_instance_interface.h"
#include "core/logger.h"
#include "messages/client_message_factory.h"
#include "messages/portal_instance_message_factory.h"
#include "portal/portal.h"
#include "station/client_identity.h"

namespace vesta {
namespace {

using Entries = std::vector<std::shared_ptr<MessageEntry>>;

void append(Entries& all, Entries more) {
    all.insert(all.end(), std::make_move_iterator(more.begin()),
               std::make_move_iterator(more.end()));
}

}  // namespace

std::shared_ptr<MessageEntry> Portal::dumpClientToMessage(
    const ClientIdentity& identity, std::shared_ptr<ClientMessageFactory> factory) const {
    for (const Instance& instance : instances_) {
        if (auto message = instance->dumpClientToMessage(identity, factory)) {
            if (logger().isDebug()) {
                logger().Debug("%s,%d,For client identity '%s'\n", "dumpClientToMessage", 520,
                               identity.to_string().c_str());
            }
            return message;
        }
    }
    logger().Warning("%s,%d,Client with identity '%s' not founded\n", "dumpClientToMessage", 530,
                     identity.to_string().c_str());
    return nullptr;
}

Entries Portal::dumpInstancesToMessages(
    std::shared_ptr<PortalInstanceMessageFactory> factory) const {
    Entries all;
    for (const Instance& instance : instances_) {
        all.push_back(instance->dumpToMessage(factory));
    }
    return all;
}

Entries Portal::dumpClientsToMessages(std::shared_ptr<ClientMessageFactory> factory) const {
    Entries all;
    for (const Instance& instance : instances_) {
        append(all, instance->dumpClientsToMessages(factory));
    }
    return all;
}

Entries Portal::dumpScenariosToMessages(std::shared_ptr<ClientMessageFactory> factory) const {
    Entries all;
    for (const Instance& instance : instances_) {
        append(all, instance->dumpScenariosToMessages(factory));
    }
    return all;
}

std::shared_ptr<MessageEntry> Portal::dumpScenariosToMessage(
    std::shared_ptr<ClientMessageFactory> factory, const ClientIdentity& identity,
    const std::string& ssid) const {
    const PortalInstanceInterface::PortalFindBySsid serves(ssid);
    for (const Instance& instance : instances_) {
        if (serves(instance)) {
            if (auto message = instance->dumpScenariosToMessage(factory, identity)) {
                return message;
            }
        }
    }
    return nullptr;
}

}  // namespace vesta
