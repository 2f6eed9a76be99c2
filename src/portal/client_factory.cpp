#include "portal/client_factory.h"

#include "client/client.h"
#include "core/logger.h"
#include "messages/client_message_extractor.h"
#include "messages/scenario_values.h"
#include "scenario/scenario_sequence.h"
#include "scenario/scenario_sequence_factory.h"

namespace vesta {

std::shared_ptr<Client> ClientFactory::build(const MacAddr& mac, const std::string& ip,
                                             unsigned int value) const {
    return std::make_shared<Client>(sequences_.build(), mac, ip, value, owner_);
}

// Records leave out the access point's own scenarios. A station that is in one of those, or whose
// record holds no usable scenario, goes on in this instance's.
std::shared_ptr<Client> ClientFactory::restore(
    const std::shared_ptr<MessageEntry>& record,
    const std::shared_ptr<ClientMessageExtractor>& extractor, const MacAddr& mac,
    const std::string& ip, unsigned int value) const {
    if (extractor->extractCurrentScenarioId(record) >= kOwnScenarios) {
        try {
            return std::make_shared<Client>(record, extractor, mac, ip, value, owner_);
        } catch (ENTRY_EXCEPTION_TYPE) {
            logger().Debug("%s: record of client %s holds no usable scenario\n", "restoreClient",
                           mac.to_string().c_str());
        }
    }
    return std::make_shared<Client>(sequences_.buildManageable(), record, *extractor, mac, ip,
                                    value, owner_);
}

}  // namespace vesta
