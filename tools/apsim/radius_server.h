#pragma once

// The RADIUS responder on two UDP sockets of loopback, and the other half of a server: the
// Disconnect-Requests that it sends.
//
// Threads: every function may be called from any thread; one thread of the object's own answers.

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>

#include "apsim/event_log.h"
#include "apsim/radius_responder.h"
#include "ostrel/runtime.h"

namespace apsim {

// Where an access point finds its RADIUS server.
struct RadiusAddress {
    std::string address;  // IPv4, dotted
    std::uint16_t authPort = 0;
    std::uint16_t acctPort = 0;
    std::string secret;
};

// The server named by "HOST:PORT", which takes accounting at the port behind it. Throws InputError.
RadiusAddress parseRadiusAddress(const std::string& text, const std::string& secret);

// Points every "radius" object of a configuration document at `server`.
void useRadiusServer(nlohmann::json& configuration, const RadiusAddress& server);

class RadiusServer {
public:
    // On free ports, or those given. Throws std::runtime_error when they can't be had.
    RadiusServer(const RadiusBook& book, EventLog& log, std::uint16_t authPort = 0,
                 std::uint16_t acctPort = 0);
    ~RadiusServer();
    RadiusServer(const RadiusServer&) = delete;
    RadiusServer& operator=(const RadiusServer&) = delete;

    [[nodiscard]] const RadiusAddress& address() const { return address_; }

private:
    void run();

    RadiusResponder responder_;  // the thread's alone
    const ostrel::Fd wake_;
    const ostrel::Fd auth_;
    const ostrel::Fd acct_;
    const RadiusAddress address_;
    std::thread thread_;
};

// By what a Disconnect-Request (RFC 5176) names its session; an empty text is left out.
struct DisconnectNames {
    std::string mac;  // with colons
    std::string user;
    std::string session;
};

enum class DisconnectAnswer { ack, nak, none };
const char* disconnectAnswerName(DisconnectAnswer answer);  // "ACK", "NAK", "none"

inline constexpr std::uint16_t kDisconnectPort = 3799;

// Asks the access point on this machine to end a session, and waits for its answer, asking again
// each second, at most `attempts` times.
DisconnectAnswer requestDisconnect(const DisconnectNames& names, const std::string& secret,
                                   std::uint16_t port = kDisconnectPort, int attempts = 3);

}  // namespace apsim
