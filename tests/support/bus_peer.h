#pragma once

// A bus in a runtime directory of one's own, with this daemon on it, and a peer that keeps what it
// is sent.

#include <gtest/gtest.h>

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "ostrel/ipc.h"
#include "support/collected.h"
#include "support/runtime_directory.h"

namespace vesta::testing {

// Takes the messages of some commands on a thread of its own, and may answer them.
class BusPeer {
public:
    // The text of the answer to a request's text.
    using Answer = std::function<std::string(const std::string& request)>;

    // Serves nothing before start().
    explicit BusPeer(ipc_module_t module) : ipc(module, false, 8) {}
    BusPeer(ipc_module_t module, const std::vector<std::string>& commands,
            const std::map<std::string, Answer>& answers = {})
        : BusPeer(module) {
        start(commands, answers);
    }
    ~BusPeer() {
        ipc.stop();
        if (thread_.joinable()) {
            thread_.join();
        }
    }
    BusPeer(const BusPeer&) = delete;
    BusPeer& operator=(const BusPeer&) = delete;

    // Keeps the messages with one of `commands`; keeps and answers those of `answers`.
    void start(const std::vector<std::string>& commands,
               const std::map<std::string, Answer>& answers = {}) {
        IpcInterface::CommandTable table;
        for (const std::string& command : commands) {
            table[command] = [this](void* message, void*, int) {
                messages_.add(static_cast<const char*>(message));
            };
        }
        for (const auto& [command, answer] : answers) {
            table[command] = [this, answer = answer](void* message, void*, int sender) {
                messages_.add(static_cast<const char*>(message));
                ipc.send(answer(static_cast<const char*>(message)), sender);
            };
        }
        table["mark"] = [this](void*, void*, int) { marks_.add(0); };
        thread_ = std::thread([this, table] { ipc.process(table); });
    }

    // The one message since the last; "" after five seconds without it.
    std::string next() {
        const std::vector<std::string> messages = messages_.take(1);
        EXPECT_LE(messages.size(), 1U);
        return messages.empty() ? "" : messages.front();
    }
    // The next message whose "command" it is, of which those before it are forgotten; null after
    // twenty seconds without it.
    nlohmann::json next(const std::string& command) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        do {
            for (std::string& message : messages_.take(unread_.empty() ? 1 : 0)) {
                unread_.push_back(std::move(message));
            }
            while (!unread_.empty()) {
                nlohmann::json message = nlohmann::json::parse(unread_.front());
                unread_.pop_front();
                if (message["command"] == command) {
                    return message;
                }
            }
        } while (std::chrono::steady_clock::now() < deadline);
        return nullptr;
    }
    // The messages that `sender` sent to `module`, which is this peer's, before this call.
    std::vector<std::string> takeFrom(IpcInterface& sender, int module) {
        EXPECT_TRUE(sender.send(std::string(R"({"command": "mark"})"), module));
        EXPECT_EQ(marks_.take(1).size(), 1U);
        return messages_.take();
    }

    IpcInterface ipc;

private:
    Collected<std::string> messages_;
    Collected<int> marks_;
    std::deque<std::string> unread_;  // the test's thread alone
    std::thread thread_;
};

class BusTest : public ::testing::Test {
protected:
    RuntimeDirectory runtime;
    std::shared_ptr<IpcInterface> ipc = std::make_shared<IpcInterface>(IPC_MODULE_VESTAD, false, 8);
};

}  // namespace vesta::testing
