#pragma once

// All sessions of the device, for the disconnect server. Called on the thread of RadiusListener.

#include <string>

#include "client/portal_instance_interface.h"

namespace vesta {

class CommandInfo;
struct ClientIdentity;

class SessionDirectory {
public:
    virtual ~SessionDirectory() = default;

    // Ends the session of the station that every key of the identity matches. False when there is
    // none.
    virtual bool disconnectClient(ClientIdentity& identity, const CommandInfo& command) = 0;
    // The RADIUS secret of the instance that has the station, else of the first one.
    virtual RadiusSharedKey getClientRadiusSharedKey(ClientIdentity& identity) = 0;
    // The interface whose IPv4 address is the device's in RADIUS.
    [[nodiscard]] virtual std::string getUplink() const = 0;
};

}  // namespace vesta
