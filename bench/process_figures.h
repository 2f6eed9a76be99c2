#pragma once

// What the system tells of a process.

#include <sys/types.h>

#include <vector>

namespace vesta::bench {

[[nodiscard]] long residentKiB(pid_t process);
// The most since its start, or since forgetPeak().
[[nodiscard]] long peakKiB(pid_t process);
void forgetPeak(pid_t process);
// A page that several processes share counts for each by its part.
[[nodiscard]] long proportionalKiB(pid_t process);
// For each thread, in order of its making: how often it went to sleep so far.
[[nodiscard]] std::vector<long> sleeps(pid_t process);

}  // namespace vesta::bench
