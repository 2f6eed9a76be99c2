#pragma once

// What the tests of the platform libraries share: a directory of one's own that vanishes with the
// test, files in it, a clock that stands until it is moved.

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "ostrel/clock.h"

namespace ostrel::testing {

class TempDirectory {
public:
    TempDirectory() {
        std::string pattern = (std::filesystem::temp_directory_path() / "ostrel-XXXXXX").string();
        path_ = mkdtemp(pattern.data());
    }
    ~TempDirectory() { std::filesystem::remove_all(path_); }
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;

    [[nodiscard]] std::string path(const std::string& name = "") const {
        return name.empty() ? path_ : path_ + "/" + name;
    }

private:
    std::string path_;
};

inline std::string readFile(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

// Makes the file's directories, too.
inline void writeFile(const std::string& path, const std::string& text) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path) << text;
}

class ManualClock final : public Clock {
public:
    ManualClock() { setClock(this); }
    ~ManualClock() override { setClock(nullptr); }
    ManualClock(const ManualClock&) = delete;
    ManualClock& operator=(const ManualClock&) = delete;

    std::int64_t monotonicMicroseconds() const override { return monotonic; }
    std::int64_t wallMicroseconds() const override { return wall; }

    std::int64_t monotonic = 1000000;
    std::int64_t wall = 0;
};

}  // namespace ostrel::testing
