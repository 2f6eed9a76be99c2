#pragma once

// The modes that ask a RADIUS server. The answer comes later, on the thread of RadiusListener and
// without the instance's lock. An accepted station goes where the mode lets it, a rejected one is
// thrown out. A client that has been removed meanwhile stays as it is, and so does a new client
// with its address.

#include <memory>
#include <string>

#include "auth/authenticator.h"
#include "client/portal_instance_interface.h"
#include "ostrel/librad.h"
#include "radius/radius_answer.h"

namespace vesta {

class RadiusWorker;

// What both modes have in common.
class ServerAuthenticator : public Authenticator {
public:
    // The library's callback; `self` is a ServerAuthenticator.
    static librad_radius_rx_result handleRadiusMessage(librad_radius_msg* msg,
                                                       librad_radius_msg* request,
                                                       unsigned char* sharedSecret,
                                                       unsigned int secretLength, void* self);

protected:
    // Registers for the worker's answers. `instance` is the holder, which takes its lock by itself.
    // The worker is closed before the authenticator goes.
    ServerAuthenticator(std::shared_ptr<RadiusWorker> radiusWorker,
                        PortalInstanceInterface& instance);

    [[nodiscard]] RadiusWorker& worker() const { return *radiusWorker_; }
    // Lets an accepted station enter the scenario of `move`, under the login that was asked about,
    // whatever was typed since.
    void admit(const AccessAccepted& accepted, PortalInstanceInterface::Move move);
    // What the answer says of the accounting of the station.
    static void keepClasses(const AccessAccepted& accepted, Client& client);
    [[nodiscard]] PortalInstanceInterface& instance() const { return instance_; }

private:
    // Applies the mode's scenario, and keepClasses(), to an accepted station.
    virtual void letIn(const AccessAccepted& accepted) = 0;
    void act(const RadiusDecision& decision);
    void throwOut(const std::shared_ptr<Client>& client);

    std::shared_ptr<RadiusWorker> radiusWorker_;
    PortalInstanceInterface& instance_;
};

// A login is checked by the server.
class RadiusAuthenticator final : public ServerAuthenticator {
public:
    RadiusAuthenticator(std::shared_ptr<RadiusWorker> radiusWorker,
                        PortalInstanceInterface& instance)
        : ServerAuthenticator(std::move(radiusWorker), instance) {}

    // AUTHENTICATION_PENDING, whatever became of the request: without an answer the station stays
    // as it is.
    int makeAuthenticate(std::shared_ptr<Client> client, const std::string& login,
                         const std::string& password) override;

private:
    void letIn(const AccessAccepted& accepted) override;
};

}  // namespace vesta
