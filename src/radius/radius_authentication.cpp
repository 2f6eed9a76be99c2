// How a worker asks the authentication server, and what it makes of the answers.

#include <array>
#include <optional>

#include "client/client.h"
#include "core/logger.h"
#include "radius/eap_packets.h"
#include "radius/radius_worker.h"

namespace vesta {
namespace {

constexpr std::size_t kMaxStateLength = 64;
constexpr std::size_t kMaxChallengeLength = 255;

RadiusStation stationOf(const Client& client) {
    RadiusStation station;
    station.login = client.getLogin();
    station.password = librad_secret(client.getPassword());
    station.mac = client.getMac();
    station.ip = client.getIpAddress();
    station.mtu = client.getMtu();
    if (const librad_radius_sta_info* sta = client.getRadiusSta()) {
        station.accountingId = sta->acctSessionIdLow;
    }
    return station;
}

bool addEap(librad_radius_msg* msg, const std::string& eap) {
    return librad_radius_msg_add_eap(msg, reinterpret_cast<const unsigned char*>(eap.data()),
                                     eap.size());
}

}  // namespace

bool RadiusWorker::sendAuthPacket(std::shared_ptr<Client> client, const std::string& login) {
    logger().Debug("%s started\n", "sendAuthPacket");
    const RadiusStation station = stationOf(*client);
    MessagePtr msg = newAccessRequest(station, login, usesEap() ? eapIdentityResponse(login) : "");
    if (!msg) {
        pending_.askLater(client);
        return false;
    }
    logger().Debug("Send radius message\n");
    // The answer may be there before the send returns.
    const PendingRequests::Key key = PendingRequests::keyOf(msg.get());
    pending_.add(key, client, station);
    if (!send(std::move(msg), LIBRAD_RADIUS_AUTH, station.mac.bytes().data())) {
        logger().Error("Failed to send request for %s\n", station.mac.to_string().c_str());
        pending_.abandon(key);
        return false;
    }
    return true;
}

std::vector<std::shared_ptr<Client>> RadiusWorker::takeUnanswered() {
    return pending_.takeDue();
}

RadiusWorker::MessagePtr RadiusWorker::newAccessRequest(const RadiusStation& station,
                                                        const std::string& login,
                                                        const std::string& eap) {
    MessagePtr msg(librad_radius_msg_new(LIBRAD_RADIUS_CODE_ACCESS_REQUEST,
                                         librad_radius_client_get_id(radiusClient_)));
    const MacAddr::Bytes& mac = station.mac.bytes();
    if (!msg || !librad_radius_msg_make_authenticator(msg.get(), mac.data(), mac.size())) {
        return nullptr;
    }
    if (!librad_radius_msg_add_attr(msg.get(), LIBRAD_RADIUS_ATTR_USER_NAME, login.data(),
                                    login.size())) {
        logger().Error("Could not add User-Name\n");
        return nullptr;
    }
    const librad_secret& secret = config_.client.authServers.front().sharedSecret;
    if (!usesEap() && !librad_radius_msg_add_attr_user_password(msg.get(), station.password.data(),
                                                                station.password.size(),
                                                                secret.data(), secret.size())) {
        logger().Error("Could not add User-Password\n");
        return nullptr;
    }
    if (!eap.empty() && !addEap(msg.get(), eap)) {
        logger().Error("Failed to add EAP-Message attribute\n");
        return nullptr;
    }
    if (config_.sendAcctId &&
        !librad_add_acct_session_id_attr(msg.get(), &config_.client, station.accountingId)) {
        return nullptr;
    }
    const bool complete = insertAdditionAttributes(msg.get(), NasAddress::current) &&
                          insertClientAdditionAttributes(msg.get(), station.ip, station.mtu);
    return complete ? std::move(msg) : nullptr;
}

RadiusWorker::MessagePtr RadiusWorker::createAuthenticationMessage(const RadiusStation& station,
                                                                   std::string_view state) {
    MessagePtr msg = newAccessRequest(station, station.login, "");
    if (msg && !state.empty() &&
        !librad_radius_msg_add_attr(msg.get(), LIBRAD_RADIUS_ATTR_STATE, state.data(),
                                    state.size())) {
        logger().Error("Could not add stateInfo\n");
        return nullptr;
    }
    return msg;
}

RadiusWorker::Answer RadiusWorker::receiveMessage(librad_radius_msg* msg,
                                                  librad_radius_msg* request, unsigned char* secret,
                                                  unsigned int secretLength) {
    if (librad_radius_msg_verify_acct(msg, secret, secretLength, request) != 0) {
        logger().Error("Incoming RADIUS packet did not have correct Authenticator - dropped\n");
        return {LIBRAD_RADIUS_RX_INVALID, nullptr};
    }
    const int code = librad_radius_msg_get_code(msg);
    switch (code) {
        case LIBRAD_RADIUS_CODE_ACCESS_ACCEPT:
            logger().Debug("Receive RADIUS ACCESS packet\n");
            return decided(LIBRAD_RADIUS_RX_ACCEPT, msg, request);
        case LIBRAD_RADIUS_CODE_ACCESS_REJECT:
            logger().Debug("Receive RADIUS REJECT packet\n");
            return decided(LIBRAD_RADIUS_RX_REJECT, msg, request);
        case LIBRAD_RADIUS_CODE_ACCESS_CHALLENGE: {
            const bool handled = handleChallenge(msg, request);
            // Unless its place was taken by the next request, this one ended without a decision.
            pending_.abandon(PendingRequests::keyOf(request));
            if (!handled) {
                return {LIBRAD_RADIUS_RX_UNKNOWN, nullptr};
            }
            freeMessage(msg);
            return {LIBRAD_RADIUS_RX_QUEUED, nullptr};
        }
        default:
            logger().Error("Unknown RADIUS message code (%d)\n", code);
            pending_.abandon(PendingRequests::keyOf(request));
            return {LIBRAD_RADIUS_RX_UNKNOWN, nullptr};
    }
}

RadiusWorker::Answer RadiusWorker::decided(librad_radius_rx_result result,
                                           const librad_radius_msg* msg,
                                           const librad_radius_msg* request) {
    std::shared_ptr<Client> client = pending_.take(PendingRequests::keyOf(request));
    if (!client) {
        logger().Error("Client for id %d not found\n", librad_radius_msg_get_id(msg));
        return {LIBRAD_RADIUS_RX_UNKNOWN, nullptr};
    }
    return {result, std::move(client)};
}

bool RadiusWorker::handleChallenge(librad_radius_msg* msg, librad_radius_msg* request) {
    logger().Debug("Receive RADIUS CHALLENGE packet\n");
    std::array<char, kMaxStateLength> buffer{};
    const std::string_view state(
        buffer.data(),
        librad_radius_msg_get_attr(msg, LIBRAD_RADIUS_ATTR_STATE, buffer.data(), buffer.size()));
    if (!state.empty()) {
        logger().Debug("State attribute in EAP-Message in RADIUS packet.\n");
    }
    unsigned int length = 0;
    const unsigned char* packet = librad_radius_msg_get_eap(msg, &length);
    if (packet == nullptr) {
        logger().Debug("No EAP-Message in RADIUS packet.\n");
        return true;
    }
    const std::optional<EapRequest> eap =
        parseEapRequest({reinterpret_cast<const char*>(packet), length});
    if (!eap) {
        logger().Error("Radius Access-Challenge process failed!\n");
        return false;
    }
    if (eap->type != static_cast<std::uint8_t>(EapType::md5Challenge)) {
        logger().Debug(
            "Receive EAP-Type %d, we don't support it, so send NAK response with supported "
            "LIBRAD_EAP_TYPE_MD5\n",
            eap->type);
        if (!sendNakResponse(request, eap->id, state)) {
            logger().Error("Radius sendNakResponse failed!\n");
            return false;
        }
        return true;
    }
    const std::optional<std::string_view> challenge = md5ChallengeOf(eap->data);
    if (challenge) {
        logger().Debug("Send answer to challange with len %d\n",
                       static_cast<int>(challenge->size()));
    }
    if (!challenge || !sendChallengeResp(request, eap->id, *challenge, state)) {
        logger().Error("Radius Access-Challenge process failed!\n");
        return false;
    }
    return true;
}

bool RadiusWorker::sendNakResponse(librad_radius_msg* request, std::uint8_t eapId,
                                   std::string_view state) {
    const std::optional<RadiusStation> station = findStation(request);
    return station && respond(request, *station, eapNakResponse(eapId), state);
}

bool RadiusWorker::sendChallengeResp(librad_radius_msg* request, std::uint8_t eapId,
                                     std::string_view challenge, std::string_view state) {
    if (challenge.size() > kMaxChallengeLength) {
        logger().Error("Failed assert(challengeLength < 256)");
        return false;
    }
    const std::optional<RadiusStation> station = findStation(request);
    if (!station) {
        return false;
    }
    std::string eap;
    if (usesEap()) {
        const int length = static_cast<int>(station->password.size());
        logger().Debug("Use password %.*s with len %d\n", length,
                       reinterpret_cast<const char*>(station->password.data()), length);
        eap = eapMd5Response(eapId, station->password, challenge);
    }
    return respond(request, *station, eap, state);
}

std::optional<RadiusStation> RadiusWorker::findStation(const librad_radius_msg* request) const {
    std::optional<RadiusStation> station = pending_.findStation(PendingRequests::keyOf(request));
    if (!station) {
        logger().Error("Client for id %d not found\n", librad_radius_msg_get_id(request));
    }
    return station;
}

bool RadiusWorker::respond(librad_radius_msg* request, const RadiusStation& station,
                           const std::string& eap, std::string_view state) {
    MessagePtr msg = createAuthenticationMessage(station, state);
    if (!msg) {
        return false;
    }
    if (!eap.empty() && !addEap(msg.get(), eap)) {
        logger().Error("Failed to add EAP-Message attribute");
        return false;
    }
    const PendingRequests::Key key = PendingRequests::keyOf(msg.get());
    // The station may have been removed, or have sent a newer request, since it was looked up.
    if (!changeClientPacketId(request, key)) {
        return false;
    }
    if (!send(std::move(msg), LIBRAD_RADIUS_AUTH, nullptr)) {
        logger().Error("Failed to send response message");
        pending_.abandon(key);
        return false;
    }
    return true;
}

bool RadiusWorker::changeClientPacketId(const librad_radius_msg* request,
                                        const PendingRequests::Key& key) {
    if (!pending_.changeKey(PendingRequests::keyOf(request), key)) {
        logger().Error("Client for id %d not found\n", librad_radius_msg_get_id(request));
        return false;
    }
    return true;
}

}  // namespace vesta
