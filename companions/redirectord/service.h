#pragma once

// redirectord at work: puts the parts together.
//
// Threads: the one that runs the event loop.

#include <set>
#include <string>

#include "common/event_loop.h"
#include "redirectord/announcements.h"
#include "redirectord/flows.h"
#include "redirectord/links.h"
#include "redirectord/module_server.h"
#include "redirectord/news_listener.h"
#include "redirectord/nft.h"
#include "redirectord/options.h"
#include "redirectord/requests.h"
#include "redirectord/seams.h"
#include "redirectord/stations.h"

namespace redirectord {

class Service final : public RouterRequests {
public:
    // The ruleset must stand (installRuleset()). Takes over the stations that are in it. Throws
    // std::runtime_error, saying what is in the way.
    Service(companion::EventLoop& loop, const Options& options, Nft& nft, NewsListener& news,
            ModuleServer& server, WhiteListRequests& lists, ShaperLines& shaper);
    ~Service() override = default;

    // True when the tables were removed under it: it stopped the loop, and everything is to be put
    // up anew.
    [[nodiscard]] bool lostTables() const { return lostTables_; }

private:
    int proxyAddress(in_addr& address) override;
    int notifyProcess(std::uint32_t pid) override;
    int gateway(in_addr address, in_addr& gateway) override;
    [[nodiscard]] bool isCaptive(const std::string& device) const override;

    void hookDevices();
    void receiveNews(const std::vector<LoggedPacket>& packets);
    void daemonGone();
    void tick();
    [[nodiscard]] std::optional<std::string> datagramOf(const StationKey& station);

    companion::EventLoop& loop_;
    const Options& options_;
    Nft& nft_;
    WhiteListRequests& lists_;
    ShaperLines& shaper_;
    Stations stations_;
    Flows flows_;
    Links links_;
    Announcements announcements_;
    Requests requests_;
    std::map<int, std::string> hooked_;  // index and name of the devices that have our chains
    std::string surroundings_;           // what the sets of the surroundings hold, as commands
    std::uint64_t reportedRefusals_ = 0;
    std::uint64_t ticks_ = 0;
    bool lostTables_ = false;
};

// Makes the tables or takes over those that are there. Throws std::runtime_error with what the
// kernel lacks or refuses.
void installRuleset(Nft& nft, const Options& options);

}  // namespace redirectord
