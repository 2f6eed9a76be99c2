#pragma once

// Two pieces of work, taken in turn: what disturbs the machine disturbs both, so that the ratio of
// a pair holds where the times of either do not.

#include <benchmark/benchmark.h>
#include <time.h>

#include <string>
#include <vector>

#include "median.h"

namespace vesta::bench {

inline constexpr const char* kRatio = "ratio";
inline constexpr const char* kWork = "work_us";
inline constexpr const char* kBase = "base_us";

class Comparison {
public:
    // Times are processor time of this thread.
    template <class Work, class Base>
    void add(Work work, Base base) {
        const double baseTime = microsecondsOf(base);
        const double workTime = microsecondsOf(work);
        bases_.push_back(baseTime);
        works_.push_back(workTime);
        ratios_.push_back(workTime / baseTime);
    }
    // The medians become counters of the benchmark.
    void report(benchmark::State& state) const {
        state.counters[kRatio] = medianOf(ratios_);
        state.counters[kWork] = medianOf(works_);
        state.counters[kBase] = medianOf(bases_);
    }

private:
    template <class Work>
    static double microsecondsOf(Work work) {
        const double start = threadMicroseconds();
        work();
        return threadMicroseconds() - start;
    }
    static double threadMicroseconds() {
        timespec now{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
        return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) * 1e-3;
    }

    std::vector<double> bases_;
    std::vector<double> works_;
    std::vector<double> ratios_;
};

}  // namespace vesta::bench
