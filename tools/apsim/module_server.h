#pragma once

// The user-space module server under <runtime>/modules/: it stands in for the kernel modules where
// there are none. It serves the redirector's requests, sends the redirector's notifications, takes
// what is written to the shaper's and the wifi-auth text file, and hears of every run of the
// deauth-client command.
//
// Threads: every function may be called from any thread; one thread of the object's own moves the
// datagrams.

#include <poll.h>

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "apsim/event_log.h"
#include "apsim/redirector_module.h"
#include "ostrel/mutex.h"
#include "ostrel/runtime.h"

namespace apsim {

struct ModuleServerOptions {
    std::string proxy = "192.168.1.1";      // answer to request 6
    std::string gateway = "192.168.1.254";  // answer to request 25
};

// The last "sta add" of a station, as written: (mode, speed, burst) of either direction.
struct ShaperLimits {
    unsigned transmitMode = 0;
    unsigned long transmit = 0;  // bytes a second, towards the station
    unsigned receiveMode = 0;
    unsigned long receive = 0;  // bytes a second, from the station
};

class ModuleServer {
public:
    // Throws std::runtime_error, naming the path, when the directory or a socket can't be made. A
    // socket file that is left from a server that has died is taken over.
    explicit ModuleServer(EventLog& log, const ModuleServerOptions& options = {},
                          const std::string& runtimeDirectory = ostrel::runtimeDirectory());
    ~ModuleServer();
    ModuleServer(const ModuleServer&) = delete;
    ModuleServer& operator=(const ModuleServer&) = delete;

    [[nodiscard]] RedirectorModule& redirector() { return redirector_; }

    // From now on the redirector takes its time for each answer.
    void answerAfter(Milliseconds delay) { delay_ = delay; }
    // Whether it hangs: what is requested of it then is lost.
    void hang(bool hanging) { hanging_ = hanging; }

    // Announces a station to the daemon: queued, and sent as fast as the daemon reads; what is
    // queued while no daemon is there goes to the one that comes. `value` is the number behind the
    // address (the station's MTU).
    void notify(const StationId& id, const std::string& ip, std::uint32_t value = 1500)
        EXCLUDES(mutex_);
    // Notifications that the daemon's socket has not taken yet.
    [[nodiscard]] std::size_t pendingNotifications() const EXCLUDES(mutex_);

    // What the shaper was last told of the station; nothing when it was deleted or never added.
    // The event is (shaper, "sta add" or "sta del"); the instance name stands for the interface.
    [[nodiscard]] std::optional<ShaperLimits> shaperLimits(const StationId& id) const
        EXCLUDES(mutex_);
    // The value last written under `key` ("username", "domain", "cp-auth-result"), "" when none
    // was. The event is (wifiAuth, key).
    [[nodiscard]] std::string wifiAuth(const std::string& key, const StationId& id) const
        EXCLUDES(mutex_);

    // Called on the server's thread when the deauth-client command is run for a station, after the
    // event (deauth, "deauth-client").
    void setDeauthHandler(std::function<void(const StationId&)> handler) EXCLUDES(mutex_);

private:
    enum class File { redirector, shaper, wifiAuth, deauth };
    struct Connection {
        ostrel::Fd fd;
        File file;
    };

    void run();
    bool sendNotifications(bool writable) EXCLUDES(mutex_);
    void accept(const ostrel::Fd& listener, File file);
    void serveAll(const std::vector<pollfd>& polled, std::size_t first);
    bool serve(const Connection& connection);
    void take(File file, const std::string& text);
    void takeShaper(const std::string& text) EXCLUDES(mutex_);
    void takeWifiAuth(const std::string& text) EXCLUDES(mutex_);
    void takeDeauth(const std::string& text) EXCLUDES(mutex_);
    bool connectNotifications();
    [[nodiscard]] std::string path(const std::string& name) const {
        return directory_ + "/" + name;
    }

    EventLog& log_;
    RedirectorModule redirector_;
    std::atomic<Milliseconds> delay_{Milliseconds(0)};
    std::atomic<bool> hanging_{false};
    const std::string directory_;
    ostrel::Fd wake_;

    // The server's thread alone.
    std::map<File, ostrel::Fd> listeners_;
    std::vector<Connection> connections_;
    ostrel::Fd notifySocket_;
    std::uint32_t notifyPid_ = 0;

    mutable ostrel::Mutex mutex_;
    bool stop_ GUARDED_BY(mutex_) = false;
    std::deque<std::string> notifications_ GUARDED_BY(mutex_);
    std::map<StationId, ShaperLimits> limits_ GUARDED_BY(mutex_);
    std::map<std::pair<std::string, StationId>, std::string> wifiAuth_ GUARDED_BY(mutex_);
    std::function<void(const StationId&)> deauthHandler_ GUARDED_BY(mutex_);
    std::thread thread_;
};

// The other end of the deauth-client command: tells the server of the process's runtime directory.
// False when none is there.
bool sendDeauth(const StationId& id);

}  // namespace apsim
