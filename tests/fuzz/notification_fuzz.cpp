// Any datagrams as the redirector's notifications: of each that is long enough the portal hears
// what stands in it, and of a shorter one nothing.

#include "fuzz/daemon.h"
#include "kernel/redirector_fixture.h"
#include "kernel/redirector_module_worker.h"

namespace {

using namespace fuzz;

class Heard final : public vesta::StationReceiver {
public:
    bool addClient(const vesta::MacAddr& mac, const std::string& ip, unsigned int mtu,
                   const std::string& interfaceName) override {
        const auto* const address = reinterpret_cast<const char*>(mac.bytes().data());
        const in_addr ipv4 = ostrel::parseIpv4(ip).value();
        record = std::string(address, 6) + interfaceName +
                 std::string(16 - interfaceName.size(), '\0') +
                 std::string(reinterpret_cast<const char*>(&ipv4), 4) + ostrel::testing::word(mtu);
        return true;
    }

    std::string record;  // the payload of a notification with that content
};

class Notifications final : public Outside<ostrel::testing::ModulesTest> {
public:
    void play(const std::string& datagram) {
        static const sockaddr_un to =
            ostrel::testing::addressOf(path("notify-" + std::to_string(getpid())));
        require(sendto(socket_.get(), datagram.data(), datagram.size(), 0,
                       reinterpret_cast<const sockaddr*>(&to), sizeof to) >= 0);
        heard_.record.clear();
        require(worker_.handle());
        require(heard_.record == payloadOf(datagram));
    }

private:
    // What stands behind the end of the name does not count.
    static std::string payloadOf(const std::string& datagram) {
        if (datagram.size() < vesta::kNotificationSize) {
            return "";
        }
        std::string payload = datagram.substr(16, 30);
        const std::size_t end = std::min<std::size_t>(payload.find('\0', 6), 22);
        std::fill(payload.begin() + static_cast<std::ptrdiff_t>(end), payload.begin() + 22, '\0');
        return payload;
    }

    Heard heard_;
    vesta::RedirectorModuleWorker worker_{heard_};
    const ostrel::Fd socket_{::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Notifications notifications;
    for (Pieces pieces(data, size); !pieces.empty();) {
        notifications.play(pieces.piece());
    }
    return 0;
}
