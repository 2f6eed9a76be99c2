#include "redirectord/service.h"

#include <malloc.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <stdexcept>

#include "redirectord/features.h"
#include "redirectord/ruleset.h"

namespace redirectord {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kTick{100};
// Once a second: somebody may load a ruleset of his own that begins with "flush ruleset".
constexpr std::uint64_t kTicksBetweenLooks = 10;
constexpr std::uint64_t kTicksBetweenReports = 100;

std::string setOf(const std::string& table, const std::string& name,
                  const std::vector<std::string>& elements) {
    std::string text = "flush set " + table + " " + name + "\n";
    for (const std::string& element : elements) {
        text += "add element " + table + " " + name + " { " + element + " }\n";
    }
    return text;
}

std::string quoted(const std::string& name) {
    return '"' + name + '"';
}

}  // namespace

void installRuleset(Nft& nft, const Options& options) {
    std::vector<std::string> devices;
    std::transform(options.interfaces.begin(), options.interfaces.end(),
                   std::back_inserter(devices), quoted);
    const std::string commands = baseRuleset() + setOf("inet vesta", "captive_devices", devices);
    if (nft.run(commands)) {
        return;
    }
    const std::string refusal = nft.error();
    const std::vector<std::string> missing = missingFeatures(nft);
    if (!missing.empty()) {
        std::string words = "this kernel lacks";
        for (const std::string& feature : missing) {
            words += "\n    " + feature;
        }
        throw std::runtime_error(words);
    }
    // Tables of another version can't be taken over.
    if (!nft.run(removeRuleset() + commands)) {
        throw std::runtime_error("the kernel refuses the ruleset: " + nft.error());
    }
    ostrel::report(ostrel::LogLevel::warning,
                   "the tables that were there did not fit and were replaced: %s", refusal.c_str());
}

Service::Service(companion::EventLoop& loop, const Options& options, Nft& nft, NewsListener& news,
                 ModuleServer& server, WhiteListRequests& lists, ShaperLines& shaper)
    : loop_(loop),
      options_(options),
      nft_(nft),
      lists_(lists),
      shaper_(shaper),
      stations_({[this](const StationKey& key) { announcements_.push(key); },
                 [this](const StationKey& key, in_addr ip) { flows_.cut(key.mac, ip); },
                 [this](const StationKey& key, in_addr ip) { flows_.spare(key.mac, ip); },
                 [this](const StationKey& key) {
                     lists_.forgetStation(key);
                     shaper_.forgetStation(key);
                 }}),
      flows_(loop),
      links_(loop, options.interfaces, [this] { hookDevices(); }),
      announcements_(loop, [this](const StationKey& key) { return datagramOf(key); }),
      requests_(stations_, lists, *this) {
    stations_.adopt();
    links_.start();
    for (const std::string& name : options.interfaces) {
        if (links_.mtuOf(name) == 0) {
            ostrel::report(ostrel::LogLevel::warning, "%s is not there; it is waited for",
                           name.c_str());
        }
    }
    news.start([this](const auto& packets) { receiveNews(packets); });
    server.start({[this](std::string_view request) { return requests_.handle(request); },
                  [this] { daemonGone(); },
                  [this](std::string_view line) { shaper_.shaperLine(line); },
                  // Who is authorised by the radio's own means matters to its driver alone.
                  [](std::string_view) {}});
    loop.every(kTick, [this] { tick(); });
    ostrel::report(ostrel::LogLevel::debug, "%zu stations taken over", stations_.size());
}

int Service::proxyAddress(in_addr& address) {
    const std::optional<in_addr> found =
        options_.proxy ? options_.proxy : addressOn(links_.networks());
    address = found.value_or(in_addr{});
    return found ? 0 : -EADDRNOTAVAIL;
}

int Service::notifyProcess(std::uint32_t pid) {
    ostrel::report(ostrel::LogLevel::debug, "process %u hears of new stations", pid);
    return announcements_.start(pid);
}

int Service::gateway(in_addr address, in_addr& gateway) {
    return gatewayTo(address, gateway);
}

bool Service::isCaptive(const std::string& device) const {
    return std::find(options_.interfaces.begin(), options_.interfaces.end(), device) !=
           options_.interfaces.end();
}

// A device that comes back has another index, and has lost its chains.
void Service::hookDevices() {
    std::map<int, std::string> present;
    for (const auto& [index, link] : links_.captive()) {
        present[index] = link.name;
        if (hooked_.count(index) != 0 && hooked_[index] == link.name) {
            continue;
        }
        if (!nft_.run(hookDevice(link.name))) {
            ostrel::report(ostrel::LogLevel::error, "%s can't be watched: %s", link.name.c_str(),
                           nft_.error().c_str());
            present.erase(index);
            continue;
        }
        shaper_.deviceAppeared(link.name);
        ostrel::report(ostrel::LogLevel::debug, "%s is watched", link.name.c_str());
    }
    hooked_ = std::move(present);
    std::vector<std::string> networks;
    for (const std::string& name : links_.networks()) {
        networks.push_back(quoted(name));
    }
    std::vector<std::string> macs;
    for (const ostrel::MacBytes& mac : links_.ownMacs()) {
        macs.push_back(ostrel::macText(mac));
    }
    const std::string surroundings =
        setOf("inet vesta", "networks", networks) + setOf("netdev vesta", "own", macs);
    if (surroundings == surroundings_) {
        return;
    }
    if (!nft_.run(surroundings)) {
        ostrel::report(ostrel::LogLevel::error, "the access point's own addresses: %s",
                       nft_.error().c_str());
    }
    surroundings_ = surroundings;
    // Of the rules and devices that libnftables has read it leaves a megabyte behind.
    malloc_trim(0);
}

void Service::receiveNews(const std::vector<LoggedPacket>& packets) {
    if (!announcements_.started()) {
        return;  // a station that nobody hears of shows up again
    }
    std::vector<News> news;
    for (const LoggedPacket& packet : packets) {
        if (const Link* const link = links_.captiveDevice(packet.device)) {
            news.push_back({StationKey(link->name, packet.source), packet.ip});
        }
    }
    stations_.notice(news, Stations::Clock::now());
}

std::optional<std::string> Service::datagramOf(const StationKey& station) {
    const std::optional<in_addr> ip = stations_.announced(station, Stations::Clock::now());
    if (!ip) {
        return std::nullopt;
    }
    ostrel::report(ostrel::LogLevel::debug, "%s on %s is announced with %s",
                   ostrel::macText(station.mac).c_str(), station.device.data(),
                   ostrel::ipv4Text(*ip).c_str());
    return announcement(station, *ip, links_.mtuOf(station.deviceName()));
}

void Service::daemonGone() {
    ostrel::report(ostrel::LogLevel::warning, "the daemon has gone; everything stays as it is");
    announcements_.stop();
    stations_.daemonGone();
}

void Service::tick() {
    stations_.tick(Stations::Clock::now());
    ++ticks_;
    if (ticks_ % kTicksBetweenLooks == 0 && !stations_.tablesExist()) {
        ostrel::report(ostrel::LogLevel::error,
                       "somebody has removed the tables; they are put up again");
        lostTables_ = true;
        loop_.stop();
    }
    if (ticks_ % kTicksBetweenReports == 0 && stations_.refused() != reportedRefusals_) {
        reportedRefusals_ = stations_.refused();
        ostrel::report(ostrel::LogLevel::warning,
                       "%zu stations are known and no more fit; %" PRIu64 " were turned away",
                       stations_.size(), reportedRefusals_);
    }
}

}  // namespace redirectord
