// What the daemon costs as a process beside a simulated access point: rows of the table on standard
// output, progress on standard error. The stations that one measurement brings stay for the next.

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <thread>
#include <vector>

#include "bus_caller.h"
#include "median.h"
#include "ostrel/runtime.h"
#include "process_figures.h"
#include "raw_peer.h"
#include "running_daemon.h"
#include "stations.h"
#include "support/runtime_directory.h"
#include "table.h"

namespace vesta::bench {
namespace {

using Clock = std::chrono::steady_clock;

class Measurement {
public:
    Measurement(const std::string& runtimeDirectory, const std::string& self);

    void idle();
    void burst();
    void worstFrame();
    void slowModule();
    void validateIp();
    void besideADeafPeer();
    void memory();

private:
    void announce(std::size_t until);
    void connect(std::size_t until);
    void logIn(std::size_t from, std::size_t to);
    std::size_t stationsOfDaemon();
    double validations(BusCaller& caller, int questions);

    RunningDaemon daemon_;
    apsim::AccessPoint& accessPoint_ = daemon_.accessPoint();
    testing::ChildProcess echo_;
    std::size_t announced_ = 0;
    double emptyKiB_ = 0;
};

Measurement::Measurement(const std::string& runtimeDirectory, const std::string& self)
    : daemon_(daemonConfiguration(runtimeDirectory), testing::isolated(VESTAD_PROGRAM)),
      echo_(std::vector<std::string>{self, "echo"}) {}

void Measurement::announce(std::size_t until) {
    for (; announced_ < until; ++announced_) {
        daemon_.announce(announced_);
    }
}

// Brings stations until there are `until`, and waits until the redirector was told of each.
void Measurement::connect(std::size_t until) {
    constexpr std::size_t kPortion = 5000;
    while (announced_ < until) {
        announce(std::min(until, announced_ + kPortion));
        const auto arrived = [this] { return accessPoint_.redirector().stations() == announced_; };
        if (!accessPoint_.events().waitUntil(arrived, kPatience)) {
            throw std::runtime_error("stations are missing");
        }
    }
}

void Measurement::logIn(std::size_t from, std::size_t to) {
    for (std::size_t i = from; i < to; i += 2) {
        if (!accessPoint_.portal().validate(ipOf(i), loginOf(i), "secret")) {
            throw std::runtime_error("a login has no answer");
        }
    }
}

std::size_t Measurement::stationsOfDaemon() {
    const auto answer = accessPoint_.portal().status();
    return answer ? (*answer)["value"]["clients"].size() : 0;
}

void Measurement::idle() {
    constexpr long kSeconds = 10;
    constexpr double kMostASecond = 20;
    daemon_.waitForPasses(3);
    emptyKiB_ = daemon_.residentKiB();
    const std::vector<long> before = sleeps(daemon_.pid());
    std::this_thread::sleep_for(std::chrono::seconds(kSeconds));
    const std::vector<long> after = sleeps(daemon_.pid());
    double most = 0;
    double all = 0;
    for (std::size_t i = 0; i < std::min(before.size(), after.size()); ++i) {
        const double rate = static_cast<double>(after[i] - before[i]) / kSeconds;
        most = std::max(most, rate);
        all += rate;
    }
    printRow("wake-ups a second of the busiest thread of the idle daemon", "at most 20",
             twoDigits(most) + " (" + twoDigits(all) + " of all " + std::to_string(after.size()) +
                 " threads)",
             most <= kMostASecond && before.size() == after.size());
}

// Frames of 16 MiB that cost the most for their size: too many values, as many as are allowed of
// the costliest kind, one long text, and one that goes into the answer.
void Measurement::worstFrame() {
    constexpr std::size_t kFrame = std::size_t{16} << 20U;
    constexpr double kMostMiB = 64;
    const auto filled = [](std::string text, const std::string& end, char filling) {
        text.resize(kFrame - end.size(), filling);
        return text + end;
    };
    const auto repeated = [](const std::string& text, std::size_t count) {
        std::string all;
        for (std::size_t i = 0; i < count; ++i) {
            all += text;
        }
        return all;
    };
    const std::string begin = R"({"command": "get", "x": [)";
    const std::pair<const char*, std::string> frames[] = {
        {"values beyond the bound", filled(begin + repeated("{},", 5500000) + "{}", "]}", ' ')},
        {"objects", filled(begin + repeated("{},", 499990) + "{}", "]}", ' ')},
        {"members", filled(begin + repeated("{\"a\":0},", 249990) + "{}", "]}", ' ')},
        {"numbers", filled(begin + repeated("0,", 499990) + "0", "]}", ' ')},
        {"text", filled(R"({"command": "get", "x": ")", "\"}", 'x')},
        {"context", filled(R"({"command": "get", "context": ")", "\"}", 'x')}};
    const long before = bench::residentKiB(daemon_.pid());
    double most = 0;
    std::string all;
    for (const auto& [name, frame] : frames) {
        // The daemon gives back what the frame before it took when that is answered.
        for (int i = 0; i < 100 && bench::residentKiB(daemon_.pid()) > before + 1024; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        forgetPeak(daemon_.pid());
        if (!askRaw(ostrel::runtimeDirectory(), frame)) {
            throw std::runtime_error(std::string("no answer to a frame of ") + name);
        }
        const double peak = static_cast<double>(peakKiB(daemon_.pid()) - before) / 1024;
        most = std::max(most, peak);
        all += std::string(all.empty() ? "" : ", ") + name + " " + twoDigits(peak);
    }
    printRow("MiB at the peak of the worst frame of 16 MiB", "at most 64",
             twoDigits(most) + " (" + all + ")", most <= kMostMiB);
}

void Measurement::burst() {
    constexpr std::size_t kStations = 1000;
    constexpr double kMostSeconds = 1;
    const Clock::time_point start = Clock::now();
    announce(kStations);
    std::size_t admitted = 0;
    while (admitted < kStations && Clock::now() < start + kPatience) {
        admitted = stationsOfDaemon();
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    printRow("seconds until all of 1,000 stations that come together are admitted",
             "at most 1, none lost",
             twoDigits(seconds) + ", " + std::to_string(kStations - admitted) + " lost",
             admitted == kStations && seconds <= kMostSeconds);
    connect(kStations);
    logIn(0, kStations);
}

// Each question comes right behind a login, of which the module is to be told.
void Measurement::slowModule() {
    constexpr std::size_t kQuestions = 40;
    constexpr double kMostTimesWithout = 1.1;
    BusCaller caller;
    std::vector<double> medians;
    std::size_t station = 1;  // those with odd numbers have not logged in
    for (const auto delay : {apsim::Milliseconds(0), apsim::Milliseconds(1000)}) {
        accessPoint_.modules().answerAfter(delay);
        std::vector<double> times;
        for (std::size_t i = 0; i < kQuestions; ++i, station += 2) {
            logIn(station, station + 1);
            times.push_back(caller.ask(IPC_MODULE_VESTAD, R"({"command": "get"})").count());
            if (times.back() < 0) {
                throw std::runtime_error("\"get\" has no answer");
            }
        }
        medians.push_back(medianOf(times));
    }
    accessPoint_.modules().answerAfter(apsim::Milliseconds(0));
    printRow("\"get\" beside a module server that takes 1 s an answer / beside a quick one",
             "at most 1.1",
             twoDigits(medians[1] / medians[0]) + " (" + twoDigits(medians[1] * 1e-3) + " / " +
                 twoDigits(medians[0] * 1e-3) + " ms)",
             medians[1] <= kMostTimesWithout * medians[0]);
}

void Measurement::validateIp() {
    constexpr std::size_t kStations = 10000;
    constexpr int kQuestions = 4000;
    constexpr double kMostTimesTheEcho = 3;
    constexpr double kMostMicroseconds = 1000;
    const std::size_t before = announced_;
    connect(kStations);
    logIn(before, kStations);
    BusCaller caller;
    std::vector<double> validations;
    std::vector<double> echoes;
    for (int i = 0; i < kQuestions; ++i) {
        // 7919 is a prime: the stations in no order.
        const std::string ip = ipOf(static_cast<std::size_t>(i) * 7919 % kStations);
        const std::string params = R"("params": {"ipaddr": ")" + ip + "\"}}";
        echoes.push_back(caller.ask(kEchoModule, R"({"command": "echo", )" + params).count());
        validations.push_back(
            caller.ask(IPC_MODULE_VESTAD, R"({"command": "validate-ip", )" + params).count());
        if (echoes.back() < 0 || validations.back() < 0) {
            throw std::runtime_error("a question has no answer");
        }
    }
    const double validation = medianOf(validations);
    const double echo = medianOf(echoes);
    printRow("\"validate-ip\" at 10,000 stations / an echo over the same bus",
             "at most 3.0, below 1 ms",
             twoDigits(validation / echo) + " (" + twoDigits(validation) + " / " + twoDigits(echo) +
                 " us)",
             validation <= kMostTimesTheEcho * echo && validation < kMostMicroseconds);
}

// The median, microseconds.
double Measurement::validations(BusCaller& caller, int questions) {
    std::vector<double> times;
    for (int i = 0; i < questions; ++i) {
        const std::string ip = ipOf(static_cast<std::size_t>(i));
        times.push_back(
            caller
                .ask(IPC_MODULE_VESTAD,
                     R"({"command": "validate-ip", "params": {"ipaddr": ")" + ip + "\"}}")
                .count());
        if (times.back() < 0) {
            throw std::runtime_error("a question has no answer");
        }
    }
    return medianOf(times);
}

void Measurement::besideADeafPeer() {
    constexpr int kQuestions = 1000;
    constexpr double kMostTimesAlone = 3;
    BusCaller caller;
    const double alone = validations(caller, kQuestions);
    const DeafPeer deaf(ostrel::runtimeDirectory());
    const double beside = validations(caller, kQuestions);
    printRow(
        "\"validate-ip\" beside a peer that floods with \"get\" and never reads / alone",
        "at most 3.0",
        twoDigits(beside / alone) + " (" + twoDigits(beside) + " / " + twoDigits(alone) + " us)",
        beside <= kMostTimesAlone * alone);
}

void Measurement::memory() {
    constexpr std::size_t kStations = 20000;
    constexpr double kMostBytes = 2048;
    const std::size_t before = announced_;
    connect(kStations);
    logIn(before, kStations);
    daemon_.waitForPasses(3);
    // More than one frame of statistics and of "get" takes.
    if (stationsOfDaemon() != kStations) {
        throw std::runtime_error("\"get\" does not tell all stations");
    }
    const double bytes = (daemon_.residentKiB() - emptyKiB_) * 1024 / kStations;
    printRow("resident bytes a station between two passes, 20,000 with three scenarios each",
             "at most 2,048",
             twoDigits(bytes) + " (the empty daemon: " + twoDigits(emptyKiB_) + " KiB)",
             bytes <= kMostBytes);
}

}  // namespace
}  // namespace vesta::bench

int main(int argc, char** argv) {
    try {
        if (argc > 1 && std::strcmp(argv[1], "echo") == 0) {
            vesta::bench::serveEcho();
        }
        const vesta::testing::RuntimeDirectory directory;
        vesta::bench::Measurement measurement(directory.path(), argv[0]);
        measurement.idle();
        measurement.worstFrame();
        measurement.burst();
        measurement.slowModule();
        measurement.validateIp();
        measurement.besideADeafPeer();
        measurement.memory();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "daemon_bench: %s\n", error.what());
        return 1;
    }
    return 0;
}
