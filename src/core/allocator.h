#pragma once

// How the C library's allocator is used by a process that builds and drops large trees of small
// nodes, as every JSON message is.
//
// Threads: before the first thread is started.

#include <stdlib.h>

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace vesta {

// glibc leaves small freed pieces unmerged until somebody asks for more than 1 KiB, and merges all
// of them then; a json-c object of more than ten members asks for that much. Merged at once, the
// answer to "get" costs a fifth less. Other C libraries need nothing.
inline void tuneAllocator() {
#ifdef __GLIBC__
    mallopt(M_MXFAST, 0);
#endif
}

}  // namespace vesta
