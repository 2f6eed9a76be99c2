#pragma once

// An access point with redirectord, a portal on 8888, and an internet with TCP 80 and 443 and UDP
// 4433 on both families.

#include "daemon_side.h"

namespace vesta::testing {

class ServiceTest : public NetworkTest {
protected:
    using Milliseconds = std::chrono::milliseconds;

    void SetUp() override {
        NetworkTest::SetUp();
        if (!IsSkipped()) {
            build(Layout::routed);
        }
    }
    void build(Layout layout) {
        daemon_.reset();
        redirector_.reset();
        net_ = std::make_unique<AccessPointNetwork>(layout);
        http_ = serverSocket(net_->internet, SOCK_STREAM, "::", 80);
        https_ = serverSocket(net_->internet, SOCK_STREAM, "::", 443);
        udp_ = serverSocket(net_->internet, SOCK_DGRAM, "::", 4433);
        portal_ = serverSocket(net_->ap, SOCK_STREAM, "::", 8888);
        redirector_ = std::make_unique<RedirectorProcess>(*net_);
        daemon_ = std::make_unique<DaemonSide>();
    }

    const SimulatedStation& station(int number) { return net_->station(number); }
    // 0, or the error of a TCP connection; ETIMEDOUT when nothing came within `bound`. A packet
    // that is lost comes again after a second.
    int reach(int number, std::uint16_t port, const std::string& address = kInternet,
              Milliseconds bound = Milliseconds(5000)) {
        return connectFrom(station(number).space, address, port, bound).error;
    }
    // Whether a datagram of the station arrives in the internet.
    bool sends(int number, const char* address = kInternet) {
        askFrom(station(number).space, address, 4433, Milliseconds(1));
        char buffer[16];
        return readableWithin(udp_.get(), Milliseconds(400)) &&
               recv(udp_.get(), buffer, sizeof buffer, 0) >= 0;
    }
    bool portalHasVisitor() {
        if (!readableWithin(portal_.get(), Milliseconds(0))) {
            return false;
        }
        close(accept4(portal_.get(), nullptr, nullptr, SOCK_CLOEXEC));
        return true;
    }

    // Bytes that the internet sends to a station over TCP.
    class Download {
    public:
        Download(const SimulatedStation& station, const ostrel::Fd& server)
            : near_(connectFrom(station.space, kInternet, 443).fd),
              far_(accept4(server.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK)) {}
        // How many arrive within `time`.
        std::size_t flow(Milliseconds time) {
            std::size_t count = 0;
            const auto end = std::chrono::steady_clock::now() + time;
            do {
                (void)!send(far_.get(), block_.data(), block_.size(), MSG_NOSIGNAL);
                readableWithin(near_.get(), Milliseconds(5));
                for (ssize_t size;
                     (size = recv(near_.get(), block_.data(), block_.size(), 0)) > 0;) {
                    count += static_cast<std::size_t>(size);
                }
            } while (std::chrono::steady_clock::now() < end);
            return count;
        }

    private:
        ostrel::Fd near_;
        ostrel::Fd far_;
        std::string block_ = std::string(1 << 16, 'x');
    };

    RuntimeDirectory runtime_;
    std::unique_ptr<AccessPointNetwork> net_;
    ostrel::Fd http_, https_, udp_, portal_;
    std::unique_ptr<RedirectorProcess> redirector_;
    std::unique_ptr<DaemonSide> daemon_;
};

}  // namespace vesta::testing
