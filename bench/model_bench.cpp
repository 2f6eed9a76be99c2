// What the daemon's parts cost: rows of the table on standard output, Google Benchmark's report on
// standard error.

#include "model_bench.h"

#include <cstdio>
#include <cstdlib>

#include "daemon/allocator.h"
#include "results.h"
#include "support/runtime_directory.h"

int main(int argc, char** argv) {
    // As the daemon does.
    vesta::tuneAllocator();
    const vesta::testing::RuntimeDirectory directory;
    const vesta::bench::Results results(argc, argv);
    vesta::bench::printPassRows(results);
    vesta::bench::printFindingRows(results);
    vesta::bench::printGetRows(results);
    vesta::bench::printNotificationRows(results);
    std::fflush(stdout);
    // The bus is the process's own and runs threads, so nothing static is destroyed.
    std::_Exit(0);
}
