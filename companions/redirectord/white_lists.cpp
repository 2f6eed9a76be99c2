#include "redirectord/white_lists.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "ostrel/runtime.h"
#include "redirectord/ruleset.h"

namespace redirectord {
namespace {

using nlohmann::json;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr const char* kMap = "lists";

// vestad tells the pieces of a list one right after the other.
constexpr milliseconds kLastPiece{30};
// A station's list follows at once on its state.
constexpr seconds kListFollows{1};

std::string digestOfChain(const std::string& chain) {
    const std::string_view prefix = ActiveList::kPrefix;
    return chain.compare(0, prefix.size(), prefix) == 0 ? chain.substr(prefix.size()) : "";
}

json listed(Nft& nft, const char* command) {
    const std::string text = nft.list(command);
    if (text.empty()) {
        throw std::runtime_error(std::string(command) + ": " + nft.error());
    }
    return json::parse(text).at("nftables");
}

}  // namespace

WhiteLists::WhiteLists(companion::EventLoop& loop, Nft& nft, milliseconds grace)
    : loop_(loop), nft_(nft), grace_(grace) {
    adopt();
}

WhiteLists::~WhiteLists() {
    loop_.cancel(enforceTimer_);
    loop_.cancel(graceTimer_);
    loop_.cancel(awaitTimer_);
}

void WhiteLists::adopt() {
    for (const json& object : listed(nft_, "list chains netdev")) {
        const json chain = object.value("chain", json::object());
        const std::string digest = digestOfChain(chain.value("name", ""));
        if (chain.value("table", "") == "vesta" && !digest.empty()) {
            active_.try_emplace(digest, digest);
        }
    }
    readStations();
}

void WhiteLists::readStations() {
    for (auto& station : stations_) {
        station.second.active = nullptr;
    }
    const auto read = [this](const companion::SetElement& element) {
        const auto list = active_.find(digestOfChain(std::string(element.chain)));
        const auto key = StationKey::ofBytes(element.key);
        if (list != active_.end() && key) {
            stations_[*key].active = &list->second;
        }
    };
    const int error =
        reader_.read(companion::TableFamily::netdev, kMap, companion::kManyTries, read).error;
    if (error != 0) {
        ostrel::report(ostrel::LogLevel::error, "white lists: stations can't be read: %s",
                       std::strerror(error));
    }
}

int WhiteLists::addAddresses(std::uint32_t list, const std::vector<Ipv4Range>& ranges) {
    Told& told = open(list);
    int result = 0;
    for (const auto& [address, mask] : ranges) {
        if (!told.content.addSubnet(IpAddress::v4(&address), IpAddress::v4(&mask))) {
            ostrel::report(ostrel::LogLevel::warning, "white list %u: no subnet: %s/%s", list,
                           ostrel::ipv4Text(address).c_str(), ostrel::ipv4Text(mask).c_str());
            result = -EINVAL;
        }
    }
    return result;
}

int WhiteLists::addDomains(std::uint32_t list, const std::vector<std::string>& domains) {
    addStrings(list, domains);
    return 0;
}

int WhiteLists::addPatterns(std::uint32_t list, const std::vector<std::string>& patterns) {
    addStrings(list, patterns);
    return 0;
}

void WhiteLists::addStrings(std::uint32_t list, const std::vector<std::string>& texts) {
    Told& told = open(list);
    for (const std::string& text : texts) {
        told.content.addText(text);
    }
}

WhiteLists::Told& WhiteLists::open(std::uint32_t list) {
    changed_.insert(list);
    loop_.cancel(enforceTimer_);
    enforceTimer_ = loop_.after(kLastPiece, [this] { enforce(); });
    return told_[list];
}

int WhiteLists::setStationList(const StationKey& key, std::uint32_t list) {
    enforce();
    awaited_.erase(key);
    if (stations_.size() >= kMostStations && stations_.count(key) == 0) {
        return -ENFILE;
    }
    Station& station = stations_[key];
    station.list = list;
    const auto told = told_.find(list);
    if (told != told_.end() || graceTimer_ == 0) {
        bind(key, station, told != told_.end() ? told->second.active : nullptr);
    }
    return run();
}

void WhiteLists::awaitStationList(const StationKey& key) {
    const auto found = stations_.find(key);
    if (found == stations_.end()) {
        return;
    }
    const Clock::time_point end = Clock::now() + kListFollows;
    awaited_[key] = end;
    awaiting_.emplace_back(end, key);
    if (awaitTimer_ == 0) {
        awaitTimer_ = loop_.after(kListFollows, [this] { endAwaiting(); });
    }
}

void WhiteLists::endAwaiting() {
    awaitTimer_ = 0;
    const Clock::time_point now = Clock::now();
    for (; !awaiting_.empty() && awaiting_.front().first <= now; awaiting_.pop_front()) {
        const auto& [end, key] = awaiting_.front();
        const auto found = awaited_.find(key);
        if (found != awaited_.end() && found->second == end) {
            awaited_.erase(found);
            forgetStation(StationKey(key));
        }
    }
    if (!awaiting_.empty()) {
        const auto left = std::chrono::ceil<milliseconds>(awaiting_.front().first - now);
        awaitTimer_ = loop_.after(left, [this] { endAwaiting(); });
    }
}

int WhiteLists::clearLists() {
    enforce();
    told_.clear();
    loop_.cancel(graceTimer_);
    graceTimer_ = loop_.after(grace_, [this] { endGrace(); });
    return 0;
}

void WhiteLists::forgetStation(const StationKey& key) {
    awaited_.erase(key);
    const auto found = stations_.find(key);
    if (found != stations_.end()) {
        bind(key, found->second, nullptr);
        stations_.erase(found);
        static_cast<void>(run());
    }
}

void WhiteLists::enforce() {
    if (changed_.empty()) {
        return;
    }
    loop_.cancel(enforceTimer_);
    enforceTimer_ = 0;
    // Where a list can't be made, stations keep what they have.
    for (auto id = changed_.begin(); id != changed_.end();) {
        Told& told = told_[*id];
        ActiveList* const made = activate(told.content);
        told.active = made != nullptr ? made : told.active;
        id = made != nullptr ? std::next(id) : changed_.erase(id);
    }
    for (auto& [key, station] : stations_) {
        if (changed_.count(station.list) != 0) {
            bind(key, station, told_[station.list].active);
        }
    }
    changed_.clear();
    static_cast<void>(run());
    removeUnused();
}

ActiveList* WhiteLists::activate(const WhiteList& content) {
    const std::string digest = content.digest();
    const auto [found, isNew] = active_.try_emplace(digest, digest);
    ActiveList& list = found->second;
    if (isNew && !nft_.run(list.creation(content))) {
        ostrel::report(ostrel::LogLevel::error, "a white list can't be made: %s",
                       nft_.error().c_str());
        active_.erase(found);
        return nullptr;
    }
    list.setNames(content.names());
    for (const auto& other : active_) {
        if (isNew && &other.second != &list) {
            list.learnFrom(other.second, Clock::now(), batch_);
        }
    }
    return &list;
}

void WhiteLists::bind(const StationKey& key, Station& station, ActiveList* active) {
    if (station.active == active) {
        return;
    }
    if (station.active != nullptr) {
        batch_.remove(kMap, key.bytes());
    }
    if (active != nullptr) {
        batch_.addJump(kMap, key.bytes(), active->chain());
    }
    station.active = active;
}

// Everything that waits goes with it: learned addresses too.
int WhiteLists::run() {
    const int error = batch_.run();
    if (error == 0) {
        return 0;
    }
    ostrel::report(ostrel::LogLevel::error, "white lists: the kernel refuses elements: %s",
                   std::strerror(error));
    // Nothing of it was done. What stands there is asked for, so that the next change fits.
    for (auto& list : active_) {
        list.second.distrust();
    }
    readStations();
    return -error;
}

void WhiteLists::endGrace() {
    graceTimer_ = 0;
    enforce();
    for (auto& [key, station] : stations_) {
        if (told_.count(station.list) == 0) {
            bind(key, station, nullptr);
        }
    }
    static_cast<void>(run());
    removeUnused();
}

void WhiteLists::removeUnused() {
    if (graceTimer_ != 0) {
        return;
    }
    std::set<const ActiveList*> used;
    for (const auto& told : told_) {
        used.insert(told.second.active);
    }
    for (const auto& station : stations_) {
        used.insert(station.second.active);
    }
    for (auto list = active_.begin(); list != active_.end();) {
        if (used.count(&list->second) != 0) {
            ++list;
            continue;
        }
        if (!nft_.run(list->second.removal())) {
            ostrel::report(ostrel::LogLevel::error, "%s stays: %s", list->second.chain().c_str(),
                           nft_.error().c_str());
        }
        list = active_.erase(list);
    }
}

bool WhiteLists::take(std::string_view message) {
    const bool anyNames = std::any_of(active_.begin(), active_.end(),
                                      [](const auto& list) { return list.second.hasNames(); });
    if (!anyNames) {
        return false;
    }
    const DnsAnswer answer = readDnsAnswer(message);
    if (answer.addresses.empty()) {
        return false;
    }
    bool isListed = false;
    for (auto& list : active_) {
        isListed = list.second.learn(answer, Clock::now(), batch_) || isListed;
    }
    return isListed && !batch_.empty();
}

void WhiteLists::settle() {
    static_cast<void>(run());
}

}  // namespace redirectord
