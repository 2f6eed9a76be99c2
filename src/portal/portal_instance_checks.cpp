// The instance's periodic work: who came, who left, whose scenario ran out, who aged out.

#include "client/client.h"
#include "core/logger.h"
#include "ostrel/clock.h"
#include "portal/portal_instance.h"

namespace vesta {
namespace {

// A client that has no access and never logged in has nothing to come back to.
bool isForgettable(const Client& client) {
    return !client.isAccessOpen() && !client.isAuthorized();
}

}  // namespace

void PortalInstance::checkClientsExpired() {
    updateClientsConnectionStatus();
    checkClientsScenarioExpired();
    freeAgeOutClients();
}

void PortalInstance::makeClientsPeriodicUpdate() {
    if (authenticator_) {
        authenticator_->authUnansweredUsers();
    }
    for (const ClientPtr& client : clients_) {
        if (client->isAccessOpen()) {
            ClientStatisticInfo statistics = client->getStatistic();
            informatorsHandle(client, statistics, &Informator::informUpdateClient);
        }
    }
}

void PortalInstance::updateClientsConnectionStatus() {
    clients_.forEach([this](const ClientPtr& client) {
        if (!client->updateConnectStatus()) {
            return;
        }
        if (client->isConnected()) {
            clientConnected(client);
        } else {
            clientDisconnected(client);
        }
    });
}

void PortalInstance::clientConnected(const ClientPtr& client) {
    ClientStatisticInfo statistics = client->getStatistic();
    handleClientScenarioChange(client, statistics);
    if (isForgettable(*client)) {
        informatorsHandle(client, statistics, &Informator::informClientConnected);
        if (authMode_ == AUTH_MODE_PORTAL_MAC && authenticator_) {
            authenticator_->authConnectedUser(client);
        }
    }
}

void PortalInstance::clientDisconnected(const ClientPtr& client) {
    if (isForgettable(*client)) {
        removeClient(client, END_REASON_DISCONNECTED);
        return;
    }
    ClientStatisticInfo statistics = client->getStatistic(END_REASON_DISCONNECTED);
    informatorsHandle(client, statistics, &Informator::informClientDisconnected);
}

void PortalInstance::checkClientsScenarioExpired() {
    clients_.forEach([this](const ClientPtr& client) {
        if (!client->checkScenarioExpire() || set_deauth_scenario_client(client)) {
            return;
        }
        logger().Warning("%s,%d,seems like scenario list is expired. Remove client %s!\n",
                         "checkClientsScenarioExpired", 459, client->getMacAddress().c_str());
        client->disconnect_client();
        removeClient(client, END_REASON_TIME_EXPIRED);
    });
}

void PortalInstance::freeAgeOutClients() {
    const std::int64_t now = ostrel::monotonicSeconds();
    clients_.forEach([this, now](const ClientPtr& client) {
        const long awayTimeout = client->getAwayTimeout();
        const std::int64_t timeout = awayTimeout != 0 ? awayTimeout : ageTimeout_;
        if (timeout == 0 || timeout >= now - client->getLastUpdate()) {
            return;
        }
        logger().Debug("%s age timeout for client %s, erase it.\n", "freeAgeOutClients",
                       client->getMacAddress().c_str());
        removeClient(client, END_REASON_TIME_EXPIRED);
    });
}

}  // namespace vesta
