#pragma once

// What a RADIUS server says about a station: plain values.

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "ostrel/librad.h"

namespace vesta {

class Client;

struct AccessAccepted {
    std::shared_ptr<Client> client;
    std::string login;                 // that was asked about
    std::vector<std::string> classes;  // the Class attributes, in order (RFC 2865 section 5.25)
    // Of MAC authentication alone: whether the server knows the station (nothing: it does not say),
    // and where to send one that it does not know ("": nowhere).
    std::optional<bool> stationKnown;
    std::string redirectUrl;
};

struct AccessRejected {
    std::shared_ptr<Client> client;
};

// Nothing: the message decides nothing, or belongs to no station that waits.
using RadiusDecision = std::variant<std::monostate, AccessAccepted, AccessRejected>;

// What the library is told of a message, and what the message means.
using RadiusAnswer = std::pair<librad_radius_rx_result, RadiusDecision>;

}  // namespace vesta
