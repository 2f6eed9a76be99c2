#include "results.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <iostream>

#include "median.h"

namespace vesta::bench {

class Results::Reporter final : public benchmark::ConsoleReporter {
public:
    explicit Reporter(std::map<std::string, Rounds>& rounds)
        : ConsoleReporter(OO_Tabular), rounds_(rounds) {
        SetOutputStream(&std::cerr);
    }

    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
                keep(run);
            }
        }
    }

private:
    void keep(const Run& run) {
        const std::string& arguments = run.run_name.args;
        Rounds& rounds =
            rounds_[run.run_name.function_name + (arguments.empty() ? "" : "/" + arguments)];
        rounds.times.push_back(run.GetAdjustedCPUTime() * 1e9 /
                               benchmark::GetTimeUnitMultiplier(run.time_unit));
        for (const auto& [name, counter] : run.counters) {
            rounds.counters[name].push_back(counter.value);
        }
    }

    std::map<std::string, Rounds>& rounds_;
};

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
    Reporter reporter(rounds_);
    benchmark::RunSpecifiedBenchmarks(&reporter);
}

bool Results::has(const std::string& benchmark) const {
    return rounds_.count(benchmark) != 0;
}

double Results::best(const std::string& benchmark) const {
    const std::vector<double>& times = rounds_.at(benchmark).times;
    return *std::min_element(times.begin(), times.end());
}

double Results::median(const std::string& benchmark, const std::string& counter) const {
    return medianOf(rounds_.at(benchmark).counters.at(counter));
}

}  // namespace vesta::bench
