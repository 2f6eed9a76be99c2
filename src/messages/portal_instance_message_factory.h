#pragma once

// Writes one portal instance in one dialect. Held by shared pointers to the concrete class.

#include <memory>
#include <string>

#include "core/message_entry.h"

namespace vesta {

class PortalInstanceMessageFactory {
public:
    virtual void createMessage() = 0;
    virtual std::shared_ptr<MessageEntry> getResultMessage() = 0;

    virtual void addRadiusDomain(const std::string&) {}
    virtual void addApLocation(const std::string&) {}
    virtual void addSsid(const std::string&) {}

protected:
    ~PortalInstanceMessageFactory() = default;
};

}  // namespace vesta
