// One pass over N stations, from the text of monitord's answer to the checked expiry, against
// json-c's bare parse of that text. Both release what they parsed.

#include <benchmark/benchmark.h>
#include <json-c/json.h>

#include <map>
#include <memory>

#include "bus/json_text.h"
#include "inform/ipc_information_collector.h"
#include "loaded_portal.h"
#include "model_bench.h"
#include "results.h"
#include "table.h"

namespace vesta::bench {
namespace {

constexpr int kSizes[] = {1000, 10000, 100000};
constexpr double kMostTimesTheParse = 2.0;

LoadedPortal& portalOf(std::size_t stations) {
    static std::map<std::size_t, std::unique_ptr<LoadedPortal>> portals;
    std::unique_ptr<LoadedPortal>& portal = portals[stations];
    if (!portal) {
        portal = std::make_unique<LoadedPortal>(stations, 1);
    }
    return *portal;
}

LoadedPortal& portalOf(const benchmark::State& state) {
    return portalOf(static_cast<std::size_t>(state.range(0)));
}

void bareParse(benchmark::State& state) {
    const std::string& text = portalOf(state).statisticsAnswer();
    for (auto _ : state) {
        json_object* const answer = json_tokener_parse(text.c_str());
        benchmark::DoNotOptimize(answer);
        json_object_put(answer);
    }
}
BENCHMARK(bareParse)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

void parseAlone(benchmark::State& state) {
    const std::string& text = portalOf(state).statisticsAnswer();
    for (auto _ : state) {
        json_object* const answer = json_tokener_parse(text.c_str());
        benchmark::DoNotOptimize(answer);
        state.PauseTiming();
        json_object_put(answer);
        state.ResumeTiming();
    }
}
BENCHMARK(parseAlone)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

void onePass(benchmark::State& state) {
    LoadedPortal& loaded = portalOf(state);
    ostrel::bus::JsonReader reader;
    for (auto _ : state) {
        ostrel::bus::Json answer;
        if (reader.read(loaded.statisticsAnswer(), answer) !=
            ostrel::bus::JsonReader::Kind::object) {
            state.SkipWithError("unreadable answer");
            break;
        }
        IPCInformationCollector::ipcResponseCallback(answer.get(), loaded.portal().get(), 0);
    }
}
BENCHMARK(onePass)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

}  // namespace

void printPassRows(const Results& results) {
    for (const int stations : kSizes) {
        const std::string size = std::to_string(stations);
        const double pass = results.best("onePass/" + size);
        const double parse = results.best("bareParse/" + size);
        if (pass <= 0 || parse <= 0) {
            continue;
        }
        const double microseconds = 1e-3 / stations;
        printRow("one pass over " + size + " stations / json-c's bare parse of the same answer",
                 "at most 2.0",
                 twoDigits(pass / parse) + " (" + twoDigits(pass * microseconds) + " / " +
                     twoDigits(parse * microseconds) + " us a station)",
                 pass <= kMostTimesTheParse * parse);
    }
}

}  // namespace vesta::bench
