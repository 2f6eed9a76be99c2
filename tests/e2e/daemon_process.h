#pragma once

// The real daemon as a child process. Its PID file has a fixed path, so it lives in a mount and a
// network namespace of its own, where /var/run is a directory of the test.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/types.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "apsim/access_point.h"
#include "ostrel/runtime.h"
#include "support/portal_document.h"
#include "support/runtime_directory.h"

namespace vesta::testing {

class DaemonProcess {
public:
    // Starts the daemon with `arguments`, and `runDirectory` in the place of /var/run.
    DaemonProcess(const std::string& runDirectory, const std::vector<std::string>& arguments);
    // Kills it when it still lives.
    ~DaemonProcess();
    DaemonProcess(const DaemonProcess&) = delete;
    DaemonProcess& operator=(const DaemonProcess&) = delete;

    // Whether this machine lets us make namespaces.
    static bool possible();

    [[nodiscard]] pid_t pid() const { return pid_; }
    // Its threads, those that block SIGSEGV left out.
    [[nodiscard]] std::vector<pid_t> threads() const;
    // Waits for `text` on standard error; false when the stream ends before.
    bool waitForError(const std::string& text);
    // Waits for the end: "exit 0", "signal 15", or "still running" after thirty seconds.
    std::string waitForEnd();
    // What it has written to standard error; all of it after waitForEnd().
    [[nodiscard]] const std::string& errors() const { return errors_; }

private:
    bool readErrors();

    pid_t pid_ = -1;
    ostrel::Fd process_;
    ostrel::Fd errorPipe_;
    std::string errors_;
};

// One daemon beside a simulated access point.
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

    [[nodiscard]] std::string runDirectory() const { return directory_.path() + "/run"; }
    [[nodiscard]] std::string pidFile() const { return runDirectory() + "/vestad.pid"; }
    [[nodiscard]] std::string logFile() const { return directory_.path() + "/vestad.log"; }
    // The log's texts that contain `part`, from the level on: "|WARNING|Receive ...".
    [[nodiscard]] std::vector<std::string> logged(const std::string& part) const;

    RuntimeDirectory directory_;
    std::unique_ptr<apsim::AccessPoint> accessPoint_;
    std::unique_ptr<DaemonProcess> daemon_;
};

std::string contentOf(const std::string& path);

}  // namespace vesta::testing
