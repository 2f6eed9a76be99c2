#pragma once

// The keys by which a station can be found. Empty texts and the zero MAC are keys not given.

#include <string>

#include "station/mac_addr.h"

namespace vesta {

struct ClientIdentity {
    ClientIdentity() = default;
    ClientIdentity(const MacAddr& mac_, const std::string& ip_, const std::string& accountingId,
                   const std::string& username_);

    // "mac=.../ip=.../accounting_id=.../username=..." for log records, without the keys not given;
    // behind "/username=" stands the accounting id.
    [[nodiscard]] std::string to_string() const;

    MacAddr mac;
    std::string ip;
    std::string accounting_id;
    std::string username;
};

}  // namespace vesta
