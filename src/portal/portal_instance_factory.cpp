#include "portal/portal_instance_factory.h"

#include "auth/authenticator.h"
#include "core/logger.h"
#include "core/quoted.h"
#include "messages/portal_instance_messages.h"
#include "portal/portal_instance_kinds.h"
#include "portal/threadsafe_portal_instance_holder.h"

namespace vesta {

std::shared_ptr<PortalInstance> PortalInstanceFactory::build(const std::string& name,
                                                             const std::string& uplink, Vap vap,
                                                             Extractor extractor,
                                                             PortalInstanceInterface* owner,
                                                             const SharedInformators& informators) {
    const std::string mode = extractor->extractVereficationMode(vap);
    if (mode.empty()) {
        logger().Error("Not found portal instance in vap config: \n'%s'\n",
                       quotedForLog(vap->getStringRepresentation()).c_str());
        throw ENTRY_NOT_FOUND;
    }
    const PortalInstance::Settings settings{name, uplink, vap, extractor, owner, informators};
    const AUTH_MODE authMode = parseAuthMode(mode);
    if (authMode == AUTH_MODE_PORTAL || authMode == AUTH_MODE_PORTAL_MAC) {
        logger().Debug("Create ManageblePortalInstance\n");
        return std::make_shared<ManageblePortalInstance>(settings);
    }
    logger().Debug("Create UnmanageblePortalInstance\n");
    return std::make_shared<UnmanageblePortalInstance>(settings);
}

std::shared_ptr<PortalInstance> PortalInstanceFactory::buildPortalInstance(
    const std::string& name, const std::string& uplink, Vap vap, Extractor extractor) {
    return build(name, uplink, std::move(vap), std::move(extractor));
}

std::shared_ptr<PortalInstanceInterface> PortalInstanceFactory::buildPortalInstanceAsInterface(
    const std::string& name, const std::string& uplink, Vap vap, Extractor extractor) {
    return build(name, uplink, std::move(vap), std::move(extractor));
}

std::shared_ptr<PortalInstanceInterface> PortalInstanceFactory::buildThreadsafePortalInstanceHolder(
    const std::string& name, const std::string& uplink, Vap vap, Extractor extractor,
    const SharedInformators& informators) {
    auto holder = std::make_shared<ThreadsafePortalInstanceHolder>();
    holder->setInstance(
        build(name, uplink, std::move(vap), std::move(extractor), holder.get(), informators));
    return holder;
}

}  // namespace vesta
