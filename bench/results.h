#pragma once

// Runs the registered benchmarks and keeps what they gave.

#include <map>
#include <string>
#include <vector>

namespace vesta::bench {

class Results {
public:
    // Several rounds, the benchmarks in changing order, so that what disturbs the machine disturbs
    // all of them. Google Benchmark's own report goes to standard error. `argv` takes its options.
    Results(int argc, char** argv);

    [[nodiscard]] bool has(const std::string& benchmark) const;
    // Processor time of one iteration in nanoseconds, the best round.
    [[nodiscard]] double best(const std::string& benchmark) const;
    // The median of a counter over the rounds.
    [[nodiscard]] double median(const std::string& benchmark, const std::string& counter) const;

private:
    struct Rounds {
        std::vector<double> times;
        std::map<std::string, std::vector<double>> counters;
    };
    class Reporter;

    std::map<std::string, Rounds> rounds_;
};

}  // namespace vesta::bench
