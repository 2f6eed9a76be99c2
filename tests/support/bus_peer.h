#pragma once

// A bus in a runtime directory of one's own, with this daemon on it, and a peer that keeps what it
// is sent.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ostrel/ipc.h"
#include "support/collected.h"
#include "support/runtime_directory.h"

namespace vesta::testing {

// Takes the messages of these commands on a thread of its own.
class BusPeer {
public:
    BusPeer(ipc_module_t module, const std::vector<std::string>& commands) : ipc(module, false, 8) {
        for (const std::string& command : commands) {
            commands_[command] = [this](void* message, void*, int) {
                messages_.add(static_cast<const char*>(message));
            };
        }
        commands_["mark"] = [this](void*, void*, int) { marks_.add(0); };
        thread_ = std::thread([this] { ipc.process(commands_); });
    }
    ~BusPeer() {
        ipc.stop();
        thread_.join();
    }
    BusPeer(const BusPeer&) = delete;
    BusPeer& operator=(const BusPeer&) = delete;

    // The one message since the last; "" after five seconds without it.
    std::string next() {
        const std::vector<std::string> messages = messages_.take(1);
        EXPECT_LE(messages.size(), 1U);
        return messages.empty() ? "" : messages.front();
    }
    // The messages that `sender` sent before this call.
    std::vector<std::string> takeFrom(IpcInterface& sender, int module) {
        EXPECT_TRUE(sender.send(std::string(R"({"command": "mark"})"), module));
        EXPECT_EQ(marks_.take(1).size(), 1U);
        return messages_.take();
    }

    IpcInterface ipc;

private:
    IpcInterface::CommandTable commands_;
    Collected<std::string> messages_;
    Collected<int> marks_;
    std::thread thread_;
};

class BusTest : public ::testing::Test {
protected:
    RuntimeDirectory runtime;
    std::shared_ptr<IpcInterface> ipc = std::make_shared<IpcInterface>(IPC_MODULE_VESTAD, false, 8);
};

}  // namespace vesta::testing
