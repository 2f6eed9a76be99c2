#pragma once

// The real daemon as a child process beside a simulated access point. Its PID file has a fixed
// path, so it lives in namespaces of its own, where /var/run is a directory of the test.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "apsim/access_point.h"
#include "support/child_process.h"
#include "support/portal_document.h"
#include "support/runtime_directory.h"

namespace vesta::testing {

// The threads of a process, those that block SIGSEGV left out: a sanitizer's own does.
std::vector<pid_t> threadsOf(pid_t process);

class DaemonTest : public ::testing::Test {
protected:
    void SetUp() override;

    // The document: one VAP in portal mode, and the log at `level` in logFile().
    [[nodiscard]] apsim::Json config(int level) const;
    void start(const std::vector<std::string>& arguments = {});
    // Puts up the access point that gives `document` to the daemon.
    void putUp(const apsim::Json& document);
    // Starts both and waits until the daemon answers and all its threads are there:
    // ThreadSanitizer's runtime takes no signal while it makes one.
    void serve(const apsim::Json& document, const std::vector<std::string>& arguments = {});

    [[nodiscard]] std::string runDirectory() const { return directory_.path("run"); }
    [[nodiscard]] std::string pidFile() const { return directory_.path("run/vestad.pid"); }
    [[nodiscard]] std::string logFile() const { return directory_.path("vestad.log"); }
    // The log's texts that contain `part`, from the level on: "|WARNING|Receive ...".
    [[nodiscard]] std::vector<std::string> logged(const std::string& part) const;

    RuntimeDirectory directory_;
    std::unique_ptr<apsim::AccessPoint> accessPoint_;
    ChildProcess daemon_;
};

}  // namespace vesta::testing
