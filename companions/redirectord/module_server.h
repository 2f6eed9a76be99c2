#pragma once

// The sockets "redirector", "shaper" and "wifi-auth" of docs/modules.md, as the server.
//
// Threads: the one that runs the event loop.

#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "common/event_loop.h"

namespace redirectord {

class ModuleServer {
public:
    struct Handlers {
        // A request of "redirector"; gives the answer.
        std::function<std::string(std::string_view)> request;
        // The last connection to "redirector" has ended.
        std::function<void()> gone;
        // What was written to the "shaper" and "wifi-auth" files.
        std::function<void(std::string_view)> shaper;
        std::function<void(std::string_view)> wifiAuth;
    };

    // Takes the place under the runtime directory, and makes the directory where it is missing.
    // Throws std::runtime_error when another server has it, or it can't be had.
    explicit ModuleServer(companion::EventLoop& loop);
    ~ModuleServer();
    ModuleServer(const ModuleServer&) = delete;
    ModuleServer& operator=(const ModuleServer&) = delete;

    // Serves from now on.
    void start(Handlers handlers);

private:
    using Text = std::function<void(std::string_view)>;

    struct Place {
        std::string path;
        ostrel::Fd fd;
    };

    void takePlace();
    void leave();
    void watch();
    void look();
    Place listenAt(const std::string& name) const;
    void acceptRedirector();
    void serveRedirector(int fd);
    void acceptText(const Place& place, const Text& text);
    bool readText(int fd, const Text& text);
    void closeConnection(int fd);
    void closeSilent();

    companion::EventLoop& loop_;
    Handlers handlers_;
    const std::string directory_;
    ostrel::Fd lock_;
    Place redirector_;
    Place shaper_;
    Place wifiAuth_;
    struct Connection {
        ostrel::Fd fd;
        bool redirector = false;
        companion::EventLoop::Clock::time_point since;
    };
    std::map<int, Connection> connections_;
    companion::EventLoop::TimerId sweep_ = 0;
    companion::EventLoop::TimerId look_ = 0;
};

}  // namespace redirectord
