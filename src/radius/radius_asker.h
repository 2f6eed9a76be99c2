#pragma once

// Asks the authentication server about stations, follows the EAP-MD5 exchange (RFC 3748 section
// 5.4) and finds out what an answer means, and for which station.
//
// Threads: what takes a client is called under the lock of the client's instance. receiveMessage()
// and sendChallengeResp() run on the thread of RadiusListener, without that lock, and touch no
// client.

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "radius/pending_requests.h"
#include "radius/radius_answer.h"
#include "radius/radius_channel.h"
#include "radius/radius_config.h"

namespace vesta {

class RadiusAsker {
public:
    // The maker's attributes in an Access-Accept of MAC authentication.
    static constexpr std::uint8_t kKnownStationAttribute = 31;  // 32-bit integer, 0 = unknown
    static constexpr std::uint8_t kRedirectUrlAttribute = 33;   // text

    // Both outlive the asker; the channel is closed before the asker goes.
    RadiusAsker(RadiusChannel& channel, const RadiusConfig& config, AUTH_MODE authMode);

    // As in RadiusWorker.
    bool sendAuthPacket(std::shared_ptr<Client> client, const std::string& login,
                        const std::string& password);
    RadiusAnswer receiveMessage(librad_radius_msg* msg, librad_radius_msg* request,
                                unsigned char* secret, unsigned int secretLength);
    std::vector<std::shared_ptr<Client>> takeUnanswered() { return pending_.takeDue(); }
    bool sendChallengeResp(librad_radius_msg* request, std::uint8_t eapId,
                           std::string_view challenge, std::string_view state);

    // The client is removed: an answer for it no longer counts, and it is not asked about again.
    void forget(const Client& client) { pending_.forget(client); }

private:
    static void onGiveUp(librad_radius_msg* request, void* self);

    // An Access-Request with the attributes that all requests of an exchange have. `eap`, unless
    // empty, stands in the place of the password. Null on failure, which is logged.
    RadiusMessagePtr newAccessRequest(const RadiusStation& station, const std::string& login,
                                      const std::string& eap);
    RadiusMessagePtr createAuthenticationMessage(const RadiusStation& station,
                                                 std::string_view state);
    [[nodiscard]] bool usesEap() const { return authMode_ != AUTH_MODE_PORTAL_MAC; }

    // The station that a decision is about, and its login; null, which is logged, when none waits
    // for it.
    std::pair<std::shared_ptr<Client>, std::string> takeClient(const librad_radius_msg* msg,
                                                               const librad_radius_msg* request);
    RadiusAnswer accepted(const librad_radius_msg* msg, const librad_radius_msg* request);
    RadiusAnswer rejected(const librad_radius_msg* msg, const librad_radius_msg* request);
    RadiusAnswer challenged(librad_radius_msg* msg, librad_radius_msg* request);
    bool handleChallenge(librad_radius_msg* msg, librad_radius_msg* request);
    bool sendNakResponse(librad_radius_msg* request, std::uint8_t eapId, std::string_view state);
    [[nodiscard]] std::optional<RadiusStation> findStation(const librad_radius_msg* request) const;
    bool respond(librad_radius_msg* request, const RadiusStation& station, const std::string& eap,
                 std::string_view state);
    bool changeClientPacketId(const librad_radius_msg* request, const PendingRequests::Key& key);

    RadiusChannel& channel_;
    const RadiusConfig& config_;
    const AUTH_MODE authMode_;
    PendingRequests pending_;
};

}  // namespace vesta
