// Any lines as what proxies, portals and status tools send over the bus, with a second of traffic
// for a line that is no message. Each known command gets one answer with the request's context, and
// only a login or an order that names a station's address lets that station in.

#include <map>

#include "fuzz/daemon.h"
#include "ipc/portal_fixture.h"
#include "support/bus_peer.h"
#include "support/fake_clock.h"

namespace {

using namespace fuzz;

const std::map<std::string, std::string> kAnswers = {
    {"get-redirect-params", "get-redirect-params-response"},
    {"validate-ip", "validate-ip-response"},
    {"validate", "validate-response"},
    {"update", "update-response"},
    {"update-scenario", "update-scenario-response"},
    {"get", "get-response"},
    {"get-scenarios", "get-response"},
    {"cp-del-client", "cp-del-client-response"}};

struct Station {
    const char* interface;
    const char* mac;
    const char* ip;
};

// Whom a login lets in, and whom an order does.
constexpr Station kStations[] = {{"wlan0-va1", "02:00:00:00:00:01", "10.0.0.1"},
                                 {"wlan0-va2", "02:00:00:00:00:02", "10.0.0.2"}};

class Commands final : public Outside<vesta::testing::PortalFixture> {
public:
    explicit Commands(vesta::testing::FakeClock& clock)
        : Outside(vesta::testing::vapText("wlan0-va1", "Guest", "local") + "," +
                  vesta::testing::vapText("wlan0-va2", "Staff", "portal")),
          clock_(clock) {
        listener_.run();
    }
    ~Commands() override {
        listener_.stop();
        listener_.join();
    }

    void play(const std::vector<std::string>& lines) {
        std::string named[2];
        for (const auto& [interface, mac, ip] : kStations) {
            connect(mac, ip, interface);
        }
        for (const std::string& line : lines) {
            const auto request = readMessage(line);
            const std::string command = ostrel::bus::commandOf(request.get());
            if (request == nullptr) {
                passSecond(line.size());
            } else if (kAnswers.count(command) != 0) {
                ask(line, request.get(), kAnswers.at(command));
                const std::string ip = textOf(member(member(request.get(), "params"), "ipaddr"));
                named[command.compare(0, 6, "update") == 0 ? 1 : 0] += ip + " ";
            }
        }
        for (std::size_t i = 0; i < 2; ++i) {
            const bool mayBeIn = (i == 0 ? named[0] + named[1] : named[1]).find(kStations[i].ip) !=
                                 std::string::npos;
            require(mayBeIn || !isAdmitted(*portal_, kStations[i].mac));
        }
        forgetAll();
    }

private:
    void ask(const std::string& text, json_object* request, const std::string& wanted) {
        require(peer_.ipc.send(text, IPC_MODULE_VESTAD));
        const auto answer = readMessage(peer_.next());
        const std::string command = textOf(member(answer.get(), "command"));
        require(command == wanted || (command == "get-response" &&
                                      json_object_get_int(member(answer.get(), "result")) == 0));
        require(std::string(json_object_to_json_string(member(answer.get(), "context"))) ==
                json_object_to_json_string(member(request, "context")));
    }
    void passSecond(std::uint64_t bytes) {
        clock_.advanceSeconds(1);
        std::vector<vesta::ClientStatisticInfo> statistics;
        for (const auto& [interface, mac, ip] : kStations) {
            statistics.emplace_back(interface, vesta::MacAddr(mac), bytes << 20, bytes, 0, 0, 0, 0,
                                    0, 0, 0, 1, 0);
        }
        portal_->responseCallback(statistics);
    }
    void forgetAll() {
        for (const auto& [interface, mac, ip] : kStations) {
            vesta::ClientIdentity station(vesta::MacAddr(mac), "", "", "");
            portal_->disconnectClientFromInterface(interface, station, vesta::CommandInfo());
        }
        portal_->clearWhiteIPLists();
    }

    vesta::testing::FakeClock& clock_;
    vesta::testing::BusPeer peer_{
        static_cast<ipc_module_t>(77),
        {"get-redirect-params-response", "validate-ip-response", "validate-response",
         "update-response", "update-scenario-response", "get-response", "cp-del-client-response"}};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return playLines<Commands>(data, size);
}
