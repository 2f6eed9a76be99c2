#include "apb/apbd_portal_instance_message_factory.h"

#include "core/json_entry.h"

namespace vesta {

void APBDPortalInstanceMessageFactory::createMessage() {
    message_ = std::make_shared<JsonEntry>("{}");
}

void APBDPortalInstanceMessageFactory::addRadiusDomain(const std::string& domain) {
    message_->insertStringValue("radius-domain", domain.c_str());
}

void APBDPortalInstanceMessageFactory::addApLocation(const std::string& location) {
    message_->insertStringValue("mobility-domain", location.c_str());
}

void APBDPortalInstanceMessageFactory::addSsid(const std::string& ssid) {
    message_->insertStringValue("ssid", ssid.c_str());
}

}  // namespace vesta
