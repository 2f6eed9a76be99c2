#pragma once

// Answers the HTTP proxy, which holds the web traffic of stations that are not let through yet: who
// is behind an address, a login, a change of scenario, new scenarios. A station is named by its
// IPv4 address in "params"."ipaddr".
//
// A request that can't be read throws ENTRY_EXCEPTION_TYPE, where nothing else is said.
// Threads: one request at a time.

#include <memory>

#include "core/message_entry.h"

namespace vesta {

class Portal;

class TinyproxyCollaborator {
public:
    using Entry = std::shared_ptr<MessageEntry>;

    explicit TinyproxyCollaborator(std::shared_ptr<Portal> portal);

    // The connected station as the proxy wants to see it, or result 0.
    Entry handleValidateIp(const Entry& request);
    // Result 1 whatever becomes of the login: the proxy learns that from the next validate-ip.
    Entry handleValidate(const Entry& request);
    Entry handleUpdate(const Entry& request);
    // Result 0 also for a request that can't be read.
    Entry handleUpdateScenario(const Entry& request);

private:
    std::shared_ptr<Portal> portal_;
};

}  // namespace vesta
