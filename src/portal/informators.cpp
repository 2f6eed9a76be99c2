#include "portal/informators.h"

#include <exception>
#include <utility>

#include "client/client.h"
#include "core/logger.h"

namespace vesta {

Informators::Informators(std::shared_ptr<Informator> accounting, std::shared_ptr<Informator> shaper,
                         const SharedInformators& shared) {
    // A session starts before its first byte passes. When a station goes, this one frees its
    // accounting record: nobody behind it may ask the client for its session id.
    add(std::move(accounting));
    // The speed limits are on their way before the first byte passes: each module is told on a
    // thread of its own.
    add(std::move(shaper));
    // Here the station's traffic begins to pass, or ends.
    add(shared.redirector);
    // The monitoring daemon is told what has been done, not what is about to be.
    add(shared.traps);
    // The Wi-Fi driver is told last of this access point's parts: it shows a station as authorised
    // when its traffic passes.
    add(shared.wifiAuth);
    // Behind them comes the apbd collaborator, which needs the finished portal and is added to it
    // by addClientsEventsInformator(): other access points learn of a state that holds here.
}

void Informators::add(std::shared_ptr<Informator> informator) {
    if (informator) {
        informators_.push_back(std::move(informator));
    }
}

void Informators::informatorsHandle(const ClientPtr& client, ClientStatisticInfo& statistics,
                                    Call call) const {
    for (const std::shared_ptr<Informator>& informator : informators_) {
        try {
            ((*informator).*call)(client, statistics);
        } catch (const std::exception& failure) {
            logger().Error("%s: informator failed for client %s: %s\n", "informatorsHandle",
                           client->getMacAddress().c_str(), failure.what());
        } catch (...) {
            logger().Error("%s: informator failed for client %s\n", "informatorsHandle",
                           client->getMacAddress().c_str());
        }
    }
}

void Informators::handleClientScenarioChange(const ClientPtr& client,
                                             ClientStatisticInfo& statistics) const {
    switch (client->getAccessType()) {
        case ACCESS_ALLOW:
            client->keep_client();
            informatorsHandle(client, statistics, &Informator::informClientAuthenticated);
            return;
        case ACCESS_REDIRECT:
            informatorsHandle(client, statistics, &Informator::informClientDeuthenticated);
            return;
        case ACCESS_DROP:
            informatorsHandle(client, statistics, &Informator::informClientDrop);
            return;
    }
    logger().Error("%s Try set unknown redirector scenario!\n", "handleClientScenarioChange");
}

}  // namespace vesta
