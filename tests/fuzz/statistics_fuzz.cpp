// Any lines as monitord's answers, a second apart, for a portal with one station in front of its
// login and one that is in. No number lets anybody in.

#include "fuzz/daemon.h"
#include "ipc/portal_fixture.h"
#include "statistics/ipc_information_collector.h"
#include "support/fake_clock.h"

namespace {

using namespace fuzz;

constexpr const char* kOutside = "02:00:00:00:00:01";
constexpr const char* kInside = "02:00:00:00:00:02";
constexpr const char* kScenarios =
    R"({"access-type": "forbid", "name": "login", "redirect-url": "http://p/login",
        "virtual-portal-name": "main", "auth-scenario": "guest", "white-list": ""},
       {"access-type": "allow", "name": "guest", "deauth-scenario": "", "traffic-limit": 5000,
        "expire-time": 4, "max-session-time": 6, "away-timeout": 3})";

class Answers final : public Outside<vesta::testing::PortalFixture>,
                      private vesta::InformationCaller {
public:
    explicit Answers(vesta::testing::FakeClock& clock)
        : Outside(vesta::testing::vapText("wlan0-va1", "Guest", "local", kScenarios)),
          clock_(clock) {}

    void play(const std::vector<std::string>& lines) {
        connect(kOutside, "10.0.0.1");
        connect(kInside, "10.0.0.2");
        vesta::ClientIdentity station(vesta::MacAddr(kInside), "", "", "");
        require(portal_->authenticateClient(station, "anna", "secret") == vesta::AUTHENTICATED);
        vesta::GatheredStatistics gathered;
        for (const std::string& line : lines) {
            const auto answer = readMessage(line);
            const bool more = json_object_get_boolean(member(answer.get(), "more")) != 0;
            vesta::IPCInformationCollector::ipcResponseCallback(
                answer.get(), static_cast<vesta::InformationCaller*>(this),
                more ? IPC_MORE_FOLLOWS : 0, gathered);
            if (!more) {
                gathered = {};
            }
            clock_.advanceSeconds(1);
            require(!isAdmitted(*portal_, kOutside));
        }
        for (const char* const mac : {kOutside, kInside}) {
            vesta::ClientIdentity gone(vesta::MacAddr(mac), "", "", "");
            portal_->disconnectClient(gone, vesta::CommandInfo());
        }
    }

private:
    void responseCallback(std::vector<vesta::ClientStatisticInfo>& statistics) override {
        for (const vesta::ClientStatisticInfo& station : statistics) {
            require(!station.interface.empty());
        }
        portal_->responseCallback(statistics);
    }

    vesta::testing::FakeClock& clock_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return playLines<Answers>(data, size);
}
