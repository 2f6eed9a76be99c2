#pragma once

// A name server (dnsmasq) and services in the internet of a test, and lookups of its stations.
//
// Threads: one.

#include <array>
#include <string>

#include "dns_bytes.h"
#include "network.h"
#include "redirectord/dns_message.h"
#include "support/child_process.h"

namespace vesta::testing {

// Nobody has these addresses: the access point answers in their place.
constexpr const char* kResolver = "192.0.2.53";
constexpr const char* kResolver6 = "2001:db8::53";

constexpr const char* kFree = "198.51.100.7";
constexpr const char* kFree6 = "2001:db8::7";
constexpr const char* kCdn = "198.51.100.8";
constexpr const char* kOther = "198.51.100.9";
constexpr const char* kBig = "198.51.100.10";

constexpr const char* kWayToServices = "ip route add 198.51.100.0/24 via 192.0.2.1";

// On 192.0.2.1; its namespace gets the services' addresses too.
class NameServer {
public:
    explicit NameServer(const NetNamespace& internet) {
        internet.run(
            "for i in 7 8 9 10; do ip addr add 198.51.100.$i/32 dev lo; done;"
            "ip -6 addr add 2001:db8::7/128 dev eth0 nodad");
        std::string text = "--txt-record=big.cdn.example";
        for (int i = 0; i < 20; ++i) {
            text += "," + std::string(200, 'x');
        }
        internet.inside([&] {
            process_.start({"/usr/sbin/dnsmasq", "--keep-in-foreground", "--conf-file=/dev/null",
                            "--no-resolv", "--no-hosts", "--user=", "--pid-file=",
                            "--bind-interfaces", "--listen-address=192.0.2.1", "--log-facility=-",
                            "--host-record=www.free.example,198.51.100.7,2001:db8::7,600",
                            "--cname=shop.example,edge.cdn.example",
                            "--host-record=edge.cdn.example,198.51.100.8,20",
                            "--host-record=other.example,198.51.100.9",
                            "--host-record=big.cdn.example,198.51.100.10", text},
                           ChildProcess::Output::heard);
        });
        if (!process_.waitForText("started")) {
            throw std::runtime_error("dnsmasq does not start: " + process_.said());
        }
        process_.stopHearing();
    }

private:
    ChildProcess process_;
};

// The answer to a question over UDP, with id 4711; "" when none comes.
inline std::string lookUp(const NetNamespace& station, const std::string& name,
                          unsigned int type = dns::kA, const char* resolver = kResolver) {
    return station.inside([&]() -> std::string {
        const Endpoint endpoint(resolver, 53);
        const ostrel::Fd fd(socket(endpoint.storage.ss_family, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        const std::string query = dns::query(4711, name, type);
        std::array<char, 4096> buffer{};
        if (connect(fd.get(), endpoint.get(), endpoint.size) != 0 ||
            send(fd.get(), query.data(), query.size(), 0) < 0 ||
            !readableWithin(fd.get(), std::chrono::seconds(3))) {
            return "";
        }
        const ssize_t size = recv(fd.get(), buffer.data(), buffer.size(), 0);
        return {buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
    });
}

// The same over TCP.
inline std::string lookUpByTcp(const NetNamespace& station, const std::string& name,
                               unsigned int type) {
    const Connection made = connectFrom(station, kResolver, 53);
    const std::string query = dns::query(4711, name, type);
    const std::string sent = dns::word(static_cast<unsigned int>(query.size())) + query;
    send(made.fd.get(), sent.data(), sent.size(), MSG_NOSIGNAL);
    std::string answer;
    std::array<char, 4096> buffer{};
    while (answer.size() < 2 || answer.size() < 2U + redirectord::dnsIdOf(answer)) {
        const ssize_t size = readableWithin(made.fd.get(), std::chrono::seconds(3))
                                 ? recv(made.fd.get(), buffer.data(), buffer.size(), 0)
                                 : 0;
        if (size <= 0) {
            return "";
        }
        answer.append(buffer.data(), static_cast<std::size_t>(size));
    }
    return answer.substr(2);
}

}  // namespace vesta::testing
