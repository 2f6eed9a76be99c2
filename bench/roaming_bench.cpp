// What the records of a whole domain cost the daemon's process, beside a simulated access point and
// in apbd's place on the bus: rows of the table on standard output, the rest on standard error.

#include <cstdio>
#include <exception>
#include <future>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include "bus_caller.h"
#include "median.h"
#include "records.h"
#include "running_daemon.h"
#include "support/runtime_directory.h"
#include "table.h"

namespace vesta::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kRecords = 5000;

// apbd, as far as a subscription needs it.
class Apbd {
public:
    Apbd() : thread_([this] { serve(); }) {}
    ~Apbd() {
        ipc_.stop();
        thread_.join();
    }
    Apbd(const Apbd&) = delete;
    Apbd& operator=(const Apbd&) = delete;

    void waitForSubscription() {
        if (subscribed_.get_future().wait_for(kPatience) != std::future_status::ready) {
            throw std::runtime_error("the daemon does not subscribe");
        }
    }
    // From sending the answer until the daemon has answered the question behind it: it handles one
    // message after the other.
    double secondsToTakeIn(const std::string& answer) {
        const Clock::time_point start = Clock::now();
        if (!ipc_.send(answer, IPC_MODULE_VESTAD)) {
            throw std::runtime_error("the answer to the subscription can't be sent");
        }
        // Nothing more is queued while so much waits for the daemon.
        while (ask(ipc_, IPC_MODULE_VESTAD, R"({"command": "get"})").count() < 0) {
            if (Clock::now() > start + kPatience) {
                throw std::runtime_error("the daemon does not answer any more");
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return std::chrono::duration<double>(Clock::now() - start).count();
    }

private:
    void serve() {
        ipc_.process({{"status",
                       [this](void*, void*, int sender) {
                           ipc_.send(std::string(R"({"command": "connected"})"), sender);
                       }},
                      {"subscribe-request", [this](void*, void*, int) {
                           if (!std::exchange(isSubscribed_, true)) {
                               subscribed_.set_value();
                           }
                       }}});
    }

    IpcInterface ipc_{IPC_MODULE_APBD, false, 5};
    std::promise<void> subscribed_;
    bool isSubscribed_ = false;  // on the thread
    std::thread thread_;
};

// A daemon that has subscribed and waits for the answer.
struct Subscribed {
    explicit Subscribed(const std::string& runtimeDirectory)
        : daemon(configuration(runtimeDirectory), testing::isolated(VESTAD_PROGRAM)) {
        apbd.waitForSubscription();
    }
    static apsim::Json configuration(const std::string& runtimeDirectory) {
        apsim::Json config = daemonConfiguration(runtimeDirectory);
        config["captive-portal"]["apbd"]["enabled"] = true;
        return config;
    }

    Apbd apbd;
    RunningDaemon daemon;
};

void measure(const std::string& runtimeDirectory) {
    constexpr int kRounds = 5;
    constexpr double kMostSeconds = 1;
    const std::string answer = subscriptionAnswer(0, kRecords);
    std::vector<double> rounds;
    for (int i = 1; i < kRounds; ++i) {
        rounds.push_back(Subscribed(runtimeDirectory).apbd.secondsToTakeIn(answer));
    }
    Subscribed last(runtimeDirectory);
    last.daemon.waitForPasses(3);
    const double emptyKiB = last.daemon.residentKiB();
    rounds.push_back(last.apbd.secondsToTakeIn(answer));
    const double takenInKiB = last.daemon.residentKiB();
    const RunningDaemon::Arrival arrival = last.daemon.letIn(kRecords);
    const double seconds = medianOf(rounds);
    printRow("seconds until all of 5,000 records of one subscription are taken in",
             "at most 1, each restores its station",
             twoDigits(seconds) + ", " + std::to_string(arrival.undecided) + " not restored",
             seconds <= kMostSeconds && arrival.undecided == 0);
    // Behind monitord's answer for so many the bus has given back what the parsing took.
    last.daemon.waitForPasses(3);
    const auto ofOne = [&](double residentKiB) {
        return (residentKiB - emptyKiB) * 1024 / kRecords;
    };
    std::fprintf(stderr,
                 "resident bytes a record behind the answer: %.0f; with its station, when the bus "
                 "has given back what it had: %.0f; all stations were back within %.2f s\n",
                 ofOne(takenInKiB), ofOne(last.daemon.residentKiB()), arrival.seconds);
}

}  // namespace
}  // namespace vesta::bench

int main() {
    try {
        const vesta::testing::RuntimeDirectory directory;
        vesta::bench::measure(directory.path());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "roaming_bench: %s\n", error.what());
        return 1;
    }
    return 0;
}
