#pragma once

// What a RADIUS server answers (RFC 2865, RFC 2866): it knows users, who log in by EAP-MD5
// (RFC 3748 section 5.4) or PAP, and stations, which are asked for by their address, and writes
// accounting down as events.
//
// Threads: an object belongs to one thread at a time.

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "apsim/event_log.h"
#include "apsim/radius_message.h"

namespace apsim {

// Whom the server knows.
struct RadiusBook {
    // What MAC authentication answers: the maker's attributes 31 and 33.
    struct Station {
        bool known = false;
        std::string redirectUrl;
    };

    std::string secret;                        // shared with the access point
    std::map<std::string, std::string> users;  // login, password
    std::map<std::string, Station> stations;   // by MAC in lower case

    // Of {"secret": ..., "users": {LOGIN: PASSWORD}, "stations": {MAC: {"known": true} or
    // {"known": false, "redirect-url": ...}}}. Throws InputError, beginning with `place`.
    static RadiusBook parse(const nlohmann::json& object, const std::string& place);
};

class RadiusResponder {
public:
    RadiusResponder(RadiusBook book, EventLog& log);

    // The answer's bytes; empty where a server keeps silent: a datagram that is malformed, is no
    // request of this kind or is not signed with the secret. Every request adds one event (radius,
    // "challenge", "accept", "reject", "start", "interim", "stop", "accounting on",
    // "accounting off" or "dropped").
    std::string answerAccess(std::string_view datagram);
    std::string answerAccounting(std::string_view datagram);

private:
    struct Challenge {
        std::string user;
        std::string value;
    };

    std::string answerEap(const librad_radius_msg& request, std::string_view packet);
    std::string challengeUser(const librad_radius_msg& request, std::uint8_t eapId);
    bool answersChallenge(const librad_radius_msg& request, std::string_view packet) const;
    std::string answerPassword(const librad_radius_msg& request);
    std::string decide(const librad_radius_msg& request, bool accepted, std::string_view eap);
    std::string answerStation(const librad_radius_msg& request, const std::string& mac,
                              const RadiusBook::Station& station);
    std::string drop(const char* why);

    const RadiusBook book_;
    EventLog& log_;
    std::map<std::string, Challenge> challenges_;  // by State
    std::uint32_t lastState_ = 0;
};

}  // namespace apsim
