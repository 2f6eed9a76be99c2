#include "peers.h"

#include <algorithm>
#include <utility>

namespace ostrel::bus {
namespace {

constexpr std::ptrdiff_t kMaxNumbersOfOneConnection = 16;

}  // namespace

void Peers::add(std::shared_ptr<Connection> connection) {
    MutexLock lock(mutex_);
    const std::uint64_t id = connection->id();
    open_[id] = std::move(connection);
}

std::shared_ptr<Connection> Peers::find(std::uint64_t id) const {
    MutexLock lock(mutex_);
    const auto found = open_.find(id);
    return found != open_.end() ? found->second : nullptr;
}

void Peers::remove(const std::shared_ptr<Connection>& connection) {
    MutexLock lock(mutex_);
    forget(connection);
    open_.erase(connection->id());
}

std::vector<std::shared_ptr<Connection>> Peers::all() const {
    MutexLock lock(mutex_);
    std::vector<std::shared_ptr<Connection>> connections;
    for (const auto& entry : open_) {
        connections.push_back(entry.second);
    }
    return connections;
}

std::size_t Peers::size() const {
    MutexLock lock(mutex_);
    return open_.size();
}

std::size_t Peers::countOf(pid_t process) const {
    MutexLock lock(mutex_);
    std::size_t count = 0;
    for (const auto& entry : open_) {
        count += entry.second->process() == process ? 1U : 0U;
    }
    return count;
}

void Peers::show(std::uint32_t module, const std::shared_ptr<Connection>& connection) {
    MutexLock lock(mutex_);
    const auto last = std::find_if(routes_.rbegin(), routes_.rend(),
                                   [=](const Route& route) { return route.module == module; });
    if (last != routes_.rend() && last->connection == connection) {
        return;
    }
    const auto same = [&](const Route& route) {
        return route.module == module && route.connection == connection;
    };
    routes_.erase(std::remove_if(routes_.begin(), routes_.end(), same), routes_.end());
    makeRoom(connection);
    routes_.push_back(Route{module, connection});
}

std::shared_ptr<Connection> Peers::route(std::uint32_t module) const {
    MutexLock lock(mutex_);
    const auto last = std::find_if(routes_.rbegin(), routes_.rend(),
                                   [=](const Route& route) { return route.module == module; });
    return last != routes_.rend() ? last->connection : nullptr;
}

void Peers::dropRoutes(const std::shared_ptr<Connection>& connection) {
    MutexLock lock(mutex_);
    forget(connection);
}

void Peers::forget(const std::shared_ptr<Connection>& connection) {
    routes_.erase(
        std::remove_if(routes_.begin(), routes_.end(),
                       [&](const Route& route) { return route.connection == connection; }),
        routes_.end());
}

void Peers::makeRoom(const std::shared_ptr<Connection>& connection) {
    const auto isOfConnection = [&](const Route& route) { return route.connection == connection; };
    if (std::count_if(routes_.begin(), routes_.end(), isOfConnection) >=
        kMaxNumbersOfOneConnection) {
        routes_.erase(std::find_if(routes_.begin(), routes_.end(), isOfConnection));
    }
}

}  // namespace ostrel::bus
