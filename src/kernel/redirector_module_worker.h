#pragma once

// The driver of the redirector module. It tells the module which stations are authorised, dropped
// or sent to the portal, and which white list each of them may reach. It hands every new station
// that the module reports to the portal.
//
// Threads: handle() and start() run on the worker's own thread; everything else may be called from
// any thread, the informator's operations under an instance's lock. A leaf lock guards the record
// of what the module was told. It is held while the module is told, so that a module that starts
// anew is never told what was taken back meanwhile.

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "core/mutex.h"
#include "kernel/kernel_worker.h"
#include "kernel/redirector_records.h"
#include "kernel/redirector_white_lists.h"
#include "ostrel/modules.h"
#include "ostrel/runtime.h"

namespace vesta {

class RedirectorModuleWorker final : public KernelWorker {
public:
    // Opens the way to the module and empties it of stations and lists. When there is no module the
    // worker says so once and looks for it again at later passes. A module that comes late or comes
    // back is told what it missed. `portal` must outlive the worker.
    explicit RedirectorModuleWorker(StationReceiver& portal);
    ~RedirectorModuleWorker() override = default;

    // Hands on one new station, if one is waiting. False when the notifications can't be read.
    bool handle() override;
    // The loop: hands on all that wait, up to 1,000, then sleeps for the period.
    void start() override;

    std::string getProxyIPv4() override;
    // Loads the list under an id of its own, and keeps it for a module that starts anew. Always
    // true.
    bool insertWhiteList(std::shared_ptr<WhiteAddressesList>) override EXCLUDES(toldMutex_);
    // Empties the module of lists; ids start at 1 again. Always true.
    bool wipeWhiteLists() override EXCLUDES(toldMutex_);
    // Tells the module which list the station has. Does nothing when the station has none or its
    // list was not inserted.
    void setClientWhiteList(std::shared_ptr<Client>) EXCLUDES(toldMutex_);
    // The names and ids of the inserted lists, for log records.
    [[nodiscard]] std::string to_string() const EXCLUDES(toldMutex_);

    bool informClientAuthenticated(std::shared_ptr<Client>, ClientStatisticInfo&) override
        EXCLUDES(toldMutex_);
    bool informUpdateClient(std::shared_ptr<Client>, ClientStatisticInfo&) override;
    bool informClientDeuthenticated(std::shared_ptr<Client>, ClientStatisticInfo&) override
        EXCLUDES(toldMutex_);
    bool informClientDrop(std::shared_ptr<Client>, ClientStatisticInfo&) override
        EXCLUDES(toldMutex_);
    bool informClientRemoved(std::shared_ptr<Client>, ClientStatisticInfo&) override
        EXCLUDES(toldMutex_);

private:
    struct ToldStation {
        RedirectorRequest state{};
        std::uint32_t listId = 0;  // 0: none
        RedirectorClientRecord record{};
    };

    // Waits until a notification can be read. Positive when one can, 0 when the time is over, -1
    // with errno set.
    int awaitNotification(int milliseconds) const;
    // Reports the failure and closes the socket, which recover() opens anew.
    void notificationsFailed(const char* call, int error);
    // Opens the socket anew if it was lost, and tells a module that started anew all it missed; at
    // most once a second.
    void recover() EXCLUDES(toldMutex_);
    // Empties the module and tells it all lists and stations again.
    void tellAgain() EXCLUDES(toldMutex_);
    // Tells the module of the station that follows `last`, and moves `last` there. False when none
    // follows. One at a time, so that no event waits for thousands of them.
    bool tellStationAfter(std::optional<RedirectorStationKey>& last) EXCLUDES(toldMutex_);

    void announcePid();
    // One request. Its result is dropped, because the platform library reports a missing module.
    void request(RedirectorRequest number, void* argument);
    void logClientEvent(const char* event, const Client& client) const;
    static RedirectorClientRecord recordOf(const Client& client);
    void clientRequest(RedirectorRequest number, const Client& client) EXCLUDES(toldMutex_);
    void tellStationList(const RedirectorClientRecord& station, std::uint32_t listId);

    const std::unique_ptr<ostrel::ModuleControl> control_;
    ostrel::Fd notifySocket_;
    std::int64_t nextRecovery_ = 0;  // monotonic seconds
    mutable Mutex toldMutex_;
    RedirectorWhiteLists lists_ GUARDED_BY(toldMutex_){*control_};
    std::map<RedirectorStationKey, ToldStation> stations_ GUARDED_BY(toldMutex_);
};

}  // namespace vesta
