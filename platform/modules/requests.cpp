#include "ostrel/modules.h"

namespace ostrel {
namespace {

constexpr std::size_t kWord = 4;  // a process id, an IPv4 address
constexpr std::size_t kStation = 46;
constexpr std::size_t kStationList = 26;
constexpr std::size_t kChunk = 1032;
constexpr std::size_t kGateway = 52;

}  // namespace

std::optional<RequestSizes> requestSizes(unsigned long number) {
    switch (number) {
        case 6:  // address of the proxy
            return RequestSizes{0, kWord};
        case 8:  // the states of a station
        case 9:
        case 10:
        case 11:
            return RequestSizes{kStation, 0};
        case 13:  // whom to notify
            return RequestSizes{kWord, 0};
        case 19:  // white list of a station
            return RequestSizes{kStationList, 0};
        case 20:  // chunks of a white list
        case 21:
        case 22:
            return RequestSizes{kChunk, 0};
        case 23:  // forget all lists, all stations
        case 24:
            return RequestSizes{0, 0};
        case 25:  // gateway towards an address
            return RequestSizes{kGateway, kGateway};
        default:
            return std::nullopt;
    }
}

}  // namespace ostrel
