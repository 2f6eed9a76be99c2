#pragma once

// What apbd's news change in the portal. Stateless. Each function takes the locks of the portal's
// instances, so the caller holds no lock.

#include <memory>
#include <string>
#include <vector>

#include "messages/client_information_store.h"

namespace vesta {

class Portal;

// Removes the stations that stand in front of the login although they have a record. The
// redirector module reports them anew and they come back by their records.
void removeUnauthorised(Portal& portal, const std::vector<ClientInformationIdentity>& keys);

// Disconnects the station wherever it is on its SSID.
void disconnectStation(Portal& portal, const ClientInformationIdentity& key);

// Removes the station's copies that are not connected, that of `keptVap` excepted. False when a
// connected one stays.
bool removeCopies(Portal& portal, const ClientInformationIdentity& key, const std::string& keptVap);

// Puts the white lists of apbd's message into the store, and makes them the defaults of the
// instances that they name.
void takeWhiteLists(Portal& portal, const std::shared_ptr<MessageEntry>& message);

}  // namespace vesta
