#pragma once

// The whole of portald but its main(): real connections on one side, a vestad on the bus on the
// other. A station is an address of loopback.

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <thread>

#include "fake_vestad.h"
#include "portald/portal.h"
#include "portald/reception.h"

namespace portald::testing {

// A browser's side of one connection.
class Browser {
public:
    // From the address `from`, of either family; to loopback of the same.
    Browser(std::uint16_t port, const std::string& from) {
        sockaddr_in four{};
        sockaddr_in6 six{};
        four.sin_family = AF_INET;
        six.sin6_family = AF_INET6;
        const bool ipv4 = inet_pton(AF_INET, from.c_str(), &four.sin_addr) == 1;
        EXPECT_TRUE(ipv4 || inet_pton(AF_INET6, from.c_str(), &six.sin6_addr) == 1);
        const int family = ipv4 ? AF_INET : AF_INET6;
        auto* const address =
            ipv4 ? reinterpret_cast<sockaddr*>(&four) : reinterpret_cast<sockaddr*>(&six);
        const socklen_t size = ipv4 ? sizeof four : sizeof six;
        fd_.reset(socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0));
        EXPECT_EQ(bind(fd_.get(), address, size), 0);
        four.sin_port = six.sin6_port = htons(port);
        inet_pton(AF_INET, FakeVestad::kAddress, &four.sin_addr);
        EXPECT_EQ(connect(fd_.get(), address, size), 0);
        const timeval patience{20, 0};
        setsockopt(fd_.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    }

    void send(const std::string& bytes) const {
        ::send(fd_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }
    // All that comes until the other side ends.
    [[nodiscard]] std::string receive() const {
        std::string all;
        std::array<char, 4096> piece;
        ssize_t count = 0;
        while ((count = recv(fd_.get(), piece.data(), piece.size(), 0)) > 0) {
            all.append(piece.data(), static_cast<std::size_t>(count));
        }
        return all;
    }

private:
    ostrel::Fd fd_;
};

class PortalTest : public ::testing::Test {
protected:
    static constexpr const char* kAnna = "127.0.0.11";  // without access
    static constexpr const char* kBert = "127.0.0.12";  // with

    PortalTest() {
        vestad.put(kAnna, Guest("02:00:00:00:00:01"));
        Guest bert{"02:00:00:00:00:02"};
        bert.admitted = true;
        bert.login = "<script>bert</script>";
        bert.limits = {{"session-timeout", 7200}, {"session-time", 1800},
                       {"time-limit", 7200},      {"time-limit-cur", 60},
                       {"traffic-limit", 1000},   {"traffic-limit-cur", 250}};
        vestad.put(kBert, bert);
    }
    ~PortalTest() override {
        eventfd_write(ending_.get(), 1);
        server_.join();
    }

    // Before start().
    Settings settings;
    ReceptionLimits limits;
    std::string templates;
    SSL_CTX* tls = nullptr;
    std::vector<companion::Neighbour> kernelNeighbours;
    vesta::testing::RuntimeDirectory runtime;
    FakeVestad vestad;

    void start() {
        loop_.whenReadable(ending_.get(), [this] { loop_.stop(); });
        pages_.emplace(templates, [](const std::string& what) { FAIL() << what; });
        daemon_.emplace(loop_, ostrel::runtimeDirectory());
        neighbours_.emplace([this] { return kernelNeighbours; });
        portal_.emplace(*daemon_, *neighbours_, *pages_, settings,
                        [this](auto delay, auto next) { loop_.after(delay, next); });
        reception_.emplace(loop_, limits, [this](Reception::ConnectionId id, const Asked& asked) {
            portal_->handle(asked,
                            [this, id](const Reply& reply) { reception_->answer(id, reply); });
        });
        port = reception_->listen(0, tls);
        server_ = std::thread([this] { loop_.run(); });
    }

    std::string exchange(const std::string& from, const std::string& bytes) const {
        const Browser browser(port, from);
        browser.send(bytes);
        return browser.receive();
    }
    // A page of the portal itself.
    std::string get(const std::string& from, const std::string& path,
                    const std::string& headers = "") const {
        return exchange(from,
                        "GET " + path + " HTTP/1.1\r\nHost: 127.0.0.1:8888\r\n" + headers + "\r\n");
    }
    std::string post(const std::string& from, const std::string& path, const std::string& form,
                     const std::string& headers = "") const {
        return exchange(from, "POST " + path + " HTTP/1.1\r\nHost: 127.0.0.1:8888\r\n" + headers +
                                  "Content-Type: application/x-www-form-urlencoded\r\n"
                                  "Content-Length: " +
                                  std::to_string(form.size()) + "\r\n\r\n" + form);
    }
    // The token of a page that has a form.
    std::string tokenFor(const std::string& from) const {
        const std::string page = get(from, "/");
        const std::string mark = "name=\"token\" value=\"";
        const std::size_t begin = page.find(mark);
        EXPECT_NE(begin, std::string::npos) << page;
        return begin == std::string::npos
                   ? ""
                   : page.substr(begin + mark.size(),
                                 page.find('"', begin + mark.size()) - begin - mark.size());
    }
    std::string logIn(const std::string& from, const std::string& rest) const {
        return post(from, "/portal/login", "token=" + tokenFor(from) + "&" + rest);
    }

    std::uint16_t port = 0;

private:
    companion::EventLoop loop_;
    const ostrel::Fd ending_{eventfd(0, EFD_CLOEXEC)};
    std::optional<PageSet> pages_;
    std::optional<BusDaemon> daemon_;
    std::optional<Neighbours> neighbours_;
    std::optional<Portal> portal_;
    std::optional<Reception> reception_;
    std::thread server_;
};

}  // namespace portald::testing
