#pragma once

// Describes the station behind an address to the HTTP proxy, which calls the redirection URL "url".

#include <string>

#include "ipc/portal_client_message_factory.h"

namespace vesta {

class TinyproxyClientMessageFactory final : public PortalClientMessageFactory {
public:
    explicit TinyproxyClientMessageFactory(const std::string& templateText)
        : PortalClientMessageFactory(templateText, "url") {}
};

}  // namespace vesta
