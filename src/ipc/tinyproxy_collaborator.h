#pragma once

// Answers the HTTP proxy, which holds the web traffic of stations that are not let through yet. The
// proxy asks who has an address, reports a login, moves a station to another scenario and brings
// new scenarios (docs/bus.md has examples). "params"."ipaddr" of a request is the station's IPv4
// address.
//
// Unless a function says otherwise, a request that can't be read throws ENTRY_EXCEPTION_TYPE.
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
