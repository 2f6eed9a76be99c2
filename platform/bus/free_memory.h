#pragma once

// Keeps large frames from swelling the process for good.
//
// Threads: any.

#include <cstddef>

namespace ostrel::bus {

// Parsing takes about fifteen times the text's size for a moment. From this size on, the memory is
// given back at once; for less, the allocator does better to keep it.
inline constexpr std::size_t kLargePayload = std::size_t{1} << 20U;

// Returns free memory to the system. Call it when a large payload and its nodes are freed: the
// allocator would keep their many small pieces, which count as the process's memory.
void releaseFreeMemory();

}  // namespace ostrel::bus
