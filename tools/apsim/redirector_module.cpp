#include "apsim/redirector_module.h"

#include <fnmatch.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include "ostrel/addresses.h"
#include "ostrel/modules.h"

namespace apsim {

namespace {

enum Request : std::uint32_t {
    kGetProxy = 6,
    kSetUnauthed = 8,
    kSetAuthed = 9,
    kSetDrop = 10,
    kWipeClient = 11,
    kSetNotifyPid = 13,
    kSetClientWhiteList = 19,
    kAddAddresses = 20,
    kAddDomains = 21,
    kAddPatterns = 22,
    kWipeLists = 23,
    kWipeStations = 24,
    kGetGateway = 25,
};

constexpr std::size_t kClientAddress = 42;
constexpr std::size_t kListId = 22;
constexpr std::uint32_t kChunkAddresses = 128;
constexpr std::size_t kGatewayBytes = 52;
constexpr std::size_t kNameBytes = 16;

// A number in host order, as it stands in memory.
std::uint32_t number(std::string_view bytes, std::size_t offset) {
    std::uint32_t value = 0;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

void append(std::string& bytes, std::uint32_t value) {
    bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
}

// In network order, as it stands in memory; 0 of a text that is no address.
std::uint32_t addressOf(const std::string& text) {
    return ostrel::parseIpv4(text).value_or(in_addr{}).s_addr;
}

std::string addressText(std::uint32_t address) {
    return ostrel::ipv4Text({address});
}

StationId stationOf(std::string_view record) {
    ostrel::MacBytes mac;
    std::copy_n(record.begin(), mac.size(), mac.begin());
    const std::string_view name = record.substr(mac.size(), kNameBytes);
    return {std::string(name.substr(0, name.find('\0'))), ostrel::macText(mac)};
}

// The zero-terminated texts behind the list id, up to the first empty place.
std::vector<std::string> textsOf(std::string_view chunk) {
    std::vector<std::string> texts;
    std::string_view rest = chunk.substr(sizeof(std::uint32_t));
    while (!rest.empty() && rest.front() != '\0') {
        const std::size_t end = std::min(rest.find('\0'), rest.size());
        texts.emplace_back(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return texts;
}

std::string joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts) {
        all += (all.empty() ? "" : " ") + text;
    }
    return all;
}

}  // namespace

const char* accessName(Access access) {
    switch (access) {
        case Access::unknown:
            return "forgotten";
        case Access::unauthed:
            return "unauthed";
        case Access::authed:
            return "authed";
        case Access::drop:
            return "drop";
    }
    return "";
}

RedirectorModule::RedirectorModule(EventLog& log, const std::string& proxy,
                                   const std::string& gateway)
    : log_(log), proxy_(addressOf(proxy)), gateway_(addressOf(gateway)) {}

std::string RedirectorModule::handle(std::string_view request) {
    std::string record;
    Event event{Party::redirector, "refused", {}, ""};
    int result = -EINVAL;
    ostrel::MutexLock lock(mutex_);
    if (request.size() >= sizeof(std::uint32_t)) {
        const std::string_view argument = request.substr(sizeof(std::uint32_t));
        const std::uint32_t wanted = number(request, 0);
        event.detail = "request " + std::to_string(wanted) + " with " +
                       std::to_string(argument.size()) + " bytes";
        const std::optional<ostrel::RequestSizes> sizes = ostrel::requestSizes(wanted);
        if (sizes && argument.size() == sizes->argument) {
            result = execute(wanted, argument, record, event);
        }
    }
    // Asking for an address changes nothing, so it is no event.
    if (!event.what.empty()) {
        log_.add(std::move(event));
    }
    std::string answer;
    append(answer, static_cast<std::uint32_t>(result));
    return answer + record;
}

int RedirectorModule::execute(std::uint32_t request, std::string_view record, std::string& answer,
                              Event& event) {
    switch (request) {
        case kGetProxy:
            append(answer, proxy_);
            event.what.clear();
            return 0;
        case kGetGateway:
            answer = record.substr(0, kGatewayBytes - sizeof gateway_);
            append(answer, gateway_);
            event.what.clear();
            return 0;
        case kSetNotifyPid:
            notifyPid_ = number(record, 0);
            event.what = "notify pid";
            event.detail = std::to_string(notifyPid_);
            return 0;
        case kWipeLists:
            event.what = "wipe lists";
            event.detail = std::to_string(lists_.size()) + " white lists";
            lists_.clear();
            lastList_ = 0;
            return 0;
        case kWipeStations:
            event.what = "wipe stations";
            event.detail = std::to_string(stations_.size()) + " stations";
            stations_.clear();
            return 0;
        case kSetUnauthed:
        case kSetAuthed:
        case kSetDrop:
        case kWipeClient:
            return setAccess(request, record, event);
        case kSetClientWhiteList:
            return setWhiteList(record, event);
        case kAddAddresses:
            return addAddresses(record, event);
        case kAddDomains:
        case kAddPatterns:
            return addTexts(request, record, event);
        default:
            return -ENOTTY;
    }
}

int RedirectorModule::setAccess(std::uint32_t request, std::string_view record, Event& event) {
    const Access access = request == kSetUnauthed ? Access::unauthed
                          : request == kSetAuthed ? Access::authed
                          : request == kSetDrop   ? Access::drop
                                                  : Access::unknown;
    event.station = stationOf(record);
    event.what = accessName(access);
    event.detail = addressText(number(record, kClientAddress));
    if (access == Access::unknown) {
        stations_.erase(event.station);
    } else {
        stations_[event.station].access = access;
    }
    return 0;
}

int RedirectorModule::setWhiteList(std::string_view record, Event& event) {
    event.station = stationOf(record);
    event.what = "white list";
    const std::uint32_t id = number(record, kListId);
    event.detail = "list " + std::to_string(id);
    stations_[event.station].whiteList = id;
    return 0;
}

WhiteList& RedirectorModule::listOf(std::string_view chunk) {
    const std::uint32_t id = number(chunk, 0);
    if (id != 0) {
        lastList_ = id;
    }
    return lists_[lastList_];
}

int RedirectorModule::addAddresses(std::string_view chunk, Event& event) {
    constexpr std::size_t kPairBytes = 8;
    const std::uint32_t count = number(chunk, sizeof(std::uint32_t));
    if (count > kChunkAddresses) {
        return -EINVAL;
    }
    WhiteList& list = listOf(chunk);
    event.what = "add addresses";
    event.detail = "list " + std::to_string(lastList_) + ":";
    for (std::uint32_t entry = 1; entry <= count; ++entry) {
        const std::uint32_t address = number(chunk, entry * kPairBytes);
        const std::uint32_t mask = number(chunk, entry * kPairBytes + sizeof address);
        list.addresses.emplace_back(ntohl(address), ntohl(mask));
        event.detail += " " + addressText(address) + "/" + addressText(mask);
    }
    return 0;
}

int RedirectorModule::addTexts(std::uint32_t request, std::string_view chunk, Event& event) {
    WhiteList& list = listOf(chunk);
    const std::vector<std::string> texts = textsOf(chunk);
    std::vector<std::string>& known = request == kAddDomains ? list.domains : list.patterns;
    known.insert(known.end(), texts.begin(), texts.end());
    event.what = request == kAddDomains ? "add domains" : "add patterns";
    event.detail = "list " + std::to_string(lastList_) + ": " + joined(texts);
    return 0;
}

Access RedirectorModule::access(const StationId& id) const {
    ostrel::MutexLock lock(mutex_);
    const auto found = stations_.find(id);
    return found == stations_.end() ? Access::unknown : found->second.access;
}

std::uint32_t RedirectorModule::whiteListId(const StationId& id) const {
    ostrel::MutexLock lock(mutex_);
    const auto found = stations_.find(id);
    return found == stations_.end() ? 0 : found->second.whiteList;
}

std::map<std::uint32_t, WhiteList> RedirectorModule::whiteLists() const {
    ostrel::MutexLock lock(mutex_);
    return lists_;
}

std::size_t RedirectorModule::stations() const {
    ostrel::MutexLock lock(mutex_);
    return stations_.size();
}

std::uint32_t RedirectorModule::notifyPid() const {
    ostrel::MutexLock lock(mutex_);
    return notifyPid_;
}

bool RedirectorModule::reaches(const StationId& id, const std::string& destination) const {
    ostrel::MutexLock lock(mutex_);
    const auto found = stations_.find(id);
    if (found == stations_.end() || found->second.access != Access::unauthed) {
        return found != stations_.end() && found->second.access == Access::authed;
    }
    const auto entry = lists_.find(found->second.whiteList);
    if (entry == lists_.end()) {
        return false;
    }
    const WhiteList& list = entry->second;
    const std::uint32_t address = ntohl(addressOf(destination));
    const auto& [addresses, domains, patterns] = list;
    return (address != 0 && std::any_of(addresses.begin(), addresses.end(),
                                        [&](const auto& pair) {
                                            return (address & pair.second) ==
                                                   (pair.first & pair.second);
                                        })) ||
           std::find(domains.begin(), domains.end(), destination) != domains.end() ||
           std::any_of(patterns.begin(), patterns.end(), [&](const std::string& pattern) {
               return fnmatch(pattern.c_str(), destination.c_str(), 0) == 0;
           });
}

}  // namespace apsim
