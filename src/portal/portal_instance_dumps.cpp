// What an instance tells of itself and of its clients.

#include "client/client.h"
#include "messages/client_message_factory.h"
#include "messages/portal_instance_message_factory.h"
#include "portal/portal_instance.h"

namespace vesta {

std::shared_ptr<MessageEntry> PortalInstance::dumpToMessage(
    std::shared_ptr<PortalInstanceMessageFactory> factory) const {
    factory->createMessage();
    factory->addSsid(ssid_);
    factory->addRadiusDomain(domain_);
    factory->addApLocation(apLocation_);
    return factory->getResultMessage();
}

std::shared_ptr<MessageEntry> PortalInstance::dumpClientToMessage(
    const ClientIdentity& identity, std::shared_ptr<ClientMessageFactory> factory) const {
    // Of two stations with one address, the one that is here now is the one that is meant.
    const ClientPtr connected = findConnectedClient(identity);
    const ClientPtr client = connected ? connected : clients_.find(identity);
    return client ? client->dumpToMessage(factory) : nullptr;
}

std::vector<std::shared_ptr<MessageEntry>> PortalInstance::dumpClientsToMessages(
    std::shared_ptr<ClientMessageFactory> factory) const {
    std::vector<std::shared_ptr<MessageEntry>> messages;
    messages.reserve(clients_.size());
    for (const ClientPtr& client : clients_) {
        if (auto message = client->dumpToMessage(factory)) {
            messages.push_back(std::move(message));
        }
    }
    return messages;
}

std::vector<std::shared_ptr<MessageEntry>> PortalInstance::dumpScenariosToMessages(
    std::shared_ptr<ClientMessageFactory> factory) const {
    std::vector<std::shared_ptr<MessageEntry>> messages;
    messages.reserve(clients_.size());
    for (const ClientPtr& client : clients_) {
        if (auto message = client->dumpScenarioToMessage(factory)) {
            messages.push_back(std::move(message));
        }
    }
    return messages;
}

std::shared_ptr<MessageEntry> PortalInstance::dumpScenariosToMessage(
    std::shared_ptr<ClientMessageFactory> factory, const ClientIdentity& identity) const {
    const ClientPtr client = clients_.find(identity);
    return client ? client->dumpScenarioToMessage(factory) : nullptr;
}

}  // namespace vesta
