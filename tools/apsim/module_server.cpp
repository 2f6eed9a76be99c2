#include "apsim/module_server.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <sstream>
#include <utility>

#include "apsim/sockets.h"
#include "ostrel/addresses.h"

namespace apsim {

namespace {

constexpr int kBacklog = 256;
constexpr std::size_t kLargestDatagram = 8192;
constexpr std::size_t kNetlinkHeader = 16;
constexpr std::size_t kNameBytes = 16;
// How often a daemon that isn't there is looked for while notifications wait for it.
constexpr int kRetryMilliseconds = 50;

constexpr const char* kDirectory = "/modules";

std::string notification(const StationId& id, const std::string& ip, std::uint32_t value) {
    std::string datagram(kNetlinkHeader, '\0');
    const ostrel::MacBytes mac = ostrel::parseMac(id.mac).value_or(ostrel::MacBytes{});
    datagram.append(mac.begin(), mac.end());
    std::string name = id.interface.substr(0, kNameBytes - 1);
    name.resize(kNameBytes, '\0');
    datagram += name;
    const in_addr address = ostrel::parseIpv4(ip).value_or(in_addr{});
    datagram.append(reinterpret_cast<const char*>(&address), sizeof address);
    datagram.append(reinterpret_cast<const char*>(&value), sizeof value);
    return datagram;
}

}  // namespace

ModuleServer::ModuleServer(EventLog& log, const ModuleServerOptions& options,
                           const std::string& runtimeDirectory)
    : log_(log),
      redirector_(log, options.proxy, options.gateway),
      directory_(runtimeDirectory + kDirectory),
      wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!ostrel::makeDirectories(directory_, 0750)) {
        throw systemError("can't make " + directory_);
    }
    for (const auto& [file, name] :
         {std::pair(File::redirector, "redirector"), std::pair(File::shaper, "shaper"),
          std::pair(File::wifiAuth, "wifi-auth"), std::pair(File::deauth, "deauth")}) {
        listeners_.emplace(file, listenAt(path(name), kBacklog));
    }
    thread_ = std::thread([this] { run(); });
}

ModuleServer::~ModuleServer() {
    {
        ostrel::MutexLock lock(mutex_);
        stop_ = true;
    }
    eventfd_write(wake_.get(), 1);
    thread_.join();
    for (const char* name : {"redirector", "shaper", "wifi-auth", "deauth"}) {
        unlink(path(name).c_str());
    }
}

void ModuleServer::run() {
    bool writable = true;
    for (;;) {
        const bool waiting = sendNotifications(writable);
        std::vector<pollfd> polled{{wake_.get(), POLLIN, 0}};
        polled.push_back({notifySocket_.get(), static_cast<short>(waiting ? POLLOUT : 0), 0});
        for (const auto& [file, listener] : listeners_) {
            polled.push_back({listener.get(), POLLIN, 0});
        }
        const std::size_t firstConnection = polled.size();
        for (const Connection& connection : connections_) {
            polled.push_back({connection.fd.get(), POLLIN, 0});
        }
        const bool looking = waiting && !notifySocket_.valid();
        if (poll(polled.data(), polled.size(), looking ? kRetryMilliseconds : -1) < 0 &&
            errno != EINTR) {
            return;
        }
        eventfd_t ignored = 0;
        eventfd_read(wake_.get(), &ignored);
        {
            ostrel::MutexLock lock(mutex_);
            if (stop_) {
                return;
            }
        }
        writable = polled[1].revents != 0 || !waiting;
        serveAll(polled, firstConnection);
        std::size_t place = 2;
        for (const auto& [file, listener] : listeners_) {
            if (polled[place++].revents != 0) {
                accept(listener, file);
            }
        }
    }
}

// In the order in which they came, since a later command overrules an earlier one.
void ModuleServer::serveAll(const std::vector<pollfd>& polled, std::size_t first) {
    std::vector<Connection> kept;
    for (Connection& connection : connections_) {
        if (polled[first++].revents == 0 || serve(connection)) {
            kept.push_back(std::move(connection));
        }
    }
    connections_.swap(kept);
}

void ModuleServer::accept(const ostrel::Fd& listener, File file) {
    for (;;) {
        ostrel::Fd fd(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (!fd.valid()) {
            return;
        }
        connections_.push_back({std::move(fd), file});
    }
}

bool ModuleServer::serve(const Connection& connection) {
    std::array<char, kLargestDatagram> buffer{};
    const ssize_t size = recv(connection.fd.get(), buffer.data(), buffer.size(), 0);
    if (size < 0) {
        return errno == EAGAIN || errno == EINTR;
    }
    if (size == 0) {
        return false;
    }
    const std::string datagram(buffer.data(), static_cast<std::size_t>(size));
    if (connection.file == File::redirector) {
        if (hanging_) {
            return true;
        }
        const std::string answer = redirector_.handle(datagram);
        std::this_thread::sleep_for(delay_.load());
        return send(connection.fd.get(), answer.data(), answer.size(), MSG_NOSIGNAL) >= 0;
    }
    take(connection.file, datagram);
    return true;
}

void ModuleServer::take(File file, const std::string& text) {
    switch (file) {
        case File::shaper:
            takeShaper(text);
            break;
        case File::wifiAuth:
            takeWifiAuth(text);
            break;
        case File::deauth:
            takeDeauth(text);
            break;
        case File::redirector:
            break;
    }
}

void ModuleServer::takeShaper(const std::string& text) {
    std::istringstream words(text);
    std::string subject;
    std::string verb;
    StationId id;
    words >> subject >> verb >> id.interface >> id.mac;
    std::string rest;
    std::getline(words, rest);
    std::istringstream numbers(rest);
    ShaperLimits limits;
    unsigned long burst = 0;
    ostrel::MutexLock lock(mutex_);
    limits_.erase(id);
    if (verb == "add" && numbers >> limits.transmitMode >> limits.transmit >> burst >>
                             limits.receiveMode >> limits.receive >> burst) {
        limits_[id] = limits;
    }
    log_.add({Party::shaper, subject + " " + verb, id, rest});
}

void ModuleServer::takeWifiAuth(const std::string& text) {
    std::istringstream words(text);
    std::string key;
    StationId id;
    words >> key >> id.interface >> id.mac;
    std::string value;
    words.get();
    std::getline(words, value, '\0');  // a login may hold blanks
    ostrel::MutexLock lock(mutex_);
    wifiAuth_[{key, id}] = value;
    log_.add({Party::wifiAuth, key, id, value});
}

void ModuleServer::takeDeauth(const std::string& text) {
    std::istringstream words(text);
    StationId id;
    words >> id.interface >> id.mac;
    log_.add({Party::deauth, "deauth-client", id, ""});
    std::function<void(const StationId&)> handler;
    {
        ostrel::MutexLock lock(mutex_);
        handler = deauthHandler_;
    }
    if (handler) {
        handler(id);
    }
}

// Sends what waits while the daemon's socket takes it; whether something is left.
bool ModuleServer::sendNotifications(bool writable) {
    if (notifyPid_ != redirector_.notifyPid()) {
        notifyPid_ = redirector_.notifyPid();
        notifySocket_.reset();
    }
    ostrel::MutexLock lock(mutex_);
    while ((writable || !notifySocket_.valid()) && !notifications_.empty()) {
        if (!notifySocket_.valid() && !connectNotifications()) {
            break;
        }
        const std::string& next = notifications_.front();
        if (send(notifySocket_.get(), next.data(), next.size(), MSG_DONTWAIT | MSG_NOSIGNAL) < 0) {
            if (errno != EAGAIN) {
                notifySocket_.reset();  // that daemon has gone; the next one says so with its pid
            }
            break;
        }
        notifications_.pop_front();
    }
    return !notifications_.empty();
}

bool ModuleServer::connectNotifications() {
    if (notifyPid_ == 0) {
        return false;
    }
    notifySocket_ = connectTo(path("notify-" + std::to_string(notifyPid_)), SOCK_DGRAM);
    return notifySocket_.valid();
}

void ModuleServer::notify(const StationId& id, const std::string& ip, std::uint32_t value) {
    {
        ostrel::MutexLock lock(mutex_);
        notifications_.push_back(notification(id, ip, value));
    }
    eventfd_write(wake_.get(), 1);
}

std::size_t ModuleServer::pendingNotifications() const {
    ostrel::MutexLock lock(mutex_);
    return notifications_.size();
}

std::optional<ShaperLimits> ModuleServer::shaperLimits(const StationId& id) const {
    ostrel::MutexLock lock(mutex_);
    const auto found = limits_.find(id);
    return found == limits_.end() ? std::nullopt : std::optional(found->second);
}

std::string ModuleServer::wifiAuth(const std::string& key, const StationId& id) const {
    ostrel::MutexLock lock(mutex_);
    const auto found = wifiAuth_.find({key, id});
    return found == wifiAuth_.end() ? "" : found->second;
}

void ModuleServer::setDeauthHandler(std::function<void(const StationId&)> handler) {
    ostrel::MutexLock lock(mutex_);
    deauthHandler_ = std::move(handler);
}

bool sendDeauth(const StationId& id) {
    const ostrel::Fd socket =
        connectTo(ostrel::runtimeDirectory() + kDirectory + "/deauth", SOCK_SEQPACKET);
    const std::string text = id.interface + " " + id.mac;
    return socket.valid() && send(socket.get(), text.data(), text.size(), MSG_NOSIGNAL) >= 0;
}

}  // namespace apsim
