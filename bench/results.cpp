#include "results.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <iostream>
#include <vector>

namespace vesta::bench {
namespace {

class Reporter final : public benchmark::ConsoleReporter {
public:
    explicit Reporter(std::map<std::string, double>& best)
        : ConsoleReporter(OO_Tabular), best_(best) {
        SetOutputStream(&std::cerr);
    }

    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Iteration) {
                const std::string name = run.run_name.function_name +
                                         (run.run_name.args.empty() ? "" : "/" + run.run_name.args);
                const double time = run.GetAdjustedCPUTime() * 1e9 /
                                    benchmark::GetTimeUnitMultiplier(run.time_unit);
                const auto place = best_.try_emplace(name, time).first;
                place->second = std::min(place->second, time);
            }
        }
    }

private:
    std::map<std::string, double>& best_;
};

}  // namespace

Results::Results(int argc, char** argv) {
    std::vector<std::string> options{argv[0], "--benchmark_repetitions=7",
                                     "--benchmark_min_time=0.1",
                                     "--benchmark_enable_random_interleaving=true"};
    options.insert(options.end(), argv + 1, argv + argc);
    std::vector<char*> words;
    for (std::string& option : options) {
        words.push_back(option.data());
    }
    int count = static_cast<int>(words.size());
    words.push_back(nullptr);
    benchmark::Initialize(&count, words.data());
    Reporter reporter(best_);
    benchmark::RunSpecifiedBenchmarks(&reporter);
}

double Results::best(const std::string& name) const {
    const auto found = best_.find(name);
    return found != best_.end() ? found->second : 0;
}

}  // namespace vesta::bench
