#pragma once

// A private runtime directory for a test's sockets, in force from its construction and removed with
// all that is in it.

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <string>

namespace vesta::testing {

class RuntimeDirectory {
public:
    RuntimeDirectory() {
        char path[] = "/tmp/vesta-test-XXXXXX";
        if (mkdtemp(path) == nullptr) {
            throw std::runtime_error("no temporary directory");
        }
        path_ = path;
        setenv("OSTREL_RUNTIME_DIR", path, 1);
    }
    ~RuntimeDirectory() {
        unsetenv("OSTREL_RUNTIME_DIR");
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    RuntimeDirectory(const RuntimeDirectory&) = delete;
    RuntimeDirectory& operator=(const RuntimeDirectory&) = delete;

    [[nodiscard]] const std::string& path() const { return path_; }

private:
    std::string path_;
};

}  // namespace vesta::testing
