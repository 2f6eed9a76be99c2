#include "redirectord/module_server.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "ostrel/addresses.h"

namespace redirectord {
namespace {

using std::chrono::seconds;

// A daemon that marks thousands of stations makes as many connections, without waiting.
constexpr int kBacklog = 4096;
constexpr std::size_t kMostConnections = 256;
constexpr int kAcceptsAtOnce = 256;
// Somebody may remove the runtime directory.
constexpr seconds kBetweenLooks{1};
// Who connected to a text file and writes nothing loses its place.
constexpr seconds kSilence{5};
// The longest request has 1,036 bytes; a text line is shorter.
constexpr std::size_t kDatagramBytes = 2048;

[[noreturn]] void fail(const std::string& what) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

}  // namespace

ModuleServer::ModuleServer(companion::EventLoop& loop)
    : loop_(loop), directory_(ostrel::runtimeDirectory() + "/modules") {
    takePlace();
}

void ModuleServer::takePlace() {
    if (!ostrel::makeDirectories(directory_, 0750)) {
        fail(directory_);
    }
    // The lock ends with the process, however that ends.
    const std::string lock = directory_ + "/redirectord.lock";
    lock_.reset(open(lock.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (!lock_.valid()) {
        fail(lock);
    }
    if (flock(lock_.get(), LOCK_EX | LOCK_NB) != 0) {
        throw std::runtime_error("another redirectord serves " + directory_);
    }
    redirector_ = listenAt("redirector");
    shaper_ = listenAt("shaper");
    wifiAuth_ = listenAt("wifi-auth");
}

ModuleServer::~ModuleServer() {
    loop_.cancel(sweep_);
    loop_.cancel(look_);
    leave();
    for (const auto& [fd, connection] : connections_) {
        loop_.forget(fd);
    }
}

ModuleServer::Place ModuleServer::listenAt(const std::string& name) const {
    Place place;
    place.path = directory_ + "/" + name;
    sockaddr_un address;
    if (!ostrel::unixAddress(place.path, address)) {
        fail(place.path);
    }
    unlink(place.path.c_str());
    place.fd.reset(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!place.fd.valid() ||
        bind(place.fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        chmod(place.path.c_str(), 0660) != 0 || listen(place.fd.get(), kBacklog) != 0) {
        fail(place.path);
    }
    return place;
}

void ModuleServer::start(Handlers handlers) {
    handlers_ = std::move(handlers);
    watch();
    sweep_ = loop_.every(kSilence, [this] { closeSilent(); });
    look_ = loop_.every(kBetweenLooks, [this] { look(); });
}

void ModuleServer::watch() {
    loop_.whenReadable(redirector_.fd.get(), [this] { acceptRedirector(); });
    loop_.whenReadable(shaper_.fd.get(), [this] { acceptText(shaper_, handlers_.shaper); });
    loop_.whenReadable(wifiAuth_.fd.get(), [this] { acceptText(wifiAuth_, handlers_.wifiAuth); });
}

// The connections that there are live on.
void ModuleServer::look() {
    if (access(redirector_.path.c_str(), F_OK) == 0 || errno != ENOENT) {
        return;
    }
    leave();
    takePlace();
    watch();
    ostrel::report(ostrel::LogLevel::warning, "%s was gone; it is made again",
                   redirector_.path.c_str());
}

void ModuleServer::leave() {
    for (Place* const place : {&redirector_, &shaper_, &wifiAuth_}) {
        if (place->fd.valid()) {
            loop_.forget(place->fd.get());
            unlink(place->path.c_str());
            place->fd.reset();
        }
    }
}

void ModuleServer::acceptRedirector() {
    ostrel::Fd fd(accept4(redirector_.fd.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (!fd.valid() || connections_.size() >= kMostConnections) {
        return;
    }
    const int number = fd.get();
    connections_[number] = {std::move(fd), true, companion::EventLoop::Clock::now()};
    loop_.whenReadable(number, [this, number] { serveRedirector(number); });
}

void ModuleServer::serveRedirector(int fd) {
    std::array<char, kDatagramBytes> buffer;
    const ssize_t size = recv(fd, buffer.data(), buffer.size(), 0);
    if (size < 0 && (errno == EAGAIN || errno == EINTR)) {
        return;
    }
    if (size > 0) {
        const std::string answer =
            handlers_.request({buffer.data(), static_cast<std::size_t>(size)});
        // One request is under way on a connection, so there is room, unless nobody reads.
        if (send(fd, answer.data(), answer.size(), MSG_NOSIGNAL) >= 0) {
            return;
        }
    }
    closeConnection(fd);
    const auto left = std::any_of(connections_.begin(), connections_.end(),
                                  [](const auto& one) { return one.second.redirector; });
    if (!left) {
        handlers_.gone();
    }
}

void ModuleServer::acceptText(const Place& place, const Text& text) {
    for (int i = 0; i < kAcceptsAtOnce; ++i) {
        ostrel::Fd fd(accept4(place.fd.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (!fd.valid()) {
            return;
        }
        if (readText(fd.get(), text) || connections_.size() >= kMostConnections) {
            continue;
        }
        const int number = fd.get();
        connections_[number] = {std::move(fd), false, companion::EventLoop::Clock::now()};
        loop_.whenReadable(number, [this, number, &text] {
            if (readText(number, text)) {
                closeConnection(number);
            }
        });
    }
}

// True when the connection is done with.
bool ModuleServer::readText(int fd, const Text& text) {
    std::array<char, kDatagramBytes> buffer;
    const ssize_t size = recv(fd, buffer.data(), buffer.size(), 0);
    if (size < 0) {
        return errno != EAGAIN && errno != EINTR;
    }
    std::string_view line(buffer.data(), static_cast<std::size_t>(size));
    line = line.substr(0, line.find('\n'));
    if (!line.empty()) {
        text(line);
    }
    return true;
}

void ModuleServer::closeConnection(int fd) {
    loop_.forget(fd);
    connections_.erase(fd);
}

void ModuleServer::closeSilent() {
    const auto now = companion::EventLoop::Clock::now();
    std::vector<int> silent;
    for (const auto& [fd, connection] : connections_) {
        if (!connection.redirector && now - connection.since > kSilence) {
            silent.push_back(fd);
        }
    }
    for (const int fd : silent) {
        closeConnection(fd);
    }
}

}  // namespace redirectord
