#pragma once

// What the RADIUS modes do alike with an answer. On the thread of RadiusListener, without the
// instance's lock; a client that has been removed meanwhile stays as it is, and so does the station
// that it was.

#include <memory>

#include "client/portal_instance_interface.h"
#include "ostrel/librad.h"

namespace vesta {

// Has the Class attributes of an Access-Accept sent back in accounting.
void keepClasses(PortalInstanceInterface& instance, const std::shared_ptr<Client>& client,
                 const librad_radius_msg& msg);

// Ends the client on a refusal.
void throwOut(PortalInstanceInterface& instance, const std::shared_ptr<Client>& client);

}  // namespace vesta
