#pragma once

// Runs the registered benchmarks and keeps the best round of each: what else the machine does only
// ever adds to a time.

#include <map>
#include <string>

namespace vesta::bench {

class Results {
public:
    // Several rounds, the benchmarks in changing order, so that what disturbs the machine disturbs
    // all of them. Google Benchmark's own report goes to standard error. `argv` takes its options.
    Results(int argc, char** argv);

    // Processor time of one iteration in nanoseconds; 0 when there is no such benchmark.
    [[nodiscard]] double best(const std::string& name) const;

private:
    std::map<std::string, double> best_;
};

}  // namespace vesta::bench
