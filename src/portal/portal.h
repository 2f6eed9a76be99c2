#pragma once

// The daemon's central object: one portal instance for each served VAP, and the routing of every
// event and command to the right one. Its loop, on the main thread, asks for fresh statistics once
// a second, and at once for a station that waits for its first record, and drives the instances'
// periodic work.
//
// Threads: the portal takes no lock of its own; its set of instances is fixed at construction and
// every instance is reached through its holder. The setters are called before the threads start.

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/loop_worker.h"
#include "core/message_entry.h"
#include "kernel/kernel_worker.h"
#include "radius/session_directory.h"
#include "statistics/early_questions.h"
#include "statistics/information_collector.h"

class IpcInterface;

namespace vesta {

class AccessScenarioConstraints;
class ClientInformationStore;
class ClientMessageFactory;
class CommandInfo;
class Informator;
class KernelWhiteListStore;
class PortalConfiguration;
class PortalInstanceInterface;
class PortalInstanceMessageExtractor;
class PortalInstanceMessageFactory;
class RedirectorModuleWorker;
class Scenario;
class WhiteAddressesList;
enum class RemoveWhen;
struct ClientIdentity;
struct ClientStatisticInfo;
struct SharedInformators;

class Portal : public LoopWorker,
               public InformationCaller,
               public StationReceiver,
               public SessionDirectory {
public:
    // Builds everything from the configuration document. `uplink` and `apLocation` overrule its
    // "uplink-interface" and "ap-location" where they are not empty. Throws ENTRY_EXCEPTION_TYPE
    // for a missing key, after logging which. Ends the process (status 1) when no VAP is served.
    Portal(std::shared_ptr<IpcInterface> ipc, std::shared_ptr<MessageEntry> config,
           const std::string& uplink, const std::string& apLocation);
    ~Portal() override;

    // Runs the redirector worker on its own thread and the loop on this one. Returns after stop(),
    // when that thread has ended.
    void start() override;
    bool handle() override;
    // Fresh statistics, on the thread that delivers them.
    void responseCallback(std::vector<ClientStatisticInfo>& statistics) override;

    void setInformationCollector(std::shared_ptr<InformationCollector> collector);
    // Kept as a weak pointer.
    void setClientInformationStore(std::shared_ptr<ClientInformationStore> store);
    void addClientsEventsInformator(std::shared_ptr<Informator> informator);

    // Takes in a station that the redirector module reports. `value` is its MTU in bytes. False
    // when no instance serves the interface.
    bool addClient(const MacAddr& mac, const std::string& ip, unsigned int value,
                   const std::string& interfaceName) override;
    // An AuthenticateResult; CLIENT_NOT_FOUND when no instance has the station connected.
    int authenticateClient(ClientIdentity& identity, const std::string& login,
                           const std::string& password);
    // These three throw a station off the air and remove it; true when it was found. From the first
    // instance that has it:
    bool disconnectClient(ClientIdentity& identity, const CommandInfo& command) override;
    bool disconnectClientFromInterface(const std::string& interfaceName, ClientIdentity& identity,
                                       const CommandInfo& command);
    // From every instance of the SSID that has it:
    bool disconnectClientFrom(const std::string& ssid, ClientIdentity& identity,
                              const CommandInfo& command);
    // Removes the station, but leaves it on the air, from every instance of the SSID where the
    // condition holds, except the one on the interface `kept`. True when none has it afterwards.
    bool removeClientFrom(const std::string& ssid, const ClientIdentity& identity,
                          RemoveWhen condition, const CommandInfo& command,
                          const std::string& kept = "");
    // The secret of the instance that has the station connected, else of the first one.
    RadiusSharedKey getClientRadiusSharedKey(ClientIdentity& identity) override;
    [[nodiscard]] std::string getUplink() const override { return uplink_; }

    [[nodiscard]] std::string getProxyIp() const;
    // "http://<proxy>:8888/"
    [[nodiscard]] std::string getProxyUrl() const;
    [[nodiscard]] std::shared_ptr<KernelWhiteListStore> getWhiteListStore() const;
    // Forgets the lists of other access points and puts the configured lists and defaults back.
    void clearWhiteIPLists();
    // Takes over another access point's change of an instance's default white list.
    void updatePortalInstance(std::shared_ptr<MessageEntry> message,
                              std::shared_ptr<PortalInstanceMessageExtractor> extractor);

    bool addClientScenarios(ClientIdentity& identity,
                            std::vector<std::shared_ptr<Scenario>>& scenarios);
    bool setClientScenario(ClientIdentity& identity, const std::string& name,
                           AccessScenarioConstraints& constraints);

    // Null when no instance has the client, or the factory's filter rejects it.
    std::shared_ptr<MessageEntry> dumpClientToMessage(const ClientIdentity& identity,
                                                      std::shared_ptr<ClientMessageFactory>) const;
    std::vector<std::shared_ptr<MessageEntry>> dumpInstancesToMessages(
        std::shared_ptr<PortalInstanceMessageFactory>) const;
    std::vector<std::shared_ptr<MessageEntry>> dumpClientsToMessages(
        std::shared_ptr<ClientMessageFactory>) const;
    std::vector<std::shared_ptr<MessageEntry>> dumpScenariosToMessages(
        std::shared_ptr<ClientMessageFactory>) const;
    // The client, looked for in the instances of this SSID; null when there is none.
    std::shared_ptr<MessageEntry> dumpScenariosToMessage(std::shared_ptr<ClientMessageFactory>,
                                                         const ClientIdentity& identity,
                                                         const std::string& ssid) const;

protected:
    // Asks the early questions meanwhile.
    void sleepPeriod() override;

private:
    using Instance = std::shared_ptr<PortalInstanceInterface>;

    void addWhiteIpLists(const PortalConfiguration& configuration);
    void initInterfces(const PortalConfiguration& configuration);
    void addInstance(const std::shared_ptr<MessageEntry>& entry,
                     const std::shared_ptr<MessageEntry>& vap,
                     const SharedInformators& informators);
    Instance findConnecting(ClientIdentity& identity) const;
    bool isUpToDate(const PortalInstanceInterface& instance, const MacAddr& mac) const;
    bool addRememberedClient(PortalInstanceInterface& instance, const MacAddr& mac,
                             const std::string& ip, unsigned int value);
    bool askForStatistics();
    // Forgets the lists of stations' own that nobody refers to any more; at a quiet moment, every
    // few minutes.
    void dropUnusedLists();
    // What only monitord's answers drive otherwise, while there are none.
    void checkWithoutStatistics();

    std::shared_ptr<IpcInterface> ipc_;
    std::vector<Instance> instances_;
    std::vector<std::pair<std::string, std::string>> configuredDefaults_;  // one an instance
    std::shared_ptr<RedirectorModuleWorker> redirectorWorker_;
    std::shared_ptr<KernelWhiteListStore> whiteListStore_;
    std::vector<std::shared_ptr<WhiteAddressesList>> configuredLists_;
    std::shared_ptr<InformationCollector> collector_;
    EarlyQuestions earlyQuestions_;
    std::int64_t nextListCheck_ = 0;        // monotonic seconds; of the loop alone
    std::atomic<std::int64_t> lastAnswer_;  // monotonic seconds
    std::atomic<bool> silent_{false};       // monitord has not answered for too long
    std::weak_ptr<ClientInformationStore> clientStore_;
    std::string uplink_;
    std::string apLocation_;
};

}  // namespace vesta
