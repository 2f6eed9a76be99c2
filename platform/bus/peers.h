#pragma once

// The open connections, and which module numbers their peers have shown.
//
// Threads: any; each call is complete in itself.

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "connection.h"
#include "ostrel/mutex.h"

namespace ostrel::bus {

class Peers {
public:
    void add(std::shared_ptr<Connection> connection) EXCLUDES(mutex_);
    // Null when there is none with this id.
    [[nodiscard]] std::shared_ptr<Connection> find(std::uint64_t id) const EXCLUDES(mutex_);
    void remove(const std::shared_ptr<Connection>& connection) EXCLUDES(mutex_);
    [[nodiscard]] std::vector<std::shared_ptr<Connection>> all() const EXCLUDES(mutex_);
    [[nodiscard]] std::size_t size() const EXCLUDES(mutex_);
    // Those whose peer is this process.
    [[nodiscard]] std::size_t countOf(pid_t process) const EXCLUDES(mutex_);

    // Notes that the peer of `connection` calls itself `module`. The last 16 numbers of a
    // connection are kept.
    void show(std::uint32_t module, const std::shared_ptr<Connection>& connection) EXCLUDES(mutex_);
    // The connection on which `module` was shown last, or null.
    [[nodiscard]] std::shared_ptr<Connection> route(std::uint32_t module) const EXCLUDES(mutex_);
    // Sends nothing on `connection` any more.
    void dropRoutes(const std::shared_ptr<Connection>& connection) EXCLUDES(mutex_);

private:
    struct Route {
        std::uint32_t module;
        std::shared_ptr<Connection> connection;
    };
    void forget(const std::shared_ptr<Connection>& connection) REQUIRES(mutex_);
    void makeRoom(const std::shared_ptr<Connection>& connection) REQUIRES(mutex_);

    mutable Mutex mutex_;
    std::map<std::uint64_t, std::shared_ptr<Connection>> open_ GUARDED_BY(mutex_);
    std::vector<Route> routes_ GUARDED_BY(mutex_);  // the most recent last
};

}  // namespace ostrel::bus
