#include "process_figures.h"

#include <filesystem>
#include <fstream>
#include <map>
#include <string>

namespace vesta::bench {
namespace {

// The number behind "<name>:" in a file of /proc; -1 without it.
long numberIn(const std::string& path, const std::string& name) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        if (line.rfind(name + ":", 0) == 0) {
            return std::stol(line.substr(name.size() + 1));
        }
    }
    return -1;
}

}  // namespace

long residentKiB(pid_t process) {
    return numberIn("/proc/" + std::to_string(process) + "/status", "VmRSS");
}

long peakKiB(pid_t process) {
    return numberIn("/proc/" + std::to_string(process) + "/status", "VmHWM");
}

// "5" resets the peak, see proc(5).
void forgetPeak(pid_t process) {
    std::ofstream("/proc/" + std::to_string(process) + "/clear_refs") << 5;
}

long proportionalKiB(pid_t process) {
    return numberIn("/proc/" + std::to_string(process) + "/smaps_rollup", "Pss");
}

std::vector<long> sleeps(pid_t process) {
    std::map<int, long> byThread;
    for (const auto& task :
         std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
        byThread[std::stoi(task.path().filename())] =
            numberIn(task.path() / "status", "voluntary_ctxt_switches");
    }
    std::vector<long> counts;
    for (const auto& [thread, count] : byThread) {
        counts.push_back(count);
    }
    return counts;
}

}  // namespace vesta::bench
