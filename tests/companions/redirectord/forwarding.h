#pragma once

// What redirectord does about white lists and names, in the access point of a test: the base
// ruleset on its devices, the lists with 0.4 s of grace, the forwarder that asks 192.0.2.1.
//
// Threads: a thread of its own runs the loop; call() runs things there.

#include <sys/eventfd.h>

#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>

#include "access_point.h"
#include "common/event_loop.h"
#include "redirectord/dns_tcp.h"
#include "redirectord/dns_udp.h"
#include "redirectord/nft.h"
#include "redirectord/ruleset.h"
#include "redirectord/white_lists.h"

namespace vesta::testing {

class Forwarding {
public:
    explicit Forwarding(const AccessPointNetwork& net) : wake_(eventfd(0, EFD_NONBLOCK)) {
        std::promise<void> ready;
        thread_ = std::thread([this, &net, &ready, rules = ruleset(net)] {
            net.ap.inside([&] { run(rules, ready); });
        });
        ready.get_future().get();
    }
    // The rules stay, as when redirectord is killed.
    ~Forwarding() {
        call([this] { parts_->loop.stop(); });
        thread_.join();
    }
    Forwarding(const Forwarding&) = delete;
    Forwarding& operator=(const Forwarding&) = delete;

    void call(const std::function<void()>& work) {
        std::promise<void> done;
        work_ = [&work, &done] {
            work();
            done.set_value();
        };
        eventfd_write(wake_.get(), 1);
        done.get_future().get();
    }
    // Tells list 1 with these names, and gives it to the station.
    void tell(const redirectord::StationKey& station, const std::vector<std::string>& names,
              std::uint32_t list = 1) {
        call([&] {
            EXPECT_EQ(parts_->lists.addDomains(list, names), 0);
            EXPECT_EQ(parts_->lists.setStationList(station, list), 0);
        });
    }
    redirectord::WhiteLists& lists() { return parts_->lists; }

private:
    struct Parts {
        companion::EventLoop loop;
        redirectord::Nft nft;
        bool stands;
        redirectord::WhiteLists lists;
        redirectord::DnsServers servers{{redirectord::parseDnsServer("192.0.2.1")}};
        redirectord::DnsUdp udp;
        redirectord::DnsTcp tcp;

        explicit Parts(const std::string& ruleset)
            : stands(nft.run(ruleset)),
              lists(loop, nft, std::chrono::milliseconds(400)),
              udp(loop, servers, lists, 8053),
              tcp(loop, servers, lists, 8053) {
            EXPECT_TRUE(stands) << nft.error();
        }
    };

    static std::string ruleset(const AccessPointNetwork& net) {
        std::string commands = redirectord::baseRuleset();
        for (const std::string device : {"va1", "va2"}) {
            commands += redirectord::hookDevice(device);
            commands += "add element inet vesta networks { " + device + " }\n";
            commands += "add element inet vesta captive_devices { " + device + " }\n";
            commands +=
                "add element netdev vesta own { " +
                net.ap.output("ip -br link show dev " + device + " | tr -s ' ' | cut -d' ' -f3") +
                " }\n";
        }
        return commands;
    }

    void run(const std::string& rules, std::promise<void>& ready) {
        parts_ = std::make_unique<Parts>(rules);
        parts_->loop.whenReadable(wake_.get(), [this] {
            eventfd_t count = 0;
            if (eventfd_read(wake_.get(), &count) == 0) {
                work_();
            }
        });
        ready.set_value();
        parts_->loop.run();
        parts_.reset();
    }

    ostrel::Fd wake_;
    std::function<void()> work_;
    std::unique_ptr<Parts> parts_;
    std::thread thread_;
};

}  // namespace vesta::testing
