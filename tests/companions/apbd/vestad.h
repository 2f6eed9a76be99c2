#pragma once

// The other end of an apbd process: a vestad of a few lines on its bus.

#include <stdlib.h>

#include <chrono>
#include <deque>
#include <memory>
#include <thread>

#include "apbd/record.h"
#include "ostrel/ipc.h"
#include "ostrel/mutex.h"
#include "ostrel/runtime.h"

namespace apbd {

constexpr std::chrono::seconds kLong{20};

class Vestad {
public:
    Vestad(std::string runtime, std::string apMac)
        : runtime_(std::move(runtime)), apMac_(std::move(apMac)) {
        setenv("OSTREL_RUNTIME_DIR", runtime_.c_str(), 1);
        ipc_ = std::make_unique<IpcInterface>(IPC_MODULE_VESTAD, false, 5);
        IpcInterface::CommandTable commands;
        for (const char* const name :
             {"connected", "disconnected", "subscribe-response", "add-response", "update-response",
              "del-response", "add-notify", "update-notify", "del-notify"}) {
            commands[name] = [this](void* text, void*, int) { take(static_cast<char*>(text)); };
        }
        thread_ = std::thread([this, commands] { ipc_->process(commands); });
    }
    ~Vestad() {
        ipc_->close();
        thread_.join();
    }
    Vestad(const Vestad&) = delete;
    Vestad& operator=(const Vestad&) = delete;

    bool send(const Json& request) {
        setenv("OSTREL_RUNTIME_DIR", runtime_.c_str(), 1);
        return ipc_->send(request.dump(), IPC_MODULE_APBD);
    }
    bool subscribe() {
        return send({{"cmd", "subscribe-request"},
                     {"ap-mac", apMac_},
                     {"mobility-domain-list",
                      {{{"ssid", "Guest"}, {"radius-domain", ""}, {"mobility-domain", "hall"}}}}});
    }

    // The next message `command`, of which those before it are forgotten; null when none comes.
    Json next(const std::string& command) {
        const auto deadline = std::chrono::steady_clock::now() + kLong;
        const ostrel::MutexLock lock(mutex_);
        while (std::chrono::steady_clock::now() < deadline) {
            while (!told_.empty()) {
                Json message = std::move(told_.front());
                told_.pop_front();
                if (message["command"] == command) {
                    return message;
                }
            }
            changed_.waitFor(mutex_, std::chrono::milliseconds(50));
        }
        return nullptr;
    }

private:
    void take(const char* text) {
        const ostrel::MutexLock lock(mutex_);
        told_.push_back(Json::parse(text));
        changed_.notifyAll();
    }

    const std::string runtime_;
    const std::string apMac_;
    std::unique_ptr<IpcInterface> ipc_;
    std::thread thread_;
    ostrel::Mutex mutex_;
    ostrel::CondVar changed_;
    std::deque<Json> told_ GUARDED_BY(mutex_);
};

}  // namespace apbd
