#pragma once

// A login is checked by a RADIUS server. The answer comes later, on the thread of RadiusListener:
// it lets the station through or throws it out.

#include <memory>
#include <string>

#include "auth/authenticator.h"
#include "client/portal_instance_interface.h"
#include "ostrel/librad.h"

namespace vesta {

class RadiusWorker;

class RadiusAuthenticator final : public Authenticator {
public:
    // Registers for the worker's answers. `instance` is the one that takes its lock by itself. The
    // worker is closed before the authenticator goes.
    RadiusAuthenticator(std::shared_ptr<RadiusWorker> radiusWorker,
                        PortalInstanceInterface& instance);

    // AUTHENTICATION_PENDING, whatever became of the request: without an answer the station stays
    // as it is.
    int makeAuthenticate(std::shared_ptr<Client> client, const std::string& login,
                         const std::string& password) override;

    // The library's callback; `self` is the authenticator.
    static librad_radius_rx_result handleRadiusMessage(librad_radius_msg* msg,
                                                       librad_radius_msg* request,
                                                       unsigned char* sharedSecret,
                                                       unsigned int secretLength, void* self);

private:
    std::shared_ptr<RadiusWorker> radiusWorker_;
    PortalInstanceInterface& instance_;
};

}  // namespace vesta
