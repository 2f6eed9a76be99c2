// What the daemon's threads do, all at once, against three instances with a few hundred stations.
// Meant for the thread sanitizer; without it, it still finds a deadlock or a lost station.

#include "apb/apbd_fixture.h"
#include "platform/librad/support.h"
#include "scenario/access_scenario_constraints.h"
#include "station/command_info.h"
#include "support/radius_instance.h"

namespace vesta::testing {
namespace {

namespace rad = ostrel::testing;

constexpr unsigned kStations = 300;
constexpr unsigned kVirtualSeconds = 20;
constexpr int kAnswers = 500;

MacAddr macOf(unsigned n) {
    n %= kStations;
    return MacAddr(MacAddr::Bytes{2, 0, 0, 0, static_cast<std::uint8_t>(n >> 8),
                                  static_cast<std::uint8_t>(n)});
}

std::string ipOf(unsigned n) {
    return "10.1." + std::to_string(n / 250) + "." + std::to_string(n % 250 + 1);
}

const char* interfaceOf(unsigned n) {
    const char* const interfaces[] = {"wlan0-va1", "wlan1-va1", "wlan2-va1"};
    return interfaces[n % 3];
}

// A local, a portal's, and one that asks the RADIUS server at `port` for everything.
std::string interfacesText(std::uint16_t port) {
    return vapText("wlan0-va1", "Guest") + "," + vapText("wlan1-va1", "Staff", "portal") +
           R"(,{"name": "wlan2-va1", "common": {"type": "vap", "enabled": true}, "vap": )" +
           instanceText("portal-mac-auth", true, radiusObject(port, port)) + "}";
}

class Stress : public ApbdFixture {
protected:
    Stress() { serve(interfacesText(server_.port())); }

    // A thread that does this for one station after the other.
    void start(const std::function<void(unsigned n)>& forStation) {
        threads_.emplace_back([this, forStation] {
            for (unsigned n = 0; !done_; n = (n + 1) % kStations) {
                forStation(n);
            }
        });
    }

    bool appear(unsigned n) { return portal_->addClient(macOf(n), ipOf(n), 1500, interfaceOf(n)); }

    // The statistics answer of one second; every seventh station is away, by turns.
    void deliverStatistics(unsigned second) {
        std::vector<ClientStatisticInfo> records;
        for (unsigned n = 0; n < kStations; ++n) {
            if ((n + second) % 7 != 0) {
                records.emplace_back(interfaceOf(n), macOf(n), 1000ULL * n, 10ULL, 1UL, 1UL, 0UL,
                                     0UL, 0UL, 0UL, 0UL, static_cast<long>(second), 0L);
            }
        }
        portal_->responseCallback(records);
    }

    void request(unsigned n) {
        const auto factory = std::make_shared<IPCDumpClientMessageFactory>();
        ClientIdentity identity({}, ipOf(n), "", "");
        portal_->authenticateClient(identity, "login" + std::to_string(n % 5), "secret");
        AccessScenarioConstraints limits;
        portal_->setClientScenario(identity, "guest", limits);
        portal_->dumpClientToMessage(identity, factory);
        if (n == 0) {
            portal_->dumpClientsToMessages(factory);
            portal_->clearWhiteIPLists();
        }
    }

    void disconnect(unsigned n) {
        char session[18];
        std::snprintf(session, sizeof session, "%08X-%08X", 0U, n);
        for (ClientIdentity identity :
             {ClientIdentity(macOf(7 * n), "", "", ""), ClientIdentity({}, "", session, "")}) {
            portal_->getClientRadiusSharedKey(identity);
            portal_->disconnectClient(identity, CommandInfo(END_REASON_RADIUS_REQUEST));
        }
    }

    // The other access points' news.
    void roam(unsigned n) {
        const auto recordOf = [](unsigned station) {
            return record(-1, 5, macOf(station).to_string());
        };
        add(recordOf(n));
        update(n % 2 == 0 ? "disassoc" : "update", recordOf(n / 3));
        if (n % 5 == 0) {
            remove(recordOf(n / 5));
        }
        if (n % 100 == 0) {
            apbd_->disconnectedNotify();
            subscribed(json::array({recordOf(n), recordOf(n + 1)}));
        }
    }

    // The RADIUS server: admits two of three.
    void answer() {
        const auto packet = server_.receive();
        if (!packet) {
            std::this_thread::yield();
            return;
        }
        const bool accounting = packet->bytes[0] == LIBRAD_RADIUS_CODE_ACCOUNTING_REQUEST;
        const auto code = accounting              ? LIBRAD_RADIUS_CODE_ACCOUNTING_RESPONSE
                          : packet->id() % 3 == 0 ? LIBRAD_RADIUS_CODE_ACCESS_REJECT
                                                  : LIBRAD_RADIUS_CODE_ACCESS_ACCEPT;
        const char* const known = accounting ? "" : "1903 61 1a0c 00007ed9 1f06 00000001";
        server_.send(
            rad::makeAnswer(*packet, static_cast<std::uint8_t>(code), rad::Mac::valid, known),
            packet->from);
        ++answered_;
    }

    rad::Peer server_;
    std::vector<std::thread> threads_;
    std::atomic<int> answered_{0};
    std::atomic<bool> done_{false};
};

TEST_F(Stress, AllThreadsAtOnce) {
    subscribed();
    start([this](unsigned n) { appear(n); });
    start([this](unsigned n) { request(n); });
    start([this](unsigned n) { disconnect(n); });
    start([this](unsigned n) { roam(n); });
    start([this](unsigned) { answer(); });
    for (unsigned second = 0; second < kVirtualSeconds || answered_ < kAnswers; ++second) {
        clock_.advanceSeconds(1);
        portal_->handle();
        deliverStatistics(second);
    }
    done_ = true;
    for (std::thread& thread : threads_) {
        thread.join();
    }
    Singleton<RadiusListener>::getInstance().stop();

    // Nothing is stuck: each station can still come, and is there; a record still brings its own
    // in.
    for (unsigned n = 0; n < kStations; ++n) {
        EXPECT_TRUE(appear(n));
    }
    const auto factory = std::make_shared<IPCDumpClientMessageFactory>();
    EXPECT_EQ(portal_->dumpClientsToMessages(factory).size(), kStations);
    subscribed();
    add(record());
    EXPECT_TRUE(portal_->addClient(MacAddr(kMac), "10.2.0.1", 1500, "wlan0-va1"));
    EXPECT_EQ(station()["access-type"], "Allow");
}

}  // namespace
}  // namespace vesta::testing
