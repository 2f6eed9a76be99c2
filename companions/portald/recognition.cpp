#include "portald/recognition.h"

#include <array>
#include <chrono>
#include <utility>
#include <vector>

#include "ostrel/addresses.h"

namespace portald {
namespace {

using std::chrono::milliseconds;

// The waits in front of asking again for a station that vestad does not know: it may have come a
// moment ago, and is known as soon as monitord has told of it, mostly within a tenth of a second.
constexpr std::array kUntilKnown = {
    milliseconds(10), milliseconds(10), milliseconds(15),  milliseconds(15),  milliseconds(15),
    milliseconds(15), milliseconds(15), milliseconds(15),  milliseconds(20),  milliseconds(30),
    milliseconds(50), milliseconds(90), milliseconds(200), milliseconds(400), milliseconds(600)};

constexpr std::size_t kMostPortals = 256;

}  // namespace

struct Recognition::Search {
    std::string peer;
    unsigned int device;
    Found found;
    Failed failed;
    std::vector<Neighbours::Owner> owners;  // who may be asking; the MAC is "" for any
    std::size_t owner = 0;
    std::size_t round = 0;
};

void Recognition::find(const Asked& asked, Found found, Failed failed) {
    auto search = std::make_shared<Search>();
    search->peer = asked.peer;
    search->device = asked.peerDevice;
    search->found = std::move(found);
    search->failed = std::move(failed);
    begin(search);
}

void Recognition::begin(const SearchPtr& search) {
    search->owner = 0;
    if (ostrel::parseIpv4(search->peer)) {
        search->owners = {{"", search->peer}};
    } else {
        search->owners = neighbours_.ownersOf(search->peer, search->device);
    }
    tryNext(search);
}

void Recognition::tryNext(const SearchPtr& search) {
    if (search->owner < search->owners.size()) {
        daemon_.ask(validateIpRequest(search->owners[search->owner].ipv4),
                    [this, search](const Daemon::Answer& answer) { examine(search, answer); });
    } else if (search->round < kUntilKnown.size()) {
        later_(kUntilKnown[search->round++], [this, search] { begin(search); });
    } else {
        search->failed(Failure::unknown);
    }
}

void Recognition::examine(const SearchPtr& search, const Daemon::Answer& answer) {
    if (!answer) {
        search->failed(Failure::unanswered);
        return;
    }
    std::optional<Station> station = stationOf(*answer);
    const std::string& mac = search->owners[search->owner].mac;
    if (station && (mac.empty() || mac == station->mac)) {
        namePortal(*station);
        search->found(*station);
        return;
    }
    ++search->owner;
    tryNext(search);
}

// vestad names the virtual portal of stations without access alone; those of one SSID have the
// same.
void Recognition::namePortal(Station& station) {
    const auto known = portalNames_.find(station.ssid);
    if (station.portalName.empty()) {
        station.portalName = known != portalNames_.end() ? known->second : "";
    } else if (known != portalNames_.end() || portalNames_.size() < kMostPortals) {
        portalNames_[station.ssid] = station.portalName;
    }
}

}  // namespace portald
