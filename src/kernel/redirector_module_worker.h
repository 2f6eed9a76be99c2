#pragma once

// The driver of the redirector module. It tells the module which stations are authorised, dropped
// or sent to the portal, and which white list each of them may reach. It hands every new station
// that the module reports to the portal.
//
// Threads: handle() and start() run on the worker's own thread; everything else may be called from
// any thread, the informator's operations under an instance's lock. Nothing waits for the module:
// the worker's sender, on another thread, tells it. A leaf lock guards the names of the lists.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/mutex.h"
#include "kernel/kernel_worker.h"
#include "kernel/redirector_records.h"
#include "kernel/redirector_sender.h"
#include "kernel/redirector_white_lists.h"
#include "ostrel/modules.h"
#include "ostrel/runtime.h"

namespace vesta {

class RedirectorModuleWorker final : public KernelWorker {
public:
    // Has the module emptied of stations and lists. When there is no module, that is said once and
    // it is looked for once a second. A module that comes late or comes back is told what it
    // missed. `portal` must outlive the worker.
    explicit RedirectorModuleWorker(StationReceiver& portal);
    ~RedirectorModuleWorker() override = default;

    // Hands on one new station, if one is waiting. False when the notifications can't be read.
    bool handle() override;
    // The loop: hands on all that wait, up to 1,000, then sleeps for the period.
    void start() override;

    std::string getProxyIPv4() override;
    // Loads the list under an id of its own, and keeps it for a module that starts anew. Always
    // true.
    bool insertWhiteList(std::shared_ptr<WhiteAddressesList>) override EXCLUDES(listsMutex_);
    // Empties the module of lists; ids start at 1 again. Always true.
    bool wipeWhiteLists() override EXCLUDES(listsMutex_);
    bool dropWhiteLists(const std::vector<std::string>& names) override EXCLUDES(listsMutex_);
    [[nodiscard]] bool isQuiet() const override { return sender_.isQuiet(); }
    // The names and ids of the inserted lists, for log records.
    [[nodiscard]] std::string to_string() const EXCLUDES(listsMutex_);

    bool informClientAuthenticated(std::shared_ptr<Client>, ClientStatisticInfo&) override
        EXCLUDES(listsMutex_);
    bool informUpdateClient(std::shared_ptr<Client>, ClientStatisticInfo&) override;
    bool informClientDeuthenticated(std::shared_ptr<Client>, ClientStatisticInfo&) override
        EXCLUDES(listsMutex_);
    bool informClientDrop(std::shared_ptr<Client>, ClientStatisticInfo&) override
        EXCLUDES(listsMutex_);
    bool informClientRemoved(std::shared_ptr<Client>, ClientStatisticInfo&) override;
    bool informClientAddressChanged(std::shared_ptr<Client>, ClientStatisticInfo&) override
        EXCLUDES(listsMutex_);

private:
    // Waits until a notification can be read. Positive when one can, 0 when the time is over, -1
    // with errno set.
    int awaitNotification(int milliseconds) const;
    // Reports the failure and closes the socket, which recover() opens anew.
    void notificationsFailed(const char* call, int error);
    // Opens the socket anew if it was lost; at most once a second.
    void recover();

    void logClientEvent(const char* event, const Client& client) const;
    // The module shall hold this of the station: `number`, and for an unauthorised one its list.
    void setClient(RedirectorRequest number, const Client& client) EXCLUDES(listsMutex_);
    // Appends the request that tells which list the station has. Nothing when it has none or its
    // list was not inserted.
    void setClientWhiteList(const Client& client, const RedirectorClientRecord& record,
                            std::string& state) EXCLUDES(listsMutex_);

    ostrel::Fd notifySocket_;
    std::int64_t nextRecovery_ = 0;  // monotonic seconds
    mutable Mutex listsMutex_;
    RedirectorWhiteLists lists_ GUARDED_BY(listsMutex_);
    RedirectorSender sender_;
};

}  // namespace vesta
