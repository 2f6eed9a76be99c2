#pragma once

// One wireless station that a portal instance knows: its identity, whether it is connected, and its
// own sequence of access scenarios, which answers nearly every question about it.
//
// Threads: no lock; every operation expects the lock of the client's instance.

#include <cstdint>
#include <list>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "core/message_entry.h"
#include "messages/scenario_values.h"
#include "station/client_identity.h"
#include "station/client_statistic_info.h"
#include "station/command_info.h"
#include "station/mac_addr.h"

struct librad_radius_sta_info;

namespace vesta {

class AccessScenarioConstraints;
class ClientMessageExtractor;
class ClientMessageFactory;
class ClientTable;
class PortalInstanceInterface;
class Scenario;
class ScenarioSequence;

class Client {
public:
    // A newly associated station; its first scenario is started. `number` is its MTU in bytes.
    Client(std::unique_ptr<ScenarioSequence> sequence, const MacAddr& mac, const std::string& ip,
           unsigned int number, PortalInstanceInterface& owner);
    // A station restored from a message: with the message's scenarios, login, current scenario and
    // session time. Throws ENTRY_EXCEPTION_TYPE when the message lacks one of them or holds no
    // usable scenario.
    Client(std::shared_ptr<MessageEntry> message, std::shared_ptr<ClientMessageExtractor> extractor,
           const MacAddr& mac, const std::string& ip, unsigned int number,
           PortalInstanceInterface& owner);
    // The same, but with `sequence`, which must take orders, in place of the message's scenarios.
    Client(std::unique_ptr<ScenarioSequence> sequence, const std::shared_ptr<MessageEntry>& message,
           ClientMessageExtractor& extractor, const MacAddr& mac, const std::string& ip,
           unsigned int number, PortalInstanceInterface& owner);
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    [[nodiscard]] std::string getMacAddress() const { return mac_.to_string(); }
    [[nodiscard]] const MacAddr& getMac() const { return mac_; }
    [[nodiscard]] const std::string& getIpAddress() const { return ip_; }
    [[nodiscard]] const std::string& getInterface() const { return interface_; }
    [[nodiscard]] const std::string& getLogin() const { return login_; }
    [[nodiscard]] const std::string& getPassword() const { return password_; }
    // Where the RADIUS server wants this one sent; "" where its scenario decides.
    [[nodiscard]] const std::string& getRedirectUrl() const { return redirectUrl_; }
    [[nodiscard]] std::uint32_t getMtu() const { return mtu_; }
    [[nodiscard]] bool isConnected() const { return connected_; }
    [[nodiscard]] std::int64_t getLastUpdate() const { return lastUpdate_; }  // monotonic seconds
    [[nodiscard]] PortalInstanceInterface& getOwner() const { return owner_; }
    [[nodiscard]] librad_radius_sta_info* getRadiusSta() const { return radiusSta_; }
    // The place in the order of arrival, among the clients of a table.
    [[nodiscard]] std::uint64_t getArrival() const { return arrival_; }

    void setIpAddress(const std::string& ip);
    void setLogin(const std::string& login);
    void setPassword(const std::string& password) { password_ = password; }
    void setRedirectUrl(const char* data, unsigned int length);
    // The client does not own the record; null: it has none.
    void setRadiusSta(librad_radius_sta_info* sta) { radiusSta_ = sta; }

    // "%08X-%08X" of the station record's session words, "" without a record.
    [[nodiscard]] std::string getSessionId() const;
    // By IP, MAC or login; the accounting id never matches. It defines what a look-up in
    // ClientTable finds, and is called by whoever has the client at hand.
    [[nodiscard]] bool isThatYou(const ClientIdentity& identity) const;

    // Called once for each statistics answer: the station is connected when statistics of it came
    // since the last call. True when that changed.
    bool updateConnectStatus();
    void updateStatistic(ClientStatisticInfo& statistics);
    // Has the time since the last statistics count as time of the connection, without new ones.
    void letTimePass();
    [[nodiscard]] ClientStatisticInfo getStatistic() const;
    [[nodiscard]] ClientStatisticInfo getStatistic(EndReason reason) const;

    // Questions that the current scenario answers.
    [[nodiscard]] ACCESS_TYPE getAccessType() const;
    [[nodiscard]] bool isAccessOpen() const { return getAccessType() == ACCESS_ALLOW; }
    // (transmit, receive) in KiB/s, 0 = unlimited.
    [[nodiscard]] std::pair<std::uint32_t, std::uint32_t> getSpeedConstraints() const;
    [[nodiscard]] long getAwayTimeout() const;  // seconds
    // The scenario's white list, else the instance's default.
    [[nodiscard]] std::string getWhiteIpListId() const;
    // Adds the names of the white lists of all its scenarios.
    void collectWhiteLists(std::set<std::string>& names) const;
    bool checkScenarioExpire();
    // Restored from another access point, or past the first redirect scenario.
    [[nodiscard]] bool isAuthorized() const;
    // For whoever needs more of the scenario than the questions above.
    [[nodiscard]] std::shared_ptr<Scenario> get_current_scenario() const;

    // Moves; each returns whether a scenario was entered.
    bool set_auth_scenario_client();
    bool set_deauth_scenario_client();
    bool setMacAuthSuccessScenario();
    bool setMacAuthFailureScenario();
    bool addScenarios(std::vector<std::shared_ptr<Scenario>>& scenarios);
    // "0" changes no scenario: it clears the reason of the last expiry.
    bool setCurrentScenario(const std::string& name);
    void updateScenarioConstraints(AccessScenarioConstraints& constraints);

    // Null when the factory's filter rejects this client.
    std::shared_ptr<MessageEntry> dumpToMessage(std::shared_ptr<ClientMessageFactory>) const;
    std::shared_ptr<MessageEntry> dumpScenarioToMessage(
        std::shared_ptr<ClientMessageFactory>) const;

    // Has the access point's tool throw the station off the air. Neither waits for it nor changes
    // the client.
    void disconnect_client();
    // Takes back what disconnect_client() asked for, unless the tool has been started for it.
    void keep_client();

private:
    friend class ClientTable;

    void changeKey(std::string& key, const std::string& value);
    void setConnected(bool connected);

    std::unique_ptr<ScenarioSequence> sequence_;
    MacAddr mac_;
    std::string ip_;
    std::string interface_;
    std::string login_;
    std::string password_;
    std::uint32_t mtu_;
    std::int64_t lastUpdate_;  // monotonic seconds
    bool updatedSinceCheck_ = false;
    bool connected_ = false;
    bool authorizedBySync_ = false;
    librad_radius_sta_info* radiusSta_ = nullptr;
    PortalInstanceInterface& owner_;
    std::string redirectUrl_;

    // Written by the table in which the client stands; `table_` is null when it stands in none.
    ClientTable* table_ = nullptr;
    std::list<std::shared_ptr<Client>>::iterator place_;
    std::list<Client*>::iterator absence_;  // valid while it is not connected
    std::uint64_t arrival_ = 0;
};

}  // namespace vesta
