#pragma once

// A bus in a runtime directory of one's own, with this daemon on it, and a peer that keeps what it
// is sent.

#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "core/mutex.h"
#include "ostrel/ipc.h"
#include "platform/support.h"

namespace vesta::testing {

// Takes the messages of one command on a thread of its own.
class BusPeer {
public:
    BusPeer(ipc_module_t module, const char* command) : ipc(module, false, 8) {
        commands_[command] = [this](void* message, void*, int) {
            const MutexLock lock(mutex_);
            messages_.emplace_back(static_cast<const char*>(message));
            changed_.notifyAll();
        };
        commands_["mark"] = [this](void*, void*, int) {
            const MutexLock lock(mutex_);
            ++marks_;
            changed_.notifyAll();
        };
        thread_ = std::thread([this] { ipc.process(commands_); });
    }
    ~BusPeer() {
        ipc.stop();
        thread_.join();
    }
    BusPeer(const BusPeer&) = delete;
    BusPeer& operator=(const BusPeer&) = delete;

    // The messages that `sender` sent before this call.
    std::vector<std::string> takeFrom(IpcInterface& sender, int module) {
        EXPECT_TRUE(sender.send(std::string(R"({"command": "mark"})"), module));
        const MutexLock lock(mutex_);
        ++awaited_;
        while (marks_ < awaited_ && changed_.waitFor(mutex_, std::chrono::seconds(5))) {
        }
        EXPECT_EQ(marks_, awaited_);
        return std::exchange(messages_, {});
    }

    IpcInterface ipc;

private:
    IpcInterface::CommandTable commands_;
    Mutex mutex_;
    CondVar changed_;
    int marks_ GUARDED_BY(mutex_) = 0;
    int awaited_ GUARDED_BY(mutex_) = 0;
    std::vector<std::string> messages_ GUARDED_BY(mutex_);
    std::thread thread_;
};

class BusTest : public ::testing::Test {
protected:
    BusTest() {
        setenv("OSTREL_RUNTIME_DIR", runtime.path().c_str(), 1);
        ipc = std::make_shared<IpcInterface>(IPC_MODULE_VESTAD, false, 8);
    }
    ~BusTest() override { unsetenv("OSTREL_RUNTIME_DIR"); }

    ostrel::testing::TempDirectory runtime;
    std::shared_ptr<IpcInterface> ipc;
};

}  // namespace vesta::testing
