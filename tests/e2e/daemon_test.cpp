#include "daemon_test.h"

#include <filesystem>
#include <fstream>

namespace vesta::testing {

std::vector<pid_t> threadsOf(pid_t process) {
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

void DaemonTest::SetUp() {
    if (!canIsolate()) {
        GTEST_SKIP() << "this machine does not let us make a mount namespace";
    }
    std::filesystem::create_directory(runDirectory());
}

apsim::Json DaemonTest::config(int level) const {
    apsim::Json document =
        apsim::Json::parse(documentText(vapText("wlan0-va1", "Guest", "portal")));
    document["captive-portal"]["logfile"] = logFile();
    document["captive-portal"]["loglevel"] = level;
    return document;
}

void DaemonTest::start(const std::vector<std::string>& arguments) {
    std::vector<std::string> words = isolated(VESTAD_PROGRAM, runDirectory());
    words.insert(words.end(), arguments.begin(), arguments.end());
    daemon_.start(words, ChildProcess::Output::heard);
}

void DaemonTest::putUp(const apsim::Json& document) {
    // One that is there holds the places on the bus.
    accessPoint_.reset();
    accessPoint_ = std::make_unique<apsim::AccessPoint>(document);
}

void DaemonTest::serve(const apsim::Json& document, const std::vector<std::string>& arguments) {
    putUp(document);
    start(arguments);
    constexpr std::chrono::seconds kPatience{30};
    ASSERT_TRUE(accessPoint_->waitForDaemon(kPatience));
    ASSERT_TRUE(accessPoint_->monitord().waitForAnswers(1, kPatience));
}

std::vector<std::string> DaemonTest::logged(const std::string& part) const {
    std::vector<std::string> found;
    std::ifstream file(logFile());
    for (std::string line; std::getline(file, line);) {
        if (line.find(part) != std::string::npos) {
            found.push_back(line.substr(std::min(line.find('|'), line.size())));
        }
    }
    return found;
}

}  // namespace vesta::testing
