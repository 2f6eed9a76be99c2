#include "apsim/road_player.h"

#include <algorithm>
#include <cmath>
#include <sstream>
#include <thread>

namespace apsim {

namespace {

using Clock = std::chrono::steady_clock;

constexpr double kDefaultWithin = 5;  // seconds
// How often the daemon is asked while an expectation about its answers is open.
constexpr Milliseconds kAskInterval{200};
constexpr double kTrafficStep = 0.25;  // seconds

Clock::duration seconds(double count) {
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(count));
}

std::string textOf(const Json& value) {
    return value.is_string() ? value.get<std::string>() : value.dump();
}

// What of `wanted` is not so in `given`; empty when all of it is.
std::string difference(const Json& wanted, const Json& given, const std::string& who) {
    for (const auto& [name, value] : wanted.items()) {
        const auto found = given.find(name);
        if (found == given.end() || *found != value) {
            return who + " has " + name + " " +
                   (found == given.end() ? "missing" : textOf(*found)) + ", not " + textOf(value);
        }
    }
    return "";
}

std::string shaperMismatch(const std::optional<ShaperLimits>& limits, const Json& wanted) {
    if (wanted.is_string()) {  // "none"
        return limits ? "shaper still limits it" : "";
    }
    if (!limits) {
        return "shaper was given no limits";
    }
    constexpr unsigned long kKi = 1024;
    const Json given{{"transmit", limits->transmit / kKi}, {"receive", limits->receive / kKi}};
    return difference(wanted, given, "shaper");
}

}  // namespace

std::vector<StationResult> RoadPlayer::play(const Road& road) {
    const Time start = Clock::now();
    std::vector<StationResult> results(road.size());
    std::vector<std::thread> threads;
    for (std::size_t index = 0; index < road.size(); ++index) {
        threads.emplace_back([&, index] { results[index] = walk(road[index], start); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    return results;
}

void RoadPlayer::stop() {
    stopped_ = true;
    accessPoint_.events().add({Party::station, "stop", {}, ""});
}

StationResult RoadPlayer::walk(const RoadStation& plan, Time start) {
    const std::size_t from = accessPoint_.events().size();
    Walk walk{plan, accessPoint_.station(plan.id.interface, plan.id.mac, plan.ip), from};
    StationResult result{plan.name, plan.id.interface, plan.story, "", true};
    for (const RoadEvent& event : plan.events) {
        const Time time = std::max(start + seconds(event.at), Clock::now() + seconds(event.after));
        std::string failure = "stopped";
        try {
            if (pauseUntil(time)) {
                failure = perform(walk, event);
            }
        } catch (const Json::exception& error) {
            failure = std::string("an answer makes no sense: ") + error.what();
        }
        if (!failure.empty()) {
            walk.station.leave();
            result.happened = std::move(failure);
            result.ok = false;
            return result;
        }
    }
    result.happened = history(walk, from);
    return result;
}

std::string RoadPlayer::perform(Walk& walk, const RoadEvent& event) {
    const Json& arguments = event.arguments;
    if (event.kind == "expect") {
        return expect(walk, arguments);
    }
    walk.mark = accessPoint_.events().size();
    PortalClient& portal = accessPoint_.portal();
    if (event.kind == "associate") {
        walk.station.associate();
    } else if (event.kind == "packet") {
        walk.station.sendPacket();
    } else if (event.kind == "arrive") {
        walk.station.arrive();
    } else if (event.kind == "leave") {
        walk.station.leave();
    } else if (event.kind == "traffic") {
        spreadTraffic(walk, arguments);
    } else if (event.kind == "browse") {
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
        answered(walk, "cp-del-client",
                 portal.deleteClient(walk.plan.id.interface, walk.plan.id.mac));
    }
    return "";
}

// What the proxy does with a web request of the station: it asks who that is and where to send it.
void RoadPlayer::browse(Walk& walk) {
    accessPoint_.events().add({Party::station, "browse", walk.plan.id, ""});
    PortalClient& portal = accessPoint_.portal();
    const PortalClient::Answer known = portal.validateIp(walk.plan.ip);
    answered(walk, "validate-ip", known);
    const PortalClient::Answer place = portal.redirectParams(walk.plan.ip);
    answered(walk, "get-redirect-params", place);
}

void RoadPlayer::answered(const Walk& walk, const char* request,
                          const PortalClient::Answer& answer) {
    std::string detail = "no answer";
    if (answer) {
        const Json params = answer->value("params", Json::object());
        detail = answer->contains("result") ? "result " + textOf((*answer)["result"]) : "answered";
        for (const char* name : {"cur-state", "url", "end-reason"}) {
            if (params.contains(name)) {
                detail += std::string(", ") + name + " " + textOf(params[name]);
            }
        }
        for (const char* name : {"reason", "error", "redirect-location"}) {
            if (answer->contains(name)) {
                detail += std::string(", ") + name + " " + textOf((*answer)[name]);
            }
        }
    }
    accessPoint_.events().add({Party::portal, request, walk.plan.id, detail});
}

void RoadPlayer::spreadTraffic(Walk& walk, const Json& arguments) {
    const auto rx = arguments["rx"].get<std::uint64_t>();
    const auto tx = arguments["tx"].get<std::uint64_t>();
    const double length = arguments.value("seconds", 0.0);
    const auto steps = static_cast<std::uint64_t>(std::max(1.0, std::ceil(length / kTrafficStep)));
    accessPoint_.events().add({Party::station, "traffic", walk.plan.id,
                               std::to_string(rx) + " bytes sent, " + std::to_string(tx) +
                                   " received" + (length > 0 ? ", step by step" : "")});
    const Time start = Clock::now();
    for (std::uint64_t step = 0; step < steps; ++step) {
        // Shares that add up to the whole, whatever the division leaves over.
        const auto share = [&](std::uint64_t whole) {
            return whole * (step + 1) / steps - whole * step / steps;
        };
        accessPoint_.associations().count(walk.plan.id, share(rx), share(tx));
        if (steps > 1 &&
            !pauseUntil(start + seconds(kTrafficStep * static_cast<double>(step + 1)))) {
            return;
        }
    }
}

// Empty when all of it holds within its time, else what did not.
std::string RoadPlayer::expect(const Walk& walk, const Json& arguments) {
    EventLog& log = accessPoint_.events();
    const double within = arguments.value("within", kDefaultWithin);
    const Time deadline = Clock::now() + seconds(within);
    for (;;) {
        const std::size_t seen = log.size();
        std::string mismatch = firstMismatch(walk, arguments);
        const auto left = std::chrono::duration_cast<Milliseconds>(deadline - Clock::now());
        if (mismatch.empty() || stopped_) {
            return stopped_ ? "stopped" : "";
        }
        if (left.count() <= 0) {
            std::ostringstream text;
            text << mismatch << " after " << within << " s";
            return text.str();
        }
        log.waitUntil([&] { return log.size() != seen; }, std::min(left, kAskInterval));
    }
}

std::string RoadPlayer::firstMismatch(const Walk& walk, const Json& arguments) {
    const std::string mismatch = mismatchOfModules(walk, arguments);
    return mismatch.empty() ? mismatchOfDaemon(walk, arguments) : mismatch;
}

std::string RoadPlayer::mismatchOfModules(const Walk& walk, const Json& arguments) {
    const StationId& id = walk.plan.id;
    const Access access = walk.station.access();
    if (arguments.contains("redirector") && arguments["redirector"] != accessName(access)) {
        return std::string("redirector has it ") + accessName(access) + ", not " +
               textOf(arguments["redirector"]);
    }
    for (const Json& destination : arguments.value("reaches", Json::array())) {
        if (!walk.station.reaches(textOf(destination))) {
            return "it can't reach " + textOf(destination);
        }
    }
    for (const Json& destination : arguments.value("blocked", Json::array())) {
        if (walk.station.reaches(textOf(destination))) {
            return "it reaches " + textOf(destination);
        }
    }
    std::string mismatch;
    if (arguments.contains("shaper")) {
        mismatch = shaperMismatch(accessPoint_.modules().shaperLimits(id), arguments["shaper"]);
    }
    const Json wifiAuth = arguments.value("wifi-auth", Json::object());
    for (const auto& [key, value] : wifiAuth.items()) {
        const std::string given = accessPoint_.modules().wifiAuth(key, id);
        if (mismatch.empty() && given != textOf(value)) {
            mismatch = "wifi-auth has " + key + " \"" + given + "\", not " + textOf(value);
        }
    }
    return mismatch;
}

std::string RoadPlayer::mismatchOfDaemon(const Walk& walk, const Json& arguments) {
    const StationId& id = walk.plan.id;
    const auto happened = [&](Party party, const std::string& what) {
        return accessPoint_.events().waitFor(party, what, id, Milliseconds(0), walk.mark);
    };
    if (arguments.contains("trap") && !happened(Party::trap, textOf(arguments["trap"]))) {
        return "no trap " + textOf(arguments["trap"]);
    }
    if (arguments.value("deauth", false) && !happened(Party::deauth, "deauth-client")) {
        return "deauth-client was not run";
    }
    const std::string mismatch =
        arguments.contains("state") ? mismatchOfState(walk, arguments["state"]) : "";
    return mismatch.empty() && arguments.contains("client")
               ? mismatchOfClient(walk, arguments["client"])
               : mismatch;
}

// Of what the proxy is told.
std::string RoadPlayer::mismatchOfState(const Walk& walk, const Json& wanted) {
    const Json answer = accessPoint_.portal().validateIp(walk.plan.ip).value_or(Json::object());
    if (wanted.is_string()) {  // "unknown"
        return answer.value("result", 1) == 0 ? "" : "validate-ip still knows it";
    }
    return difference(wanted, answer.value("params", Json::object()), "validate-ip");
}

// Of what a status tool is told.
std::string RoadPlayer::mismatchOfClient(const Walk& walk, const Json& wanted) {
    const PortalClient::Answer answer = accessPoint_.portal().status();
    if (!answer) {
        return "the daemon doesn't answer";
    }
    const Json clients = answer->value("/value/clients"_json_pointer, Json::object());
    const auto client = std::find_if(clients.begin(), clients.end(), [&](const Json& one) {
        return one.value("mac", "") == walk.plan.id.mac &&
               one.value("interface", "") == walk.plan.id.interface;
    });
    if (wanted.is_string()) {  // "absent"
        return client == clients.end() ? "" : "the daemon still has it";
    }
    return client == clients.end() ? "the daemon doesn't have it"
                                   : difference(wanted, *client, "the daemon");
}

std::string RoadPlayer::history(const Walk& walk, std::size_t from) {
    std::string text;
    for (const Event& event : accessPoint_.events().since(from)) {
        const bool move = event.party == Party::redirector && event.what != "white list";
        if (event.station == walk.plan.id && (move || event.party == Party::deauth)) {
            text += (text.empty() ? "" : ", ") + event.what;
        }
    }
    return text;
}

// False when the road was stopped.
bool RoadPlayer::pauseUntil(Time time) {
    const auto left = std::chrono::duration_cast<Milliseconds>(time - Clock::now());
    accessPoint_.events().waitUntil([this] { return stopped_.load(); }, left);
    return !stopped_;
}

}  // namespace apsim
