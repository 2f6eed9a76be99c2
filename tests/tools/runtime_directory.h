#pragma once

// A runtime directory of a test's own, in force while the object lives.

#include <stdlib.h>

#include "platform/support.h"

namespace apsim {

class RuntimeDirectory {
public:
    RuntimeDirectory() { setenv("OSTREL_RUNTIME_DIR", directory_.path().c_str(), 1); }
    ~RuntimeDirectory() { unsetenv("OSTREL_RUNTIME_DIR"); }
    RuntimeDirectory(const RuntimeDirectory&) = delete;
    RuntimeDirectory& operator=(const RuntimeDirectory&) = delete;

    [[nodiscard]] std::string path(const std::string& name) const { return directory_.path(name); }

private:
    ostrel::testing::TempDirectory directory_;
};

}  // namespace apsim
