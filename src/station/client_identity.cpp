#include "station/client_identity.h"

namespace vesta {

ClientIdentity::ClientIdentity(const MacAddr& mac_, const std::string& ip_,
                               const std::string& accountingId, const std::string& username_)
    : mac(mac_), ip(ip_), accounting_id(accountingId), username(username_) {}

std::string ClientIdentity::to_string() const {
    std::string text = "mac=" + mac.to_string();
    if (!ip.empty()) {
        text += "/ip=" + ip;
    }
    if (!accounting_id.empty()) {
        text += "/accounting_id=" + accounting_id;
    }
    if (!username.empty()) {
        // The accounting id, not the name: operators' log filters expect it here.
        text += "/username=" + accounting_id;
    }
    return text;
}

}  // namespace vesta
