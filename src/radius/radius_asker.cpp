#include "radius/radius_asker.h"

#include <algorithm>
#include <array>
#include <tuple>
#include <utility>

#include "client/client.h"
#include "core/logger.h"
#include "radius/eap_packets.h"

namespace vesta {
namespace {

constexpr std::size_t kMaxStateLength = 64;
constexpr std::size_t kMaxChallengeLength = 255;
// An exchange takes two. A server that goes on asking would have us ask for ever.
constexpr unsigned int kMaxChallenges = 8;

RadiusStation stationOf(const Client& client, const std::string& login,
                        const std::string& password) {
    RadiusStation station;
    station.login = login;
    station.password = librad_secret(password);
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

// Whether the server knows the station; nothing when the attribute is absent or too short to be a
// 32-bit integer.
std::optional<bool> stationKnown(const librad_radius_msg* msg) {
    unsigned int length = 0;
    const unsigned char* const value =
        librad_radius_msg_get_ostrel_attr(msg, RadiusAsker::kKnownStationAttribute, &length);
    if (value == nullptr || length == 0) {
        return std::nullopt;
    }
    constexpr unsigned int kIntegerLength = 4;
    if (length < kIntegerLength) {
        logger().Warning("RADIUS: vendor attribute %d of %u bytes is no integer, ignored\n",
                         RadiusAsker::kKnownStationAttribute, length);
        return std::nullopt;
    }
    return std::any_of(value, value + kIntegerLength, [](unsigned char byte) { return byte != 0; });
}

std::string redirectUrl(const librad_radius_msg* msg) {
    unsigned int length = 0;
    const unsigned char* const url =
        librad_radius_msg_get_ostrel_attr(msg, RadiusAsker::kRedirectUrlAttribute, &length);
    return {reinterpret_cast<const char*>(url), length};
}

}  // namespace

RadiusAsker::RadiusAsker(RadiusChannel& channel, const RadiusConfig& config, AUTH_MODE authMode)
    : channel_(channel),
      config_(config),
      authMode_(authMode),
      pending_(authMode == AUTH_MODE_PORTAL_MAC) {
    channel_.setGiveUp(this, onGiveUp);
}

void RadiusAsker::onGiveUp(librad_radius_msg* request, void* self) {
    withoutException("RADIUS request could not be given up", false, [&] {
        static_cast<RadiusAsker*>(self)->pending_.abandon(PendingRequests::keyOf(request));
        return true;
    });
}

bool RadiusAsker::sendAuthPacket(std::shared_ptr<Client> client, const std::string& login,
                                 const std::string& password) {
    logger().Debug("%s started\n", "sendAuthPacket");
    const RadiusStation station = stationOf(*client, login, password);
    RadiusMessagePtr msg =
        newAccessRequest(station, login, usesEap() ? eapIdentityResponse(login) : "");
    if (!msg) {
        pending_.askLater(client);
        return false;
    }
    logger().Debug("Send radius message\n");
    // The answer may be there before the send returns.
    const PendingRequests::Key key = PendingRequests::keyOf(msg.get());
    pending_.add(key, client, station);
    if (!channel_.send(std::move(msg), LIBRAD_RADIUS_AUTH, station.mac.bytes().data())) {
        logger().Error("Failed to send request for %s\n", station.mac.to_string().c_str());
        pending_.abandon(key);
        return false;
    }
    return true;
}

RadiusMessagePtr RadiusAsker::newAccessRequest(const RadiusStation& station,
                                               const std::string& login, const std::string& eap) {
    RadiusMessagePtr msg = channel_.newAccessRequest(station.mac.bytes().data());
    if (!msg) {
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
    const bool complete =
        channel_.insertAdditionAttributes(msg.get(), RadiusChannel::NasAddress::current) &&
        RadiusChannel::insertClientAdditionAttributes(msg.get(), station.ip, station.mtu);
    return complete ? std::move(msg) : nullptr;
}

RadiusMessagePtr RadiusAsker::createAuthenticationMessage(const RadiusStation& station,
                                                          std::string_view state) {
    RadiusMessagePtr msg = newAccessRequest(station, station.login, "");
    if (msg && !state.empty() &&
        !librad_radius_msg_add_attr(msg.get(), LIBRAD_RADIUS_ATTR_STATE, state.data(),
                                    state.size())) {
        logger().Error("Could not add stateInfo\n");
        return nullptr;
    }
    return msg;
}

RadiusAnswer RadiusAsker::receiveMessage(librad_radius_msg* msg, librad_radius_msg* request,
                                         unsigned char* secret, unsigned int secretLength) {
    if (librad_radius_msg_verify_acct(msg, secret, secretLength, request) != 0) {
        logger().Error("Incoming RADIUS packet did not have correct Authenticator - dropped\n");
        return {LIBRAD_RADIUS_RX_INVALID, {}};
    }
    const int code = librad_radius_msg_get_code(msg);
    switch (code) {
        case LIBRAD_RADIUS_CODE_ACCESS_ACCEPT:
            return accepted(msg, request);
        case LIBRAD_RADIUS_CODE_ACCESS_REJECT:
            return rejected(msg, request);
        case LIBRAD_RADIUS_CODE_ACCESS_CHALLENGE:
            return challenged(msg, request);
        default:
            logger().Error("Unknown RADIUS message code (%d)\n", code);
            pending_.abandon(PendingRequests::keyOf(request));
            return {LIBRAD_RADIUS_RX_UNKNOWN, {}};
    }
}

RadiusAnswer RadiusAsker::accepted(const librad_radius_msg* msg, const librad_radius_msg* request) {
    logger().Debug("Receive RADIUS ACCESS packet\n");
    AccessAccepted accepted;
    std::tie(accepted.client, accepted.login) = takeClient(msg, request);
    if (!accepted.client) {
        return {LIBRAD_RADIUS_RX_UNKNOWN, {}};
    }
    accepted.classes = librad_radius_msg_get_classes(msg);
    if (authMode_ == AUTH_MODE_PORTAL_MAC) {
        accepted.stationKnown = stationKnown(msg);
        accepted.redirectUrl = redirectUrl(msg);
    }
    return {LIBRAD_RADIUS_RX_ACCEPT, std::move(accepted)};
}

RadiusAnswer RadiusAsker::rejected(const librad_radius_msg* msg, const librad_radius_msg* request) {
    logger().Debug("Receive RADIUS REJECT packet\n");
    std::shared_ptr<Client> client = takeClient(msg, request).first;
    if (!client) {
        return {LIBRAD_RADIUS_RX_UNKNOWN, {}};
    }
    return {LIBRAD_RADIUS_RX_REJECT, AccessRejected{std::move(client)}};
}

RadiusAnswer RadiusAsker::challenged(librad_radius_msg* msg, librad_radius_msg* request) {
    const bool handled = handleChallenge(msg, request);
    // Unless the next request has taken its place, this one ended without a decision.
    pending_.abandon(PendingRequests::keyOf(request));
    if (!handled) {
        return {LIBRAD_RADIUS_RX_UNKNOWN, {}};
    }
    librad_radius_msg_free(msg);
    return {LIBRAD_RADIUS_RX_QUEUED, {}};
}

std::pair<std::shared_ptr<Client>, std::string> RadiusAsker::takeClient(
    const librad_radius_msg* msg, const librad_radius_msg* request) {
    auto taken = pending_.take(PendingRequests::keyOf(request));
    if (!taken.first) {
        logger().Error("Client for id %d not found\n", librad_radius_msg_get_id(msg));
    }
    return taken;
}

bool RadiusAsker::handleChallenge(librad_radius_msg* msg, librad_radius_msg* request) {
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

bool RadiusAsker::sendNakResponse(librad_radius_msg* request, std::uint8_t eapId,
                                  std::string_view state) {
    const std::optional<RadiusStation> station = findStation(request);
    return station && respond(request, *station, eapNakResponse(eapId), state);
}

bool RadiusAsker::sendChallengeResp(librad_radius_msg* request, std::uint8_t eapId,
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
        logger().Debug("Use password with len %d\n", static_cast<int>(station->password.size()));
        eap = eapMd5Response(eapId, station->password, challenge);
    }
    return respond(request, *station, eap, state);
}

std::optional<RadiusStation> RadiusAsker::findStation(const librad_radius_msg* request) const {
    std::optional<RadiusStation> station = pending_.findStation(PendingRequests::keyOf(request));
    if (!station) {
        logger().Error("Client for id %d not found\n", librad_radius_msg_get_id(request));
    }
    return station;
}

bool RadiusAsker::respond(librad_radius_msg* request, const RadiusStation& station,
                          const std::string& eap, std::string_view state) {
    if (station.challenges >= kMaxChallenges) {
        logger().Error("The server challenged %s more than %u times\n",
                       station.mac.to_string().c_str(), kMaxChallenges);
        return false;
    }
    RadiusMessagePtr msg = createAuthenticationMessage(station, state);
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
    if (!channel_.send(std::move(msg), LIBRAD_RADIUS_AUTH, nullptr)) {
        logger().Error("Failed to send response message");
        pending_.abandon(key);
        return false;
    }
    return true;
}

bool RadiusAsker::changeClientPacketId(const librad_radius_msg* request,
                                       const PendingRequests::Key& key) {
    if (!pending_.changeKey(PendingRequests::keyOf(request), key)) {
        logger().Error("Client for id %d not found\n", librad_radius_msg_get_id(request));
        return false;
    }
    return true;
}

}  // namespace vesta
