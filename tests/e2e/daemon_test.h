#pragma once

// The real daemon as a child process beside a simulated access point. Its PID file has a fixed
// path, so it lives in namespaces of its own, where /var/run is a directory of the test.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "apsim/access_point.h"
#include "support/child_process.h"
#include "support/portal_document.h"
#include "support/runtime_directory.h"

namespace vesta::testing {

// The threads of a process, those that block SIGSEGV left out: a sanitizer's own does.
inline std::vector<pid_t> threadsOf(pid_t process) {
    std::vector<pid_t> threads;
    for (const auto& task :
         std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
        std::ifstream status(task.path() / "status");
        std::string name;
        while (status >> name && name != "SigBlk:") {
        }
        std::uint64_t blocked = 0;
        status >> std::hex >> blocked;
        if ((blocked >> (SIGSEGV - 1) & 1U) == 0) {
            threads.push_back(std::stoi(task.path().filename()));
        }
    }
    return threads;
}

class DaemonTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!canIsolate()) {
            GTEST_SKIP() << "this machine does not let us make a mount namespace";
        }
        std::filesystem::create_directory(runDirectory());
    }

    // The document: one VAP in portal mode, and the log at `level` in logFile().
    [[nodiscard]] apsim::Json config(int level) const {
        apsim::Json document =
            apsim::Json::parse(documentText(vapText("wlan0-va1", "Guest", "portal")));
        document["captive-portal"].update({{"logfile", logFile()}, {"loglevel", level}});
        return document;
    }
    void start(const std::vector<std::string>& arguments = {}) {
        std::vector<std::string> words = isolated(VESTAD_PROGRAM, runDirectory());
        words.insert(words.end(), arguments.begin(), arguments.end());
        daemon_.start(words, ChildProcess::Output::heard);
    }
    // Puts up the access point that gives `document` to the daemon. One that is there holds the
    // places on the bus.
    void putUp(const apsim::Json& document) {
        accessPoint_.reset();
        accessPoint_ = std::make_unique<apsim::AccessPoint>(document);
    }
    // Starts both and waits until the daemon answers and all its threads are there:
    // ThreadSanitizer's runtime takes no signal while it makes one.
    void serve(const apsim::Json& document, const std::vector<std::string>& arguments = {}) {
        putUp(document);
        start(arguments);
        constexpr std::chrono::seconds kPatience{30};
        ASSERT_TRUE(accessPoint_->waitForDaemon(kPatience));
        ASSERT_TRUE(accessPoint_->monitord().waitForAnswers(1, kPatience));
    }

    [[nodiscard]] std::string runDirectory() const { return directory_.path("run"); }
    [[nodiscard]] std::string pidFile() const { return directory_.path("run/vestad.pid"); }
    [[nodiscard]] std::string logFile() const { return directory_.path("vestad.log"); }
    // The log's texts that contain `part`, from the level on: "|WARNING|Receive ...".
    [[nodiscard]] std::vector<std::string> logged(const std::string& part) const {
        std::vector<std::string> found;
        std::ifstream file(logFile());
        for (std::string line; std::getline(file, line);) {
            if (line.find(part) != std::string::npos) {
                found.push_back(line.substr(std::min(line.find('|'), line.size())));
            }
        }
        return found;
    }

    RuntimeDirectory directory_;
    std::unique_ptr<apsim::AccessPoint> accessPoint_;
    ChildProcess daemon_;
};

}  // namespace vesta::testing
