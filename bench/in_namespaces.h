#pragma once

// The entry of a benchmark that measures real packets: in namespaces of its own.

#include <cstdio>
#include <exception>

#include "companions/redirectord/network.h"

namespace vesta::bench {

// Calls measure() there. The exit status: 0, or 1 with the reason on standard error.
template <class Measure>
int runInNamespaces(Measure measure) {
    if (!testing::enterOwnNamespaces()) {
        std::fprintf(stderr, "needs root or user namespaces: there is no network to measure\n");
        return 1;
    }
    try {
        measure();
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}

}  // namespace vesta::bench
