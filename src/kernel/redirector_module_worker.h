#pragma once

// The driver of the redirector module: tells it which stations are authorised, dropped or sent to
// the portal and which white list each may reach, and hands every new station that the module
// reports to the portal.
//
// Threads: handle() and start() run on the worker's own thread; everything else may be called from
// any thread, the informator's operations under an instance's lock. The map of the lists' ids has a
// leaf lock, which is held during no request.

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "core/mutex.h"
#include "kernel/kernel_worker.h"
#include "kernel/redirector_records.h"
#include "ostrel/modules.h"
#include "ostrel/runtime.h"

namespace vesta {

class RedirectorModuleWorker final : public KernelWorker {
public:
    // Opens the way to the module and empties it of stations and lists. Where there is no module
    // the worker goes on without, says so once, and looks for it again at later passes.
    explicit RedirectorModuleWorker(StationReceiver& portal);
    ~RedirectorModuleWorker() override = default;

    // Hands on one new station, if one is waiting. False when the notifications can't be read.
    bool handle() override;
    // The loop: hands on all that wait, up to 1,000, then sleeps for the period.
    void start() override;

    std::string getProxyIPv4() override;
    // Loads the list under an id of its own. Always true. Lists that are inserted at the same time
    // get different ids, but the caller keeps their chunks apart.
    bool insertWhiteList(std::shared_ptr<WhiteAddressesList>) override EXCLUDES(listsMutex_);
    // Empties the module of lists; ids start at 1 again. Always true.
    bool wipeWhiteLists() override EXCLUDES(listsMutex_);
    // Tells the module which list the station has; does nothing for a station without a list, or
    // with one that was not inserted.
    void setClientWhiteList(std::shared_ptr<Client>) EXCLUDES(listsMutex_);
    // The names and ids of the inserted lists, for log records.
    [[nodiscard]] std::string to_string() const EXCLUDES(listsMutex_);

    bool informClientAuthenticated(std::shared_ptr<Client>, ClientStatisticInfo&) override;
    bool informUpdateClient(std::shared_ptr<Client>, ClientStatisticInfo&) override;
    bool informClientDeuthenticated(std::shared_ptr<Client>, ClientStatisticInfo&) override;
    bool informClientDrop(std::shared_ptr<Client>, ClientStatisticInfo&) override;
    bool informClientRemoved(std::shared_ptr<Client>, ClientStatisticInfo&) override;

private:
    // Waits until a notification can be read: greater than 0, 0 after the time, -1 with errno.
    int awaitNotification(int milliseconds) const;
    // Reports the failure and takes the socket for lost until it can be opened anew.
    void notificationsFailed(const char* call, int error);
    // Opens what is lost and has the module know of it, at most once a second.
    void recover();

    void announcePid();
    // One request. Nobody depends on the module's taking it; the library reports its absence.
    void request(RedirectorRequest number, void* argument);
    void logClientEvent(const char* event, const Client& client) const;
    void clientRequest(RedirectorRequest number, const Client& client);
    std::uint32_t reserveListId(const std::string& name) EXCLUDES(listsMutex_);
    void sendAddresses(const WhiteAddressesList& list, std::uint32_t id);
    void sendStrings(RedirectorRequest number, std::uint32_t id,
                     WhiteAddressesList::Strings::const_iterator first,
                     WhiteAddressesList::Strings::const_iterator last);

    ostrel::Fd notifySocket_;
    std::int64_t nextRecovery_ = 0;  // monotonic seconds
    std::unique_ptr<ostrel::ModuleControl> control_;
    // A module that is back may be a new one, which does not know whom to notify.
    std::atomic<bool> moduleAway_{false};
    mutable Mutex listsMutex_;
    std::map<std::string, std::uint32_t> whiteListIds_ GUARDED_BY(listsMutex_);  // by list name
};

}  // namespace vesta
