// One pass over N stations, from the text of monitord's answer to the checked expiry, against
// json-c's bare parse of that text. Both release what they parsed.

#include <benchmark/benchmark.h>
#include <json-c/json.h>

#include <map>
#include <memory>
#include <stdexcept>
#include <vector>

#include "bus/json_text.h"
#include "comparison.h"
#include "loaded_portal.h"
#include "model_bench.h"
#include "results.h"
#include "statistics/ipc_information_collector.h"
#include "table.h"

namespace vesta::bench {
namespace {

constexpr int kSizes[] = {1000, 10000, 100000};
constexpr double kMostTimesTheParse = 2.0;

LoadedPortal& portalOf(std::size_t stations) {
    static std::map<std::size_t, std::unique_ptr<LoadedPortal>> portals;
    std::unique_ptr<LoadedPortal>& portal = portals[stations];
    if (!portal) {
        constexpr std::size_t kMostOfAnInstance = 65536;
        portal = std::make_unique<LoadedPortal>(stations, 1 + stations / kMostOfAnInstance);
    }
    return *portal;
}

json_object* parse(const std::string& text) {
    json_object* const answer = json_tokener_parse(text.c_str());
    benchmark::DoNotOptimize(answer);
    return answer;
}

void parseAll(const std::vector<std::string>& frames) {
    for (const std::string& frame : frames) {
        json_object_put(parse(frame));
    }
}

// What the bus does with the frames, and the callbacks that it makes.
void pass(ostrel::bus::JsonReader& reader, LoadedPortal& loaded) {
    GatheredStatistics gathered;
    const std::vector<std::string>& frames = loaded.statisticsAnswer();
    for (const std::string& frame : frames) {
        ostrel::bus::Json answer;
        if (reader.read(frame, answer) != ostrel::bus::JsonReader::Kind::object) {
            throw std::runtime_error("the bus does not take the statistics");
        }
        const int status = &frame == &frames.back() ? 0 : IPC_MORE_FOLLOWS;
        IPCInformationCollector::ipcResponseCallback(answer.get(), loaded.portal().get(), status,
                                                     gathered);
    }
}

void onePass(benchmark::State& state) {
    LoadedPortal& loaded = portalOf(static_cast<std::size_t>(state.range(0)));
    ostrel::bus::JsonReader reader;
    Comparison comparison;
    for (auto _ : state) {
        comparison.add([&] { pass(reader, loaded); }, [&] { parseAll(loaded.statisticsAnswer()); });
    }
    comparison.report(state);
}
BENCHMARK(onePass)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

// What of the bare parse's time the release takes.
void parseWithoutRelease(benchmark::State& state) {
    const std::string& text =
        portalOf(static_cast<std::size_t>(state.range(0))).statisticsAnswer().front();
    Comparison comparison;
    for (auto _ : state) {
        json_object* answer = nullptr;
        comparison.add([&] { answer = parse(text); }, [&] { json_object_put(parse(text)); });
        json_object_put(answer);
    }
    comparison.report(state);
}
BENCHMARK(parseWithoutRelease)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

}  // namespace

void printPassRows(const Results& results) {
    for (const int stations : kSizes) {
        const std::string size = std::to_string(stations);
        const std::string benchmark = "onePass/" + size;
        if (!results.has(benchmark)) {
            continue;
        }
        const double ratio = results.median(benchmark, kRatio);
        printRow("one pass over " + size + " stations / json-c's bare parse of the same answer",
                 "at most 2.0",
                 twoDigits(ratio) + " (" + twoDigits(results.median(benchmark, kWork) / stations) +
                     " / " + twoDigits(results.median(benchmark, kBase) / stations) +
                     " us a station)",
                 ratio <= kMostTimesTheParse);
    }
}

}  // namespace vesta::bench
