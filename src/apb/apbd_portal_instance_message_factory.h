#pragma once

// Writes a portal instance as apbd knows it: the entry of a "mobility-domain-list", which is also
// the entry of the status answer's "instances". One thread at a time.

#include <memory>
#include <string>

#include "core/message_entry.h"
#include "messages/portal_instance_message_factory.h"

namespace vesta {

class APBDPortalInstanceMessageFactory final : public PortalInstanceMessageFactory {
public:
    void createMessage() override;
    std::shared_ptr<MessageEntry> getResultMessage() override { return message_; }

    void addRadiusDomain(const std::string& domain) override;
    void addApLocation(const std::string& location) override;
    void addSsid(const std::string& ssid) override;

private:
    std::shared_ptr<MessageEntry> message_;
};

}  // namespace vesta
