#include "apsim/road_player.h"

#include <algorithm>
#include <cmath>
#include <sstream>
#include <thread>
#include <utility>

#include "apsim/radius_server.h"
#include "apsim/road_expectations.h"

namespace apsim {

namespace {

using Clock = std::chrono::steady_clock;

constexpr double kDefaultWithin = 5;  // seconds
// How often the daemon is asked while an expectation about its answers is open.
constexpr Milliseconds kAskInterval{200};
// How long a killed daemon may take until it answers again.
constexpr Milliseconds kRestart{5000};
constexpr double kTrafficStep = 0.25;  // seconds

Clock::duration seconds(double count) {
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(count));
}

}  // namespace

RoadPlayer::RoadPlayer(std::vector<AccessPoint*> accessPoints, std::string radiusSecret)
    : accessPoints_(std::move(accessPoints)),
      log_(accessPoints_.front()->events()),
      radiusSecret_(std::move(radiusSecret)) {}

std::vector<StationResult> RoadPlayer::play(const Road& road) {
    const Time start = Clock::now();
    std::vector<StationResult> results(road.stations.size());
    std::vector<std::thread> threads;
    for (std::size_t index = 0; index < results.size(); ++index) {
        threads.emplace_back([&, index] { results[index] = walk(road.stations[index], start); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    return results;
}

void RoadPlayer::stop() {
    stopped_ = true;
    log_.add({Party::station, "stop", {}, ""});
}

StationResult RoadPlayer::walk(const RoadStation& plan, Time start) {
    const std::size_t from = log_.size();
    Walk walk{plan, stationAt(plan.id.interface, plan), from};
    StationResult result{plan.name, plan.story, "", ""};
    for (const RoadEvent& event : plan.events) {
        const Time time = std::max(start + seconds(event.at), Clock::now() + seconds(event.after));
        try {
            result.failure = pauseUntil(time) ? perform(walk, event) : "stopped";
        } catch (const Json::exception& error) {
            result.failure = std::string("an answer makes no sense: ") + error.what();
        }
        if (!result.failure.empty()) {
            walk.station.leave();
            break;
        }
    }
    result.happened = history(walk, from);
    return result;
}

Station RoadPlayer::stationAt(const std::string& interface, const RoadStation& plan) const {
    const auto found =
        std::find_if(accessPoints_.begin(), accessPoints_.end(),
                     [&](const AccessPoint* one) { return one->hasInterface(interface); });
    AccessPoint& accessPoint = found == accessPoints_.end() ? *accessPoints_.front() : **found;
    return accessPoint.station(interface, plan.id.mac, plan.ip);
}

std::string RoadPlayer::perform(Walk& walk, const RoadEvent& event) {
    if (event.kind == "expect") {
        return expect(walk, event.arguments);
    }
    walk.mark = log_.size();
    if (event.kind == "associate") {
        walk.station.associate();
    } else if (event.kind == "packet") {
        walk.station.sendPacket();
    } else if (event.kind == "arrive") {
        walk.station.arrive();
    } else if (event.kind == "leave") {
        walk.station.leave();
    } else if (event.kind == "roam") {
        roam(walk, event.arguments["interface"]);
    } else if (event.kind == "traffic") {
        spreadTraffic(walk, event.arguments);
    } else if (event.kind == "kill-daemon") {
        return killDaemon(walk);
    } else if (event.kind == "radius-disconnect") {
        return disconnectByRadius(walk, event.arguments);
    } else {
        askDaemon(walk, event);
    }
    return "";
}

// What the portal and the proxy ask on behalf of the station.
void RoadPlayer::askDaemon(Walk& walk, const RoadEvent& event) {
    const Json& arguments = event.arguments;
    const StationId& id = walk.station.id();
    PortalClient& portal = walk.station.accessPoint().portal();
    if (event.kind == "browse") {
        browse(walk);
    } else if (event.kind == "login") {
        answered(walk, "validate", walk.station.login(arguments["login"], arguments["password"]));
    } else if (event.kind == "update-scenario") {
        answered(walk, "update-scenario",
                 portal.updateScenario(walk.plan.ip, arguments["scenarios"],
                                       arguments.value("permitted-ip-list", Json())));
    } else if (event.kind == "update") {
        answered(walk, "update",
                 portal.update(walk.plan.ip, arguments["cur-scenario-id"],
                               arguments.value("constraints", Json::object())));
    } else if (event.kind == "disconnect") {
        answered(walk, "cp-del-client", portal.deleteClient(id.interface, id.mac));
    }
}

// The station is out of the range of its access point at the moment when it is in that of the next.
void RoadPlayer::roam(Walk& walk, const std::string& interface) {
    const Station left = walk.station;
    walk.station = stationAt(interface, walk.plan);
    log_.add({Party::station, "roam", walk.station.id(), "from " + left.id().interface});
    left.accessPoint().associations().leave(left.id());
    walk.station.arrive();
}

// Whoever started the daemon starts it again. Empty when that has happened.
std::string RoadPlayer::killDaemon(const Walk& walk) {
    AccessPoint& accessPoint = walk.station.accessPoint();
    const std::uint32_t gone = accessPoint.killDaemon();
    if (gone == 0) {
        return "there is no daemon to kill";
    }
    log_.add(
        {Party::station, "daemon killed", walk.station.id(), "process " + std::to_string(gone)});
    return accessPoint.waitForDaemon(kRestart, gone) ? "" : "nobody started the daemon again";
}

// What the proxy does with a web request of the station: it asks who that is and where to send it.
void RoadPlayer::browse(const Walk& walk) {
    log_.add({Party::station, "browse", walk.station.id(), ""});
    PortalClient& portal = walk.station.accessPoint().portal();
    const PortalClient::Answer known = portal.validateIp(walk.plan.ip);
    answered(walk, "validate-ip", known);
    const PortalClient::Answer place = portal.redirectParams(walk.plan.ip);
    answered(walk, "get-redirect-params", place);
}

// Empty when the daemon answered as expected.
std::string RoadPlayer::disconnectByRadius(const Walk& walk, const Json& arguments) {
    const std::string by = arguments["by"];
    const Json client = clientOf(walk.station).value_or(Json());
    const auto ofClient = [&](const char* member) {
        return client.is_object() ? client.value(member, "") : "";
    };
    DisconnectNames names;
    names.mac = by == "mac" ? walk.plan.id.mac : "";
    names.user = arguments.value("user", by == "user" ? ofClient("login") : "");
    names.session = by == "session" ? ofClient("session-id") : "";
    const DisconnectAnswer answer = requestDisconnect(names, radiusSecret_);
    const std::string got = disconnectAnswerName(answer);
    log_.add({Party::radius, "disconnect", walk.station.id(),
              "of " + names.mac + names.session + " " + names.user + ": " + got});
    const std::string wanted = arguments.value("answer", "ACK");
    return got == wanted ? ""
                         : "the answer to the Disconnect-Request is " + got + ", not " + wanted;
}

void RoadPlayer::answered(const Walk& walk, const char* request,
                          const PortalClient::Answer& answer) {
    std::string detail = "no answer";
    if (answer) {
        const Json params = answer->value("params", Json::object());
        detail =
            answer->contains("result") ? "result " + plainText((*answer)["result"]) : "answered";
        for (const char* name : {"cur-state", "url", "end-reason"}) {
            if (params.contains(name)) {
                detail += std::string(", ") + name + " " + plainText(params[name]);
            }
        }
        for (const char* name : {"reason", "error", "redirect-location"}) {
            if (answer->contains(name)) {
                detail += std::string(", ") + name + " " + plainText((*answer)[name]);
            }
        }
    }
    log_.add({Party::portal, request, walk.station.id(), detail});
}

// The redirector announces a station that it doesn't know with each packet that comes from it, as
// after its daemon has begun anew.
void RoadPlayer::spreadTraffic(Walk& walk, const Json& arguments) {
    const auto rx = arguments["rx"].get<std::uint64_t>();
    const auto tx = arguments["tx"].get<std::uint64_t>();
    const double length = arguments.value("seconds", 0.0);
    const auto steps = static_cast<std::uint64_t>(std::max(1.0, std::ceil(length / kTrafficStep)));
    log_.add({Party::station, "traffic", walk.station.id(),
              std::to_string(rx) + " bytes sent, " + std::to_string(tx) + " received" +
                  (length > 0 ? ", step by step" : "")});
    const Time start = Clock::now();
    for (std::uint64_t step = 0; step < steps; ++step) {
        // Shares that add up to the whole, whatever the division leaves over.
        const auto share = [&](std::uint64_t whole) {
            return whole * (step + 1) / steps - whole * step / steps;
        };
        walk.station.accessPoint().associations().count(walk.station.id(), share(rx), share(tx));
        if (walk.station.access() == Access::unknown) {
            walk.station.sendPacket();
        }
        if (steps > 1 &&
            !pauseUntil(start + seconds(kTrafficStep * static_cast<double>(step + 1)))) {
            return;
        }
    }
}

// Empty when all of it holds within its time, else what did not.
std::string RoadPlayer::expect(const Walk& walk, const Json& arguments) {
    const double within = arguments.value("within", kDefaultWithin);
    const Time deadline = Clock::now() + seconds(within);
    for (;;) {
        const std::size_t seen = log_.size();
        std::string mismatch = firstMismatch(walk.station, walk.mark, arguments);
        const auto left = std::chrono::duration_cast<Milliseconds>(deadline - Clock::now());
        if (mismatch.empty() || stopped_) {
            return stopped_ ? "stopped" : "";
        }
        if (left.count() <= 0) {
            std::ostringstream text;
            text << mismatch << " after " << within << " s";
            return text.str();
        }
        log_.waitUntil([&] { return log_.size() != seen; }, std::min(left, kAskInterval));
    }
}

// What the access point that the station was on did with it, repetitions left out.
std::string RoadPlayer::history(const Walk& walk, std::size_t from) {
    std::string text;
    std::string last;
    StationId id = walk.plan.id;
    for (const Event& event : log_.since(from)) {
        const bool roams = event.party == Party::station && event.what == "roam";
        if (roams && event.station.mac == id.mac) {
            id = event.station;
        }
        const bool telling =
            event.party == Party::station
                ? roams || event.what == "daemon killed"
                : event.party == Party::deauth ||
                      (event.party == Party::redirector && event.what != "white list");
        if (event.station == id && telling && (roams || event.what != last)) {
            last = event.what;
            text += text.empty() ? "" : ", ";
            text += roams ? "to " + id.interface : event.party == Party::deauth ? "deauth" : last;
        }
    }
    return text;
}

// False when the road was stopped.
bool RoadPlayer::pauseUntil(Time time) {
    const auto left = std::chrono::duration_cast<Milliseconds>(time - Clock::now());
    log_.waitUntil([this] { return stopped_.load(); }, left);
    return !stopped_;
}

}  // namespace apsim
