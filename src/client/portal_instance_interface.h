#pragma once

// The captive portal of one VAP, as everybody else sees it.
//
// Threads: what is handed around is the threadsafe holder, whose calls take the instance's one
// lock. Getters of fixed properties, setWhiteIpListData() and getRadiusSharedKey() take none.

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "core/message_entry.h"
#include "station/mac_addr.h"

namespace vesta {

class AccessScenarioConstraints;
class Client;
class ClientMessageExtractor;
class ClientMessageFactory;
class CommandInfo;
class Informator;
class PortalInstanceMessageFactory;
class Scenario;
struct ClientIdentity;
struct ClientStatisticInfo;

// A shared secret; null and 0 when there is none. Owned by the instance's RADIUS worker.
using RadiusSharedKey = std::pair<unsigned char*, unsigned int>;

// What became of a login.
enum AuthenticateResult {
    AUTHENTICATED = 0,
    AUTHENTICATION_PENDING = 1,  // the RADIUS server's answer comes later
    NOT_AUTHENTICATED = 2,       // not by this path
    CLIENT_NOT_FOUND = 3,        // no connected station has one of these keys
};

// What a station must be for removeClientWhen() to remove it.
enum class RemoveWhen { always, disconnected, unauthorised };

class PortalInstanceInterface {
public:
    virtual std::string getName() const = 0;
    virtual std::string getAttachedInterface() const = 0;
    // "" when the system knows no such interface.
    virtual std::string getAttachedInterfaceMac() const = 0;
    virtual std::string getSsid() const = 0;
    // The RADIUS domain.
    virtual std::string getDomain() const = 0;
    // The AP location: the mobility domain.
    virtual std::string getApLocation() const = 0;
    // The default white list of the instance's clients.
    virtual std::string getWhiteIpListId() const = 0;
    // (identifier, data) of the default white list.
    virtual void setWhiteIpListData(const std::pair<std::string, std::string>&) = 0;
    virtual void addClientsEventsInformator(std::shared_ptr<Informator>) = 0;
    // Takes in a new station; true also when it is here already, false without a valid MAC. `value`
    // is its MTU in bytes, as the redirector module reports it.
    virtual bool addClient(const MacAddr& mac, const std::string& ip, unsigned int value) = 0;
    // The same with a record of another access point. Throws ENTRY_EXCEPTION_TYPE when it can't be
    // read.
    virtual bool addClient(std::shared_ptr<MessageEntry>, std::shared_ptr<ClientMessageExtractor>,
                           const std::string& ip, unsigned int value) = 0;
    // An AuthenticateResult.
    virtual int authenticateClient(ClientIdentity&, const std::string& login,
                                   const std::string& password) = 0;
    virtual void delClient(std::shared_ptr<Client>, const CommandInfo&) {}
    // The four moves of a client; true when it entered another scenario. A client that has left the
    // table stays as it is (false).
    virtual bool set_auth_scenario_client(std::shared_ptr<Client>) = 0;
    virtual bool set_deauth_scenario_client(std::shared_ptr<Client>) = 0;
    virtual bool setMacAuthSuccessScenario(std::shared_ptr<Client>) = 0;
    virtual bool setMacAuthFailureScenario(std::shared_ptr<Client>) = 0;
    // Runs `change` on the client under the instance's lock; false when it has left the table.
    // `change` must not call the instance.
    virtual bool changeClient(const std::shared_ptr<Client>& client,
                              const std::function<void(Client&)>& change) = 0;
    // The same, and then one of the four moves, with nothing in between. True when it moved.
    using Move = bool (PortalInstanceInterface::*)(std::shared_ptr<Client>);
    virtual bool changeAndMoveClient(const std::shared_ptr<Client>& client,
                                     const std::function<void(Client&)>& change, Move move) {
        return changeClient(client, change) && (this->*move)(client);
    }
    virtual bool setClientScenario(ClientIdentity&, const std::string& name,
                                   AccessScenarioConstraints&) = 0;
    virtual bool addClientScenarios(ClientIdentity&, std::vector<std::shared_ptr<Scenario>>&) = 0;
    // The virtual portal of the configuration's first redirect scenario.
    virtual std::string getSharedPortalName() const = 0;
    virtual void updateClientIp(ClientIdentity&, const std::string& ip) = 0;
    virtual void updateClientStatistic(ClientStatisticInfo&) = 0;
    virtual void checkClientsExpired() = 0;
    // The same while no statistics come: time goes on for those who are connected, and nobody
    // counts as disconnected.
    virtual void checkClientsWithoutStatistics() = 0;
    virtual void makeClientsPeriodicUpdate() = 0;
    // Throws the station off the air and removes it; false when it isn't here. The session id finds
    // it, else the MAC, else the name; every one of them that is given must match.
    virtual bool disconnectClient(ClientIdentity&, const CommandInfo&) = 0;
    virtual bool isYourClient(ClientIdentity&) const = 0;
    virtual bool isClientConnected(ClientIdentity&) const = 0;
    virtual RadiusSharedKey getRadiusSharedKey() = 0;
    // The dumps return what the factory wrote: one message for the instance or the client (null
    // when the client isn't here or was filtered), or one for each client.
    virtual std::shared_ptr<MessageEntry> dumpToMessage(
        std::shared_ptr<PortalInstanceMessageFactory>) const = 0;
    virtual std::shared_ptr<MessageEntry> dumpClientToMessage(
        const ClientIdentity&, std::shared_ptr<ClientMessageFactory>) const = 0;
    virtual std::vector<std::shared_ptr<MessageEntry>> dumpClientsToMessages(
        std::shared_ptr<ClientMessageFactory>) const = 0;
    virtual std::vector<std::shared_ptr<MessageEntry>> dumpScenariosToMessages(
        std::shared_ptr<ClientMessageFactory>) const = 0;
    virtual std::shared_ptr<MessageEntry> dumpScenariosToMessage(
        std::shared_ptr<ClientMessageFactory>, const ClientIdentity&) const = 0;

    // Removes the station where the condition holds, but leaves it on the air. True when it is not
    // here afterwards.
    virtual bool removeClientWhen(RemoveWhen condition, const ClientIdentity&,
                                  const CommandInfo&) = 0;

    // Adds the names of the white lists that the instance and its stations refer to.
    virtual void collectWhiteLists(std::set<std::string>&) const {}

    // Search predicates: exact comparison, the first match of a linear search wins.
    class PortalFindByInterface {
    public:
        explicit PortalFindByInterface(std::string name) : name_(std::move(name)) {}
        bool operator()(const std::shared_ptr<PortalInstanceInterface>& instance) const {
            return instance->getAttachedInterface() == name_;
        }

    private:
        std::string name_;
    };
    class PortalFindBySsid {
    public:
        explicit PortalFindBySsid(std::string ssid) : ssid_(std::move(ssid)) {}
        bool operator()(const std::shared_ptr<PortalInstanceInterface>& instance) const {
            return instance->getSsid() == ssid_;
        }

    private:
        std::string ssid_;
    };

protected:
    // Instances are owned through shared pointers to the concrete class.
    ~PortalInstanceInterface() = default;
};

}  // namespace vesta
