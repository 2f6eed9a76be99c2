#include "http_station.h"

#include <thread>

#include "companions/redirectord/access_point.h"

namespace vesta::bench {
namespace {

constexpr std::chrono::seconds kPatience{10};
constexpr const char* kPortal = "10.77.1.1";
constexpr std::uint16_t kPortalPort = 8888;

std::string deviceOf(std::size_t station) {
    return "st" + std::to_string(station);
}

// The whole answer, "" when no connection comes about or it ends before.
std::string exchange(std::size_t station, const std::string& address, std::uint16_t port,
                     const std::string& request) {
    const ostrel::Fd fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const std::string device = deviceOf(station);
    const testing::Endpoint there(address, port);
    const timeval bound{2, 0};
    setsockopt(fd.get(), SOL_SOCKET, SO_RCVTIMEO, &bound, sizeof bound);
    setsockopt(fd.get(), SOL_SOCKET, SO_SNDTIMEO, &bound, sizeof bound);
    std::string answer;
    if (setsockopt(fd.get(), SOL_SOCKET, SO_BINDTODEVICE, device.data(),
                   static_cast<socklen_t>(device.size())) != 0 ||
        connect(fd.get(), there.get(), there.size) != 0 ||
        send(fd.get(), request.data(), request.size(), MSG_NOSIGNAL) < 0) {
        return answer;
    }
    char buffer[16384];
    for (ssize_t size; (size = recv(fd.get(), buffer, sizeof buffer, 0)) > 0;) {
        answer.append(buffer, static_cast<std::size_t>(size));
    }
    return answer;
}

std::string headers(const std::string& host) {
    return " HTTP/1.1\r\nHost: " + host + "\r\nConnection: close\r\nAccept: text/html\r\n";
}

// What stands between `before` and `after`; throws when it does not.
std::string between(const std::string& text, const std::string& before, char after) {
    const std::size_t begin = text.find(before);
    if (begin == text.npos) {
        throw std::runtime_error("no " + before + " in: " + text.substr(0, 300));
    }
    const std::size_t from = begin + before.size();
    return text.substr(from, text.find(after, from) - from);
}

std::string pathOf(const std::string& location) {
    const std::size_t host = location.find("://");
    return host == location.npos ? location : location.substr(location.find('/', host + 3));
}

// Repeats the exchange until the answer begins with `wanted`.
std::string insist(std::size_t station, const std::string& wanted) {
    std::string answer;
    for (const auto end = Clock::now() + kPatience; Clock::now() < end;) {
        answer =
            exchange(station, testing::kInternet, 80, "GET /" + headers("www.example") + "\r\n");
        if (answer.rfind("HTTP/1.1 " + wanted, 0) == 0) {
            return answer;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    throw std::runtime_error("no " + wanted + " but: " + answer.substr(0, 300));
}

}  // namespace

void makeStations(const testing::NetNamespace& space, std::size_t count) {
    // Nothing leaves a device before it is used; answers to ARP come from the device that is asked.
    space.run(
        "sysctl -qw net.ipv6.conf.default.disable_ipv6=1 net.ipv4.conf.all.arp_ignore=1 "
        "net.ipv4.conf.all.arp_announce=2 net.ipv4.conf.all.rp_filter=0");
    std::string batch;
    for (std::size_t station = 0; station < count; ++station) {
        const std::string device = deviceOf(station);
        char mac[18];
        std::snprintf(mac, sizeof mac, "02:00:00:00:02:%02zx", station & 255U);
        batch += "link add link eth0 name " + device + " address " + mac +
                 " type macvlan mode bridge\nlink set " + device + " up\naddr add 10.77.1." +
                 std::to_string(12 + station) + "/24 dev " + device +
                 "\nroute add default via 10.77.1.1 dev " + device + " metric " +
                 std::to_string(100 + station) + "\n";
    }
    const ostrel::testing::TempDirectory directory;
    ostrel::testing::writeFile(directory.path() + "/batch", batch);
    space.run("ip -batch " + directory.path() + "/batch");
}

std::string redirectOf(std::size_t station) {
    return between(insist(station, "302"), "Location: ", '\r');
}

void logIn(std::size_t station) {
    const std::string path = pathOf(redirectOf(station));
    const std::string host = std::string(kPortal) + ':' + std::to_string(kPortalPort);
    const std::string page =
        exchange(station, kPortal, kPortalPort, "GET " + path + headers(host) + "\r\n");
    const std::string fields = "accept=yes&token=" + between(page, "name=\"token\" value=\"", '"');
    const std::string posted = exchange(
        station, kPortal, kPortalPort,
        "POST " + between(page, "action=\"", '"') + headers(host) +
            "Content-Type: application/x-www-form-urlencoded\r\nSec-Fetch-Site: same-origin\r\n"
            "Content-Length: " +
            std::to_string(fields.size()) + "\r\n\r\n" + fields);
    if (posted.rfind("HTTP/1.1 30", 0) != 0) {
        throw std::runtime_error("no login but: " + posted.substr(0, 300));
    }
    insist(station, "200");
}

}  // namespace vesta::bench
