// redirectord: the module server that stands in for the redirector and the shaper on stock Linux.

#include <linux/capability.h>

#include <cstdio>
#include <exception>
#include <map>

#include "common/event_loop.h"
#include "common/privileges.h"
#include "common/program.h"
#include "redirectord/dns_servers.h"
#include "redirectord/dns_tcp.h"
#include "redirectord/dns_udp.h"
#include "redirectord/nft.h"
#include "redirectord/options.h"
#include "redirectord/ruleset.h"
#include "redirectord/service.h"
#include "redirectord/shaper.h"
#include "redirectord/white_lists.h"

namespace {

using namespace redirectord;

enum Status { kOk = 0, kFailed = 1 };

constexpr const char* kResolvers = "/etc/resolv.conf";

constexpr std::chrono::milliseconds kBetweenLooks{1000};

// Packets go their ways without rules and queues of ours.
bool open(Nft& nft) {
    if (!nft.run(removeRuleset())) {
        ostrel::report(ostrel::LogLevel::error, "the tables can't be removed: %s",
                       nft.error().c_str());
        return false;
    }
    return Shaper::removeQueues();
}

int flush() {
    companion::EventLoop loop;
    const NewsListener alone(loop);
    Nft nft;
    return open(nft) ? kOk : kFailed;
}

using Limits = std::map<StationKey, SpeedLimits>;

// False when everything is to be put up again, with these speed limits: nobody tells of them again.
bool serve(const Options& options, Limits& limits) {
    companion::EventLoop loop;
    NewsListener news(loop);
    ModuleServer server(loop);
    Nft nft;
    installRuleset(nft, options);
    WhiteLists lists(loop, nft);
    DnsServers servers = options.dnsServers.empty() ? DnsServers(std::string(kResolvers))
                                                    : DnsServers(options.dnsServers);
    const DnsUdp dnsUdp(loop, servers, lists, kDnsPort);
    const DnsTcp dnsTcp(loop, servers, lists, kDnsPort);
    Shaper shaper(nft, options.uplink, options.interfaces);
    for (const auto& [station, limit] : limits) {
        shaper.setLimits(station, limit);
    }
    loop.every(kBetweenLooks, [&shaper] { shaper.look(); });
    Service service(loop, options, nft, news, server, lists, shaper);
    ostrel::report(ostrel::LogLevel::debug, "ready");
    loop.run();
    limits = shaper.limits();
    if (!service.lostTables() && options.openOnExit) {
        std::ignore = open(nft);  // it has reported
    }
    return !service.lostTables();
}

}  // namespace

int main(int argc, char** argv) {
    int status = kOk;
    const std::optional<Options> options = parseOptions(argc, argv, status);
    if (!options) {
        return status;
    }
    companion::reportToStandardError("redirectord", options->verbose);
    try {
        companion::keepOnlyCapabilities({CAP_NET_ADMIN});
        if (options->flush) {
            return flush();
        }
        Limits limits;
        while (!serve(*options, limits)) {
        }
        return kOk;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "redirectord: %s\n", error.what());
        return kFailed;
    }
}
