#include "portal/client_rounds.h"

#include <cstdint>

#include "auth/authenticator.h"
#include "core/logger.h"
#include "ostrel/clock.h"
#include "station/client_statistic_info.h"

namespace vesta {
namespace {

// Stands in log records behind the name of the operation.
constexpr int kScenariosExpiredRecord = 459;

// A client that has no access and never logged in has nothing to come back to.
bool isForgettable(const Client& client) {
    return !client.isAccessOpen() && !client.isAuthorized();
}

}  // namespace

void ClientRounds::checkClientsExpired() {
    updateClientsConnectionStatus();
    checkClientsScenarioExpired();
    freeAgeOutClients();
}

void ClientRounds::checkClientsWithoutStatistics() {
    for (const ClientPtr& client : stations_.table()) {
        if (client->isConnected()) {
            client->letTimePass();
        }
    }
    checkClientsScenarioExpired();
    freeAgeOutClients();
}

void ClientRounds::makeClientsPeriodicUpdate() {
    if (authenticator_ != nullptr) {
        authenticator_->authUnansweredUsers();
    }
    for (const ClientPtr& client : stations_.table()) {
        if (client->isAccessOpen()) {
            ClientStatisticInfo statistics = client->getStatistic();
            stations_.informators().informatorsHandle(client, statistics,
                                                      &Informator::informUpdateClient);
        }
    }
}

void ClientRounds::updateClientsConnectionStatus() {
    stations_.table().forEach([this](const ClientPtr& client) {
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

void ClientRounds::clientConnected(const ClientPtr& client) {
    ClientStatisticInfo statistics = client->getStatistic();
    stations_.informators().handleClientScenarioChange(client, statistics);
    if (!isForgettable(*client)) {
        return;
    }
    stations_.informators().informatorsHandle(client, statistics,
                                              &Informator::informClientConnected);
    if (authenticator_ != nullptr) {
        authenticator_->authConnectedUser(client);
    }
}

void ClientRounds::clientDisconnected(const ClientPtr& client) {
    if (isForgettable(*client)) {
        stations_.end(client, END_REASON_DISCONNECTED, Deauth::no);
        return;
    }
    ClientStatisticInfo statistics = client->getStatistic(END_REASON_DISCONNECTED);
    stations_.informators().informatorsHandle(client, statistics,
                                              &Informator::informClientDisconnected);
}

void ClientRounds::checkClientsScenarioExpired() {
    stations_.table().forEach([this](const ClientPtr& client) {
        if (!client->checkScenarioExpire() || stations_.move(client, kDeauthenticated)) {
            return;
        }
        logger().Warning("%s,%d,seems like scenario list is expired. Remove client %s!\n",
                         "checkClientsScenarioExpired", kScenariosExpiredRecord,
                         client->getMacAddress().c_str());
        stations_.end(client, END_REASON_TIME_EXPIRED, Deauth::yes);
    });
}

void ClientRounds::freeAgeOutClients() {
    const std::int64_t now = ostrel::monotonicSeconds();
    stations_.table().forEach([this, now](const ClientPtr& client) {
        const long awayTimeout = client->getAwayTimeout();
        const std::int64_t timeout = awayTimeout != 0 ? awayTimeout : ageTimeout_;
        if (timeout == 0 || timeout >= now - client->getLastUpdate()) {
            return;
        }
        logger().Debug("%s age timeout for client %s, erase it.\n", "freeAgeOutClients",
                       client->getMacAddress().c_str());
        stations_.end(client, END_REASON_TIME_EXPIRED, Deauth::no);
    });
}

}  // namespace vesta
