#include "apsim/radius_server.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>
#include <random>

#include "apsim/input.h"
#include "apsim/sockets.h"

namespace apsim {

namespace {

constexpr int kMillisecondsOfAttempt = 1000;

// The first IPv4 address of a host; "" when it has none.
std::string resolve(const std::string& host) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    addrinfo* found = nullptr;
    if (getaddrinfo(host.c_str(), nullptr, &hints, &found) != 0) {
        return "";
    }
    std::array<char, INET_ADDRSTRLEN> text{};
    const bool told =
        getnameinfo(found->ai_addr, found->ai_addrlen, text.data(),
                    static_cast<socklen_t>(text.size()), nullptr, 0, NI_NUMERICHOST) == 0;
    freeaddrinfo(found);
    return told ? text.data() : "";
}

std::string disconnectRequest(const DisconnectNames& names, const std::string& secret) {
    const auto identifier = static_cast<std::uint8_t>(std::random_device{}());
    const RadiusMessage request(
        librad_radius_msg_new(LIBRAD_RADIUS_CODE_DISCONNECT_REQUEST, identifier));
    if (!request) {
        return "";
    }
    std::string mac = names.mac;
    std::replace(mac.begin(), mac.end(), ':', '-');
    addMessageAuthenticator(*request);
    addRadiusText(*request, LIBRAD_RADIUS_ATTR_CALLING_STATION_ID, mac);
    addRadiusText(*request, LIBRAD_RADIUS_ATTR_USER_NAME, names.user);
    addRadiusText(*request, LIBRAD_RADIUS_ATTR_ACCT_SESSION_ID, names.session);
    const auto now = static_cast<std::uint32_t>(std::time(nullptr));
    const bool complete =
        librad_radius_msg_add_attr_int32(request.get(), LIBRAD_RADIUS_ATTR_EVENT_TIMESTAMP, now) &&
        signRadiusRequest(*request, secret);
    return complete ? radiusBytes(*request) : "";
}

}  // namespace

RadiusAddress parseRadiusAddress(const std::string& text, const std::string& secret) {
    const std::size_t colon = text.rfind(':');
    const std::string digits = colon == std::string::npos ? "" : text.substr(colon + 1);
    const bool number = !digits.empty() && digits.size() <= 5 &&
                        digits.find_first_not_of("0123456789") == std::string::npos;
    const unsigned long port = number ? std::stoul(digits) : 0;
    if (port == 0 || port >= UINT16_MAX) {
        throw InputError(text + ": is no HOST:PORT with a port from 1 to 65534");
    }
    const std::string address = resolve(text.substr(0, colon));
    if (address.empty()) {
        throw InputError(text + ": the host has no IPv4 address");
    }
    return {address, static_cast<std::uint16_t>(port), static_cast<std::uint16_t>(port + 1),
            secret};
}

void useRadiusServer(nlohmann::json& configuration, const RadiusAddress& server) {
    for (nlohmann::json& interface : configuration.at("interface")) {
        if (!interface.value("/vap/radius"_json_pointer, nlohmann::json()).is_object()) {
            continue;
        }
        interface["vap"]["radius"].update({{"auth-address", server.address},
                                           {"auth-port", server.authPort},
                                           {"auth-password", server.secret},
                                           {"acct-address", server.address},
                                           {"acct-port", server.acctPort},
                                           {"acct-password", server.secret}});
    }
}

RadiusServer::RadiusServer(const RadiusBook& book, EventLog& log, std::uint16_t authPort,
                           std::uint16_t acctPort)
    : responder_(book, log),
      wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      auth_(bindLoopback(authPort)),
      acct_(bindLoopback(acctPort)),
      address_{"127.0.0.1", portOf(auth_), portOf(acct_), book.secret},
      thread_([this] { run(); }) {}

RadiusServer::~RadiusServer() {
    eventfd_write(wake_.get(), 1);
    thread_.join();
}

void RadiusServer::run() {
    std::array<pollfd, 3> polled{
        {{wake_.get(), POLLIN, 0}, {auth_.get(), POLLIN, 0}, {acct_.get(), POLLIN, 0}}};
    while (poll(polled.data(), polled.size(), -1) >= 0 || errno == EINTR) {
        if (polled[0].revents != 0) {
            return;
        }
        std::string request;
        sockaddr_in sender{};
        if (receiveFrom(auth_, request, sender)) {
            sendTo(auth_, responder_.answerAccess(request), sender);
        }
        if (receiveFrom(acct_, request, sender)) {
            sendTo(acct_, responder_.answerAccounting(request), sender);
        }
    }
}

const char* disconnectAnswerName(DisconnectAnswer answer) {
    switch (answer) {
        case DisconnectAnswer::ack:
            return "ACK";
        case DisconnectAnswer::nak:
            return "NAK";
        case DisconnectAnswer::none:
            return "none";
    }
    return "";
}

DisconnectAnswer requestDisconnect(const DisconnectNames& names, const std::string& secret,
                                   std::uint16_t port, int attempts) {
    const ostrel::Fd socket = bindLoopback(0);
    const std::string datagram = disconnectRequest(names, secret);
    const RadiusMessage request = parseRadius(datagram);
    for (int attempt = 0; request && attempt < attempts; ++attempt) {
        sendTo(socket, datagram, loopbackAddress(port));
        pollfd polled{socket.get(), POLLIN, 0};
        if (poll(&polled, 1, kMillisecondsOfAttempt) <= 0) {
            continue;
        }
        std::string text;
        sockaddr_in sender{};
        receiveFrom(socket, text, sender);
        const RadiusMessage answer = parseRadius(text);
        if (answer && isAnswerTo(*answer, *request, secret)) {
            return librad_radius_msg_get_code(answer.get()) == LIBRAD_RADIUS_CODE_DISCONNECT_ACK
                       ? DisconnectAnswer::ack
                       : DisconnectAnswer::nak;
        }
    }
    return DisconnectAnswer::none;
}

}  // namespace apsim
