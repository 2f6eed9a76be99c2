// "get" at 10,000 stations: the handler and the text of its answer, against json-c's writing of
// that answer; and how long the question keeps others from an instance.

#include <benchmark/benchmark.h>
#include <json-c/json.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include "apb/apbd_collaborator.h"
#include "comparison.h"
#include "core/json_entry.h"
#include "ipc/ipc_event_listener.h"
#include "loaded_portal.h"
#include "messages/dump_dialect.h"
#include "model_bench.h"
#include "results.h"
#include "stations.h"
#include "table.h"

namespace vesta::bench {
namespace {

using Clock = std::chrono::steady_clock;
using Entry = std::shared_ptr<MessageEntry>;

constexpr std::size_t kStations = 10000;
constexpr std::size_t kInstances = 4;
constexpr double kMostTimesTheWriting = 3.0;
constexpr int kTextFlags = JSON_C_TO_STRING_SPACED | JSON_C_TO_STRING_PRETTY;

struct Served {
    LoadedPortal loaded{kStations, kInstances};
    std::shared_ptr<APBDCollaborator> apbd = std::make_shared<APBDCollaborator>(
        loaded.configuration(), LoadedPortal::bus(), loaded.portal());
    IPCEventListener listener{loaded.portal(), apbd, LoadedPortal::bus()};
};

Served& served() {
    static const auto served = std::make_unique<Served>();
    return *served;
}

Entry get() {
    return served().listener.handleVestadState(
        std::make_shared<JsonEntry>(R"({"command": "get"})"));
}

void answerGet(benchmark::State& state) {
    Comparison comparison;
    for (auto _ : state) {
        Entry answer = get();
        // A node keeps the text that was made of it: each time another one, as in the daemon.
        json_object* copy = nullptr;
        json_object_deep_copy(static_cast<json_object*>(answer->getRowMessage()), &copy, nullptr);
        const auto write = [&] {
            benchmark::DoNotOptimize(json_object_to_json_string_ext(copy, kTextFlags));
        };
        const auto answerIt = [&] {
            answer = get();
            benchmark::DoNotOptimize(answer->getStringRepresentation());
        };
        answer.reset();
        comparison.add(answerIt, write);
        json_object_put(copy);
    }
    comparison.report(state);
}
BENCHMARK(answerGet)->Unit(benchmark::kMillisecond);

double milliseconds(Clock::duration duration) {
    return std::chrono::duration<double, std::milli>(duration).count();
}

// The longest time that a call into the first instance takes while `work` runs.
template <class Work>
double longestWaitDuring(Work work) {
    Portal& portal = *served().loaded.portal();
    std::atomic<bool> ready{false};
    std::atomic<bool> ending{false};
    double longest = 0;
    std::thread prober([&] {
        while (!ending) {
            const Clock::time_point start = Clock::now();
            portal.addClient(MacAddr(macOf(0)), ipOf(0), 1500, interfaceOf(0));
            longest = std::max(longest, milliseconds(Clock::now() - start));
            ready = true;
        }
    });
    while (!ready) {
        std::this_thread::yield();
    }
    work();
    ending = true;
    prober.join();
    return longest;
}

void dumpAlone() {
    const auto factory = std::make_shared<IPCDumpClientMessageFactory>();
    benchmark::DoNotOptimize(served().loaded.portal()->dumpClientsToMessages(factory));
}

}  // namespace

void printGetRows(const Results& results) {
    const std::string benchmark = "answerGet";
    if (!results.has(benchmark)) {
        return;
    }
    const double ratio = results.median(benchmark, kRatio);
    printRow("\"get\" at 10,000 stations / json-c's writing of the same answer", "at most 3.0",
             twoDigits(ratio) + " (" + twoDigits(results.median(benchmark, kWork) * 1e-3) + " / " +
                 twoDigits(results.median(benchmark, kBase) * 1e-3) + " ms)",
             ratio <= kMostTimesTheWriting);

    // The least disturbed round of each.
    constexpr int kRounds = 15;
    double wait = longestWaitDuring(get);
    double dump = longestWaitDuring(dumpAlone);
    for (int round = 1; round < kRounds; ++round) {
        wait = std::min(wait, longestWaitDuring(get));
        dump = std::min(dump, longestWaitDuring(dumpAlone));
    }
    constexpr double kTolerance = 1.25;
    printRow("longest wait for an instance during \"get\" / during the dump of its clients alone",
             "at most 1.0 (within 25 %)",
             twoDigits(wait / dump) + " (" + twoDigits(wait) + " / " + twoDigits(dump) + " ms)",
             wait <= kTolerance * dump);
}

}  // namespace vesta::bench
