#pragma once

// Describes a station to the redirecting proxy, which calls the redirection URL "portal-url".

#include <string>

#include "ipc/portal_client_message_factory.h"

namespace vesta {

class RedirectorClientMessageFactory final : public PortalClientMessageFactory {
public:
    explicit RedirectorClientMessageFactory(const std::string& templateText)
        : PortalClientMessageFactory(templateText, "portal-url") {}
};

}  // namespace vesta
