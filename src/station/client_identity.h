#pragma once

// The keys by which a station can be found. An empty text and the zero MAC mean "not given".

#include <string>

#include "station/mac_addr.h"

namespace vesta {

struct ClientIdentity {
    ClientIdentity() = default;
    ClientIdentity(const MacAddr& mac_, const std::string& ip_, const std::string& accountingId,
                   const std::string& username_);

    // "mac=.../ip=.../accounting_id=.../username=..." for log records. A text that is not given is
    // left out with its key. "/username=" is followed by the accounting id.
    [[nodiscard]] std::string to_string() const;

    MacAddr mac;
    std::string ip;
    std::string accounting_id;
    std::string username;
};

}  // namespace vesta
