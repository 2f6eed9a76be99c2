#pragma once

// The daemon's side of the exchange with apbd, which shares authorised stations between the access
// points of a mobility domain. This build doesn't synchronise: the collaborator is always as it is
// where the configuration switches it off, so it remembers nobody, sends nothing and ignores what
// apbd says.
//
// Threads: any thread may call any operation.

#include <memory>

#include "core/message_entry.h"
#include "inform/informator.h"
#include "messages/client_information_store.h"

class IpcInterface;

namespace vesta {

class Portal;

class APBDCollaborator final : public Informator, public ClientInformationStore {
public:
    // Reads "captive-portal"."apbd"."enabled" of the configuration document.
    APBDCollaborator(std::shared_ptr<MessageEntry> config, std::shared_ptr<IpcInterface> ipc,
                     std::shared_ptr<Portal> portal);

    std::shared_ptr<MessageEntry> getMessageForClient(
        const ClientInformationIdentity& identity) override;
    void updateState() override {}

    // apbd is there, and is gone again.
    void connectedNotify() {}
    void disconnectedNotify() {}
    // apbd's answer to the subscription, whatever its status.
    void subscribedNotify(std::shared_ptr<MessageEntry>) {}
    // Stations that came, changed or went on other access points.
    void handleAddClients(std::shared_ptr<MessageEntry>) {}
    void handleUpdateClients(std::shared_ptr<MessageEntry>) {}
    void handleDeleteClients(std::shared_ptr<MessageEntry>) {}
};

}  // namespace vesta
