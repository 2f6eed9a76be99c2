#pragma once

// A private runtime directory for a test's sockets, in force from its construction and removed with
// all that is in it.

#include <stdlib.h>

#include "platform/support.h"

namespace vesta::testing {

class RuntimeDirectory : public ostrel::testing::TempDirectory {
public:
    RuntimeDirectory() { setenv("OSTREL_RUNTIME_DIR", path().c_str(), 1); }
    ~RuntimeDirectory() { unsetenv("OSTREL_RUNTIME_DIR"); }
    RuntimeDirectory(const RuntimeDirectory&) = delete;
    RuntimeDirectory& operator=(const RuntimeDirectory&) = delete;
};

}  // namespace vesta::testing
