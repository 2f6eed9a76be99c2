#include "redirectord/announcements.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstring>

namespace redirectord {
namespace {

constexpr std::size_t kHeaderBytes = 16;

}  // namespace

std::string announcement(const StationKey& station, in_addr ip, std::uint32_t mtu) {
    std::string bytes(kHeaderBytes, '\0');
    bytes.append(reinterpret_cast<const char*>(station.mac.data()), station.mac.size());
    bytes.append(station.device.data(), station.device.size());
    bytes.append(reinterpret_cast<const char*>(&ip.s_addr), sizeof ip.s_addr);
    return bytes.append(reinterpret_cast<const char*>(&mtu), sizeof mtu);
}

int Announcements::start(std::uint32_t pid) {
    stop();
    sockaddr_un address;
    if (!ostrel::unixAddress(ostrel::runtimeDirectory() + "/modules/notify-" + std::to_string(pid),
                             address)) {
        return -errno;
    }
    ostrel::Fd fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!fd.valid() ||
        connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        return -errno;
    }
    socket_ = std::move(fd);
    send();
    return 0;
}

void Announcements::stop() {
    if (socket_.valid()) {
        loop_.forget(socket_.get());
        socket_.reset();
    }
    writing_ = false;
}

void Announcements::push(const StationKey& station) {
    waiting_.push_back(station);
    if (started() && !writing_) {
        send();
    }
}

void Announcements::send() {
    while (started() && (!next_.empty() || !waiting_.empty())) {
        if (next_.empty()) {
            next_ = datagramOf_(waiting_.front()).value_or("");
            waiting_.pop_front();
            if (next_.empty()) {
                continue;
            }
        }
        if (::send(socket_.get(), next_.data(), next_.size(), MSG_NOSIGNAL) >= 0) {
            next_.clear();
        } else if (errno == EAGAIN || errno == EWOULDBLOCK || errno == ENOBUFS) {
            if (!writing_) {
                writing_ = true;
                loop_.whenWritable(socket_.get(), [this] { send(); });
            }
            return;
        } else {
            ostrel::report(ostrel::LogLevel::warning, "the daemon hears of no more stations: %s",
                           std::strerror(errno));
            stop();
            return;
        }
    }
    if (writing_) {
        writing_ = false;
        loop_.whenWritable(socket_.get(), nullptr);
    }
}

}  // namespace redirectord
