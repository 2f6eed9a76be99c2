#include "apsim/load.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <thread>
#include <unordered_map>
#include <utility>

#include "ostrel/addresses.h"

namespace apsim {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kFirstAddress = 0x0a400001;  // 10.64.0.1
constexpr Milliseconds kTick{5};
// A person needs a moment for a login. It also keeps the logins as far apart as the arrivals: all
// are admitted in bunches, with the next statistics.
constexpr std::chrono::seconds kTyping{2};
constexpr std::uint64_t kSentASecond = 20000;
constexpr std::uint64_t kReceivedASecond = 200000;

double millisecondsBetween(Clock::time_point from, Clock::time_point to) {
    return std::chrono::duration<double, std::milli>(to - from).count();
}

std::string macOf(std::size_t index) {
    ostrel::MacBytes mac{0x02, 0xa0};
    for (std::size_t byte = 0; byte < sizeof(std::uint32_t); ++byte) {
        mac[5 - byte] = static_cast<std::uint8_t>(index >> 8 * byte & 0xffU);
    }
    return ostrel::macText(mac);
}

// One run; the observer and the bus's delivery thread fill `inbox_`, the caller's thread does the
// rest.
class Run {
public:
    Run(AccessPoint& accessPoint, const std::vector<std::string>& interfaces,
        const LoadOptions& options)
        : accessPoint_(accessPoint), options_(options) {
        for (std::size_t index = 0; index < options.stations; ++index) {
            const std::string mac = macOf(index);
            byMac_[mac] = index;
            sims_.push_back(
                {{interfaces[index % interfaces.size()], mac},
                 ostrel::ipv4Text({htonl(kFirstAddress + static_cast<std::uint32_t>(index))}),
                 {},
                 {},
                 false,
                 false});
        }
        accessPoint.events().setObserver([this](const Event& event) { observe(event); });
    }
    ~Run() { accessPoint_.events().setObserver(nullptr); }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    LoadReport run(const std::atomic<bool>& stop);

private:
    enum class Kind { admitted, loggedIn, answered, unanswered };
    struct Note {
        Kind kind;
        std::size_t station;
        Clock::time_point at;
    };
    struct Sim {
        StationId id;
        std::string ip;
        Clock::time_point announced;
        Clock::time_point asked;
        bool admitted;
        bool loggedIn;
    };

    void observe(const Event& event);
    void note(Kind kind, std::size_t station, Clock::time_point at);
    void announce(std::size_t index);
    void handle(const Note& note);
    void logIn(std::size_t index);
    void logInThoseThatAreReady();
    void makeTraffic();

    AccessPoint& accessPoint_;
    const LoadOptions options_;
    std::vector<Sim> sims_;
    std::unordered_map<std::string, std::size_t> byMac_;
    LoadReport report_;
    ostrel::Mutex mutex_;
    std::vector<Note> inbox_ GUARDED_BY(mutex_);
    std::deque<std::size_t> typing_;  // admitted, in order of arrival
    std::size_t open_ = 0;            // logins under way
};

void Run::note(Kind kind, std::size_t station, Clock::time_point at) {
    ostrel::MutexLock lock(mutex_);
    inbox_.push_back({kind, station, at});
}

void Run::observe(const Event& event) {
    const auto found = byMac_.find(event.station.mac);
    if (event.party != Party::redirector || found == byMac_.end()) {
        return;
    }
    if (event.what == "unauthed") {
        note(Kind::admitted, found->second, event.at);
    } else if (event.what == "authed") {
        note(Kind::loggedIn, found->second, event.at);
    }
}

void Run::announce(std::size_t index) {
    Sim& sim = sims_[index];
    accessPoint_.associations().associate(sim.id);
    sim.announced = Clock::now();
    accessPoint_.modules().notify(sim.id, sim.ip);
}

void Run::logIn(std::size_t index) {
    Sim& sim = sims_[index];
    sim.asked = Clock::now();
    const Json message =
        PortalClient::validateRequest(sim.ip, "user" + std::to_string(index), "load");
    const auto answered = [this, index](const PortalClient::Answer& answer) {
        note(answer ? Kind::answered : Kind::unanswered, index, Clock::now());
    };
    if (accessPoint_.portal().requestLater(message, answered)) {
        ++open_;
    } else {
        ++report_.unanswered;
    }
}

void Run::logInThoseThatAreReady() {
    const Clock::time_point ready = Clock::now() - kTyping;
    for (; !typing_.empty() && sims_[typing_.front()].announced <= ready; typing_.pop_front()) {
        logIn(typing_.front());
    }
}

void Run::handle(const Note& note) {
    Sim& sim = sims_[note.station];
    switch (note.kind) {
        case Kind::admitted:
            if (!std::exchange(sim.admitted, true)) {
                ++report_.admitted;
                report_.admission.push_back(millisecondsBetween(sim.announced, note.at));
                typing_.push_back(note.station);
            }
            break;
        case Kind::loggedIn:
            if (!std::exchange(sim.loggedIn, true)) {
                ++report_.loggedIn;
                report_.login.push_back(millisecondsBetween(sim.asked, note.at));
            }
            break;
        case Kind::answered:
            --open_;
            report_.answer.push_back(millisecondsBetween(sim.asked, note.at));
            break;
        case Kind::unanswered:
            --open_;
            ++report_.unanswered;
            break;
    }
}

void Run::makeTraffic() {
    for (const Sim& sim : sims_) {
        if (sim.loggedIn) {
            accessPoint_.associations().count(sim.id, kSentASecond, kReceivedASecond);
        }
    }
}

LoadReport Run::run(const std::atomic<bool>& stop) {
    const Clock::time_point start = Clock::now();
    const auto arrivals =
        std::chrono::duration<double>(static_cast<double>(options_.stations) / options_.rate);
    const auto end = start + std::chrono::duration_cast<Clock::duration>(arrivals) + options_.grace;
    Clock::time_point nextTraffic = start;
    std::size_t announced = 0;
    // An open login's callback refers to this object; each ends by answer or time-out.
    while ((!stop && report_.loggedIn < sims_.size() && Clock::now() < end) || open_ > 0) {
        const double elapsed = std::chrono::duration<double>(Clock::now() - start).count();
        const auto due = static_cast<std::size_t>(elapsed * options_.rate) + 1;
        while (announced < std::min(due, sims_.size()) && !stop && Clock::now() < end) {
            announce(announced++);
        }
        std::vector<Note> notes;
        {
            ostrel::MutexLock lock(mutex_);
            notes.swap(inbox_);
        }
        for (const Note& one : notes) {
            handle(one);
        }
        logInThoseThatAreReady();
        if (Clock::now() >= nextTraffic) {
            nextTraffic += std::chrono::seconds(1);
            makeTraffic();
        }
        std::this_thread::sleep_for(kTick);
    }
    report_.stations = announced;
    report_.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    for (std::vector<double>* values : {&report_.admission, &report_.login, &report_.answer}) {
        std::sort(values->begin(), values->end());
    }
    return report_;
}

}  // namespace

Json builtInConfiguration() {
    return Json::parse(R"({
        "captive-portal": {"logfile": "vestad.log", "loglevel": 3, "logfile-limit": 10240,
                           "uplink-interface": "lo", "ap-location": "load",
                           "white-list": [{"name": "free", "values": "10.0.0.0/8"}],
                           "apbd": {"enabled": false}},
        "interface": [
            {"name": "wlan0-va1", "common": {"type": "vap", "enabled": true},
             "vap": {"ssid": "Load", "captive-portal": {
                 "enabled": true, "age-timeout": 300, "verification-mode": "local",
                 "default-white-list": "free", "acct-enable": false,
                 "scenarios": [
                     {"access-type": "forbid", "name": "login", "auth-scenario": "guest",
                      "redirect-url": "http://portal.example/login",
                      "virtual-portal-name": "main", "white-list": "free"},
                     {"access-type": "allow", "name": "guest", "deauth-scenario": "login",
                      "transmit-maximum-speed": 2048, "receive-maximum-speed": 512,
                      "expire-time": 0, "transmit-maximum-bytes": 0, "receive-maximum-bytes": 0,
                      "traffic-limit": 0, "max-session-time": 3600, "away-timeout": 60}]}}}]})");
}

LoadReport runLoad(AccessPoint& accessPoint, const std::vector<std::string>& interfaces,
                   const LoadOptions& options, const std::atomic<bool>& stop) {
    return Run(accessPoint, interfaces, options).run(stop);
}

double percentile(const std::vector<double>& values, double share) {
    if (values.empty()) {
        return 0;
    }
    const double place = std::ceil(share * static_cast<double>(values.size()));
    return values[static_cast<std::size_t>(std::max(place, 1.0)) - 1];
}

}  // namespace apsim
