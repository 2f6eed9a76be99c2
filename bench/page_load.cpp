#include "page_load.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <memory>
#include <stdexcept>

#include "median.h"
#include "ostrel/addresses.h"
#include "ostrel/runtime.h"

namespace vesta::bench {
namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

struct Visit {
    std::size_t station;
    Clock::time_point begin;
    std::string request;
    std::string answer;
    ostrel::Fd socket;
};

in_addr addressOf(std::size_t station) {
    return {htonl(0x7f010000U + static_cast<std::uint32_t>(station))};
}

sockaddr_in endpoint(in_addr address, std::uint16_t port) {
    sockaddr_in end{};
    end.sin_family = AF_INET;
    end.sin_addr = address;
    end.sin_port = htons(port);
    return end;
}

// Connects and sends the request, which fits into a socket's buffer.
void ask(int epoll, std::uint16_t port, Visit& visit) {
    visit.answer.clear();
    visit.socket.reset(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_in from = endpoint(addressOf(visit.station), 0);
    const sockaddr_in to = endpoint({htonl(INADDR_LOOPBACK)}, port);
    const int fd = visit.socket.get();
    if (bind(fd, reinterpret_cast<const sockaddr*>(&from), sizeof from) != 0 ||
        connect(fd, reinterpret_cast<const sockaddr*>(&to), sizeof to) != 0 ||
        send(fd, visit.request.data(), visit.request.size(), MSG_NOSIGNAL) < 0) {
        throw std::runtime_error("no connection to port " + std::to_string(port));
    }
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.ptr = &visit;
    epoll_ctl(epoll, EPOLL_CTL_ADD, fd, &event);
}

// False when the answer is at its end.
bool receive(Visit& visit) {
    std::array<char, 16384> piece;
    const ssize_t count = recv(visit.socket.get(), piece.data(), piece.size(), MSG_DONTWAIT);
    if (count > 0) {
        visit.answer.append(piece.data(), static_cast<std::size_t>(count));
    }
    return count > 0 || (count < 0 && (errno == EAGAIN || errno == EINTR));
}

}  // namespace

double PageLoad::perSecond() const {
    return static_cast<double>(milliseconds.size()) / seconds;
}

double PageLoad::median() const {
    return medianOf(milliseconds);
}

double PageLoad::longest() const {
    return *std::max_element(milliseconds.begin(), milliseconds.end());
}

std::string loopbackOf(std::size_t station) {
    return ostrel::ipv4Text(addressOf(station));
}

PageLoad visitPages(std::uint16_t port, std::size_t first, std::size_t visits, std::size_t together,
                    const std::function<std::string(const std::string&)>& next,
                    const std::function<bool(const std::string&)>& isRight) {
    const ostrel::Fd epoll(epoll_create1(EPOLL_CLOEXEC));
    std::vector<std::unique_ptr<Visit>> all;
    const auto begin = [&] {
        if (all.size() < visits) {
            all.push_back(std::make_unique<Visit>(
                Visit{first + all.size(), Clock::now(), next(""), "", ostrel::Fd()}));
            ask(epoll.get(), port, *all.back());
        }
    };
    PageLoad load;
    const Clock::time_point start = Clock::now();
    for (std::size_t i = 0; i < together; ++i) {
        begin();
    }
    std::array<epoll_event, 64> events{};
    while (load.milliseconds.size() < visits) {
        const int count = epoll_wait(epoll.get(), events.data(), events.size(), 10000);
        if (count <= 0) {
            throw std::runtime_error("pages don't come");
        }
        for (int i = 0; i < count; ++i) {
            Visit& visit = *static_cast<Visit*>(events[static_cast<std::size_t>(i)].data.ptr);
            if (receive(visit)) {
                continue;
            }
            visit.request = next(visit.answer);
            if (!visit.request.empty()) {
                ask(epoll.get(), port, visit);
                continue;
            }
            load.milliseconds.push_back(secondsSince(visit.begin) * 1000);
            load.wrong += isRight(visit.answer) ? 0U : 1U;
            visit.socket.reset();
            begin();
        }
    }
    load.seconds = secondsSince(start);
    return load;
}

}  // namespace vesta::bench
