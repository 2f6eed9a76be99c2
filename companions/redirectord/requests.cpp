#include "redirectord/requests.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include "ostrel/modules.h"

namespace redirectord {
namespace {

enum Number : std::uint32_t {
    kGetProxy = 6,
    kSetUnauthed = 8,
    kSetAuthed = 9,
    kSetDrop = 10,
    kForgetStation = 11,
    kSetNotifyPid = 13,
    kSetStationList = 19,
    kAddAddresses = 20,
    kAddDomains = 21,
    kAddPatterns = 22,
    kForgetLists = 23,
    kForgetStations = 24,
    kGetGateway = 25,
};

constexpr std::size_t kStationIp = 42;
constexpr std::size_t kDevice = 6;
constexpr std::size_t kDeviceBytes = 16;
constexpr std::size_t kStationList = 22;
constexpr std::uint32_t kMostRanges = 128;
constexpr std::size_t kRangeBytes = 8;
constexpr std::size_t kGateway = 48;

// A value as it stands in memory: numbers in host order, addresses in network order.
template <typename Value>
Value valueAt(std::string_view bytes, std::size_t offset) {
    Value value{};
    if (bytes.size() >= offset + sizeof value) {
        std::memcpy(&value, bytes.data() + offset, sizeof value);
    }
    return value;
}

template <typename Value>
std::string bytesOf(Value value) {
    return {reinterpret_cast<const char*>(&value), sizeof value};
}

StationKey stationIn(std::string_view record) {
    ostrel::MacBytes mac;
    std::memcpy(mac.data(), record.data(), mac.size());
    const std::string_view name = record.substr(kDevice, kDeviceBytes);
    return StationKey(name.substr(0, name.find('\0')), mac);
}

// The zero-terminated texts behind the list's id, up to the first empty one.
std::vector<std::string> textsIn(std::string_view chunk) {
    std::vector<std::string> texts;
    std::string_view rest = chunk.substr(sizeof(std::uint32_t));
    while (!rest.empty() && rest.front() != '\0') {
        const std::size_t end = std::min(rest.find('\0'), rest.size());
        texts.emplace_back(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return texts;
}

}  // namespace

std::string Requests::handle(std::string_view request) {
    std::string record;
    int result = -EINVAL;
    if (request.size() >= sizeof(std::uint32_t)) {
        const auto number = valueAt<std::uint32_t>(request, 0);
        const std::string_view argument = request.substr(sizeof number);
        const std::optional<ostrel::RequestSizes> sizes = ostrel::requestSizes(number);
        if (sizes && argument.size() == sizes->argument) {
            result = execute(number, argument, record);
        }
        if (result < 0) {
            ostrel::report(ostrel::LogLevel::warning, "request %u with %zu bytes: %s", number,
                           argument.size(), std::strerror(-result));
        }
    }
    return bytesOf<std::int32_t>(result) + record;
}

int Requests::execute(std::uint32_t number, std::string_view argument, std::string& record) {
    switch (number) {
        case kGetProxy: {
            in_addr address{};
            const int result = router_.proxyAddress(address);
            record = bytesOf(address.s_addr);
            return result;
        }
        case kSetUnauthed:
        case kSetAuthed:
        case kSetDrop:
        case kForgetStation:
            return onStation(number, argument);
        case kSetNotifyPid:
            return router_.notifyProcess(valueAt<std::uint32_t>(argument, 0));
        case kSetStationList:
            return setStationList(argument);
        case kAddAddresses:
        case kAddDomains:
        case kAddPatterns:
            return addToList(number, argument);
        case kForgetLists:
            lastList_ = 0;
            return lists_.clearLists();
        case kForgetStations:
            stations_.forgetAll(Stations::Clock::now());
            return 0;
        case kGetGateway:
            return gateway(argument, record);
        default:
            return -EINVAL;
    }
}

int Requests::onStation(std::uint32_t number, std::string_view argument) {
    const StationKey station = stationIn(argument);
    if (number == kForgetStation) {
        return stations_.forget(station);
    }
    if (!router_.isCaptive(station.deviceName())) {
        return -ENODEV;
    }
    if (number == kSetUnauthed) {
        lists_.awaitStationList(station);
    }
    const Access access = number == kSetAuthed ? Access::pass
                          : number == kSetDrop ? Access::dropped
                                               : Access::captive;
    return stations_.tell(station, access, valueAt<in_addr>(argument, kStationIp),
                          Stations::Clock::now());
}

int Requests::setStationList(std::string_view argument) {
    const StationKey station = stationIn(argument);
    if (!router_.isCaptive(station.deviceName())) {
        return -ENODEV;
    }
    return lists_.setStationList(station, valueAt<std::uint32_t>(argument, kStationList));
}

int Requests::addToList(std::uint32_t number, std::string_view argument) {
    const auto named = valueAt<std::uint32_t>(argument, 0);
    lastList_ = named != 0 ? named : lastList_;
    if (lastList_ == 0) {
        return -EINVAL;
    }
    if (number == kAddAddresses) {
        return addAddresses(lastList_, argument);
    }
    return number == kAddDomains ? lists_.addDomains(lastList_, textsIn(argument))
                                 : lists_.addPatterns(lastList_, textsIn(argument));
}

int Requests::addAddresses(std::uint32_t list, std::string_view argument) {
    const auto count = valueAt<std::uint32_t>(argument, sizeof list);
    if (count > kMostRanges) {
        return -EINVAL;
    }
    std::vector<Ipv4Range> ranges;
    for (std::uint32_t i = 1; i <= count; ++i) {
        ranges.emplace_back(valueAt<in_addr>(argument, i * kRangeBytes),
                            valueAt<in_addr>(argument, i * kRangeBytes + sizeof(in_addr)));
    }
    return lists_.addAddresses(list, ranges);
}

int Requests::gateway(std::string_view argument, std::string& record) {
    in_addr gateway{};
    const int result = router_.gateway(valueAt<in_addr>(argument, 0), gateway);
    record = std::string(argument.substr(0, kGateway)) + bytesOf(gateway.s_addr);
    return result;
}

}  // namespace redirectord
