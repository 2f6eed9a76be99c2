#pragma once

// The RADIUS side of one instance: RadiusAsker asks the authentication server about stations, and
// as an informator of the instance the worker has RadiusAccountant account for their sessions.
//
// Threads: what takes a client is called under the lock of the client's instance. receiveMessage()
// runs on the thread of RadiusListener, without that lock, and touches no client. Whoever closes or
// destroys a worker holds no lock that the handler of its answers takes.

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "client/informator.h"
#include "client/portal_instance_interface.h"
#include "core/message_entry.h"
#include "ostrel/librad.h"
#include "radius/radius_accountant.h"
#include "radius/radius_asker.h"
#include "radius/radius_channel.h"
#include "radius/radius_config.h"
#include "radius/radius_modes.h"
#include "station/client_identity.h"

namespace vesta {

class RadiusWorker final : public Informator {
public:
    static constexpr std::chrono::seconds kRetryDelay{10};

    // `config` is a VAP's "radius" object, `interfaceName` the interface whose IPv4 address is the
    // NAS-IP-Address, `instanceName` what the log calls the instance. Starts the RadiusListener.
    // Throws std::runtime_error when the system lets no client of the library be made, after three
    // attempts with `retryDelay` behind each.
    RadiusWorker(std::shared_ptr<MessageEntry> config, const std::string& interfaceName,
                 RadiusWorkmode workmode, AUTH_MODE authMode, const std::string& instanceName,
                 std::chrono::seconds retryDelay = kRetryDelay);
    ~RadiusWorker() override { close(); }
    RadiusWorker(const RadiusWorker&) = delete;
    RadiusWorker& operator=(const RadiusWorker&) = delete;

    // Ends all exchanges: no handler runs after it, and nothing may be sent.
    void close();

    // Asks the server about the client. Its stored password goes along, or answers the server's
    // challenge later. False when the request could not be sent, which is logged.
    bool sendAuthPacket(std::shared_ptr<Client> client, const std::string& login);
    // The same with a password that the client has not taken over.
    bool sendAuthPacket(std::shared_ptr<Client> client, const std::string& login,
                        const std::string& password);
    // What an answer means, and the code that the handler returns to the library. After
    // LIBRAD_RADIUS_RX_QUEUED the message has been freed.
    RadiusAnswer receiveMessage(librad_radius_msg* msg, librad_radius_msg* request,
                                unsigned char* secret, unsigned int secretLength);
    // `handler` gets every answer, on the listener's thread. Call it before the first request.
    void addAuthPacketHandler(void* context, librad_radius_handler handler);
    // With MAC authentication: the clients whose request ended without a decision 30 s ago, to be
    // asked about again. Each is returned once.
    std::vector<std::shared_ptr<Client>> takeUnanswered();

    // The accounting server's secret, else the authentication server's; (null, 0) without either.
    RadiusSharedKey getRadiusSharedKey();
    // For a handler that keeps an answer, after which it returns LIBRAD_RADIUS_RX_QUEUED.
    static void freeMessage(librad_radius_msg* msg);

    // Make and free the accounting record of a station.
    static librad_radius_sta_info* createSta();
    static void deleteSta(librad_radius_sta_info* sta);
    // Copy the station's MAC (6 bytes) of the record with these session words, or this session id,
    // of whatever instance. False when there is none.
    static bool getStaFromList(std::uint32_t high, std::uint32_t low, unsigned char* mac);
    static bool getStaFromList(const char* sessionId, unsigned char* mac);
    // Fills in the MAC of the record that the accounting id names; false when there is none.
    static bool fillClientIdentityOnAcctId(ClientIdentity& identity);

    // Notes a report of the driver. Call it for every report, also of a station without access,
    // because a session counts from the last report before its Start.
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
    // The secrets are handed out as pointers, so it stays as it was read.
    RadiusConfig config_;
    RadiusChannel channel_;
    RadiusAsker asker_;
    std::optional<RadiusAccountant> accountant_;  // none without accounting
};

}  // namespace vesta
