#include "radius/radius_mapper.h"

#include <charconv>
#include <string_view>

namespace vesta {
namespace {

constexpr std::size_t kWordLength = 8;

bool parseWord(std::string_view text, std::uint32_t& word) {
    const char* const end = text.data() + text.size();
    return std::from_chars(text.data(), end, word, 16).ptr == end;
}

}  // namespace

std::uint32_t RadiusMapper::reasonToAcctTerm(EndReason reason) {
    enum AcctTerminateCause : std::uint32_t {
        kNone = 0,
        kUserRequest = 1,
        kIdleTimeout = 4,
        kSessionTimeout = 5,
        kNasRequest = 10,
    };
    switch (reason) {
        case END_REASON_NONE:
            return kNone;
        case END_REASON_APBD_REQUEST:
            // The station is idle here, because it has gone on to another access point.
            return kIdleTimeout;
        case END_REASON_RADIUS_REQUEST:
            return kNasRequest;
        case END_REASON_TIME_EXPIRED:
            return kSessionTimeout;
        case END_REASON_DISCONNECTED:
            return kUserRequest;
    }
    return kNone;
}

std::optional<std::pair<std::uint32_t, std::uint32_t>> RadiusMapper::parseSessionId(
    const std::string& text) {
    const std::string_view view = text;
    std::pair<std::uint32_t, std::uint32_t> words;
    if (view.size() != 2 * kWordLength + 1 || view[kWordLength] != '-' ||
        !parseWord(view.substr(0, kWordLength), words.first) ||
        !parseWord(view.substr(kWordLength + 1), words.second)) {
        return std::nullopt;
    }
    return words;
}

librad_radius_sta_stats RadiusMapper::toStaStats(const ClientStatisticInfo& statistics,
                                                 const std::string& interfaceName) {
    librad_radius_sta_stats stats(statistics);
    interfaceName.copy(stats.interfaceText, sizeof stats.interfaceText - 1);
    return stats;
}

}  // namespace vesta
