#pragma once

// Picks and builds the kind of portal instance that a VAP's verification mode asks for.

#include <memory>
#include <string>

#include "client/portal_instance_interface.h"
#include "core/message_entry.h"
#include "portal/informators.h"

namespace vesta {

class PortalInstance;
class PortalInstanceMessageExtractor;

class PortalInstanceFactory {
public:
    using Extractor = std::shared_ptr<PortalInstanceMessageExtractor>;
    using Vap = std::shared_ptr<MessageEntry>;

    // All throw ENTRY_EXCEPTION_TYPE when the VAP has no verification mode or lacks a key.
    // `owner`: what the instance's clients know as their instance; null: the instance itself.
    // `informators`: those that the instance shares with others.
    static std::shared_ptr<PortalInstance> build(const std::string& name, const std::string& uplink,
                                                 Vap vap, Extractor extractor,
                                                 PortalInstanceInterface* owner = nullptr,
                                                 const SharedInformators& informators = {});
    static std::shared_ptr<PortalInstance> buildPortalInstance(const std::string& name,
                                                               const std::string& uplink, Vap vap,
                                                               Extractor extractor);
    static std::shared_ptr<PortalInstanceInterface> buildPortalInstanceAsInterface(
        const std::string& name, const std::string& uplink, Vap vap, Extractor extractor);
    // The instance behind its lock; the holder is what its clients know as their instance.
    static std::shared_ptr<PortalInstanceInterface> buildThreadsafePortalInstanceHolder(
        const std::string& name, const std::string& uplink, Vap vap, Extractor extractor,
        const SharedInformators& informators = {});
};

}  // namespace vesta
