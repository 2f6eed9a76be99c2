#pragma once

// Keeps large frames from swelling the process for good.
//
// Threads: any.

#include <cstddef>

namespace ostrel::bus {

// Parsing takes about fifteen times the text's size for a moment. Of a text of this size that is
// worth giving back at once; below it the allocator does better with what it has.
inline constexpr std::size_t kLargePayload = std::size_t{1} << 20U;

// Returns free memory to the system: what an allocator keeps for later counts as the process's
// memory, and a tree of nodes comes back to it in pieces too small to leave by themselves. To be
// called when a large payload and its nodes are gone.
void releaseFreeMemory();

}  // namespace ostrel::bus
