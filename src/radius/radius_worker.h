#pragma once

// The RADIUS side of one instance: it asks the authentication server about stations, follows the
// EAP-MD5 exchange and tells which station an answer belongs to; as an informator it accounts for
// the sessions.
//
// Threads: sendAuthPacket(), the informator's operations and all that takes a client are called
// under the lock of the client's instance. receiveMessage() runs on the thread of RadiusListener,
// without that lock, and touches no client. A worker is destroyed, or closed, by who holds no lock
// that the handler of its answers takes.

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "client/informator.h"
#include "client/portal_instance_interface.h"
#include "core/message_entry.h"
#include "ostrel/librad.h"
#include "radius/pending_requests.h"
#include "radius/radius_config.h"
#include "radius/radius_modes.h"
#include "station/client_identity.h"

namespace vesta {

class RadiusWorker final : public Informator {
public:
    using Answer = std::pair<librad_radius_rx_result, std::shared_ptr<Client>>;

    static constexpr std::chrono::seconds kRetryDelay{10};

    // `config` is a VAP's "radius" object, `interfaceName` the interface whose IPv4 address is the
    // NAS-IP-Address, `instanceName` what the log calls the instance. Starts the RadiusListener.
    // Throws std::runtime_error when the system lets no client of the library be made, after three
    // attempts with `retryDelay` behind each.
    RadiusWorker(std::shared_ptr<MessageEntry> config, const std::string& interfaceName,
                 RadiusWorkmode workmode, AUTH_MODE authMode, const std::string& instanceName,
                 std::chrono::seconds retryDelay = kRetryDelay);
    ~RadiusWorker() override;
    RadiusWorker(const RadiusWorker&) = delete;
    RadiusWorker& operator=(const RadiusWorker&) = delete;

    // Ends all exchanges: once this has returned, no handler runs any more. Nothing may be sent
    // after it.
    void close();

    // Asks the server about the client. Its stored password goes along, or answers the server's
    // challenge later. False when the request could not be sent, which is logged.
    bool sendAuthPacket(std::shared_ptr<Client> client, const std::string& login);
    // What an answer means: (4, client) accepted, (0, client) rejected; without a client there is
    // nothing to be done. After 1 the message has been freed.
    Answer receiveMessage(librad_radius_msg* msg, librad_radius_msg* request, unsigned char* secret,
                          unsigned int secretLength);
    // `handler` gets every answer, on the listener's thread; called before the first request.
    void addAuthPacketHandler(void* context, librad_radius_handler handler);
    // The clients, MAC authentication alone, whose request ended without a decision some time ago:
    // they are to be asked for again. Each is returned once.
    std::vector<std::shared_ptr<Client>> takeUnanswered();

    // The accounting server's secret, else the authentication server's; (null, 0) without either.
    RadiusSharedKey getRadiusSharedKey();
    static void freeMessage(librad_radius_msg* msg);

    // The accounting records of stations. A record is its maker's until deleteSta().
    static librad_radius_sta_info* createSta();
    static void deleteSta(librad_radius_sta_info* sta);
    // The station's MAC (6 bytes) of the record with these session words, or this session id,
    // whatever instance it is of. The record itself stays with its owner.
    static bool getStaFromList(std::uint32_t high, std::uint32_t low, unsigned char* mac);
    static bool getStaFromList(const char* sessionId, unsigned char* mac);
    // Fills in the MAC of the record that the accounting id names; false when there is none.
    static bool fillClientIdentityOnAcctId(ClientIdentity& identity);

    // The driver's report of the client. Every report is noted, also of a station without access,
    // so that a session begins with the figures of its Start.
    void noteStatistic(const Client& client, const ClientStatisticInfo& statistics);

    bool informClientAuthenticated(std::shared_ptr<Client>, ClientStatisticInfo&) override;
    bool informUpdateClient(std::shared_ptr<Client>, ClientStatisticInfo&) override;
    bool informClientDeuthenticated(std::shared_ptr<Client>, ClientStatisticInfo&) override;
    bool informClientConnected(std::shared_ptr<Client>, ClientStatisticInfo&) override;
    bool informClientDisconnected(std::shared_ptr<Client>, ClientStatisticInfo&) override;
    bool informClientRemoved(std::shared_ptr<Client>, ClientStatisticInfo&) override;

    // Answers an EAP-MD5 challenge for the station of `request`, on the listener's thread; false
    // when that can't be done, as for a challenge of 256 bytes or more.
    bool sendChallengeResp(librad_radius_msg* request, std::uint8_t eapId,
                           std::string_view challenge, std::string_view state);

private:
    struct FreeMessage {
        void operator()(librad_radius_msg* msg) const { freeMessage(msg); }
    };
    using MessagePtr = std::unique_ptr<librad_radius_msg, FreeMessage>;
    // Whose request it is that an address is needed for: the requests of a session that runs may
    // have the one that was there before.
    enum class NasAddress { current, lastKnown };

    void initRadiusClient(std::chrono::seconds retryDelay);
    static librad_radius_rx_result onAnswer(librad_radius_msg* msg, librad_radius_msg* request,
                                            unsigned char* secret, unsigned int secretLength,
                                            void* self);
    static void onGiveUp(librad_radius_msg* request, void* self);

    // An Access-Request with the attributes that every one of an exchange has in common; `eap`,
    // where not empty, stands in the place of the password. Null on failure, which is logged.
    MessagePtr newAccessRequest(const RadiusStation& station, const std::string& login,
                                const std::string& eap);
    MessagePtr createAuthenticationMessage(const RadiusStation& station, std::string_view state);
    [[nodiscard]] bool usesEap() const { return authMode_ != AUTH_MODE_PORTAL_MAC; }
    bool insertAdditionAttributes(librad_radius_msg* msg, NasAddress which);
    static bool insertClientAdditionAttributes(librad_radius_msg* msg, const std::string& ip,
                                               std::uint32_t mtu);
    bool send(MessagePtr msg, librad_radius_kind kind, const unsigned char* mac);

    Answer decided(librad_radius_rx_result result, const librad_radius_msg* msg,
                   const librad_radius_msg* request);
    bool handleChallenge(librad_radius_msg* msg, librad_radius_msg* request);
    bool sendNakResponse(librad_radius_msg* request, std::uint8_t eapId, std::string_view state);
    [[nodiscard]] std::optional<RadiusStation> findStation(const librad_radius_msg* request) const;
    bool respond(librad_radius_msg* request, const RadiusStation& station, const std::string& eap,
                 std::string_view state);
    bool changeClientPacketId(const librad_radius_msg* request, const PendingRequests::Key& key);

    [[nodiscard]] bool accounts() const { return (workmode_ & RADIUS_WORKMODE_ACCOUNTING) != 0; }
    bool sendAccountingStartMessage(const Client& client);
    bool sendAccountingUpdateMessage(const Client& client, const ClientStatisticInfo& statistics);
    bool sendAccountingStopMessage(const Client& client, const ClientStatisticInfo& statistics);
    bool sendAccounting(MessagePtr msg, const Client& client, NasAddress which);

    const RadiusWorkmode workmode_;
    const AUTH_MODE authMode_;
    const std::string interfaceName_;
    // The secrets are handed out as pointers, so it stays as it was read.
    RadiusConfig config_;
    librad_radius_client* radiusClient_ = nullptr;
    void* handlerContext_ = nullptr;
    librad_radius_handler handler_ = nullptr;
    std::atomic<std::uint32_t> lastNasAddress_{0};  // network order, 0 = none yet
    PendingRequests pending_;
};

}  // namespace vesta
