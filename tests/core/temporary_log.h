#pragma once

// Points the daemon's log at a file of its own for one test, with `level` as the mask.

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "core/json_entry.h"
#include "core/logger.h"
#include "ostrel/repeat_limit.h"

namespace vesta {

class TemporaryLog {
public:
    using Records = std::vector<std::string>;

    explicit TemporaryLog(int level) {
        close(mkstemp(path_.data()));
        ostrel::repeatLimit().clear();
        configure(path_, level);
    }
    ~TemporaryLog() {
        configure("", 0);
        unlink(path_.c_str());
    }
    TemporaryLog(const TemporaryLog&) = delete;
    TemporaryLog& operator=(const TemporaryLog&) = delete;

    static void configure(const std::string& file, int level) {
        logger().setTraceOpts(std::make_shared<JsonEntry>(
            R"({"captive-portal": {"logfile-limit": 0, "logfile": ")" + file +
            R"(", "loglevel": )" + std::to_string(level) + "}}"));
    }

    // The records from the level on, without time and process: "|ERROR|text".
    [[nodiscard]] Records records() const {
        Records found;
        std::ifstream file(path_);
        for (std::string line; std::getline(file, line);) {
            found.push_back(line.substr(std::min(line.find('|'), line.size())));
        }
        return found;
    }

private:
    std::string path_ = "/tmp/vesta-log-XXXXXX";
};

}  // namespace vesta
