#pragma once

// A daemon of a few lines, for the tests of what stands around the real one: it takes its
// configuration and its statistics, and answers commands as it is told.

#include <json-c/json.h>
#include <unistd.h>

#include <future>
#include <string>
#include <thread>

#include "ostrel/ipc.h"
#include "ostrel/modules.h"

namespace apsim {

class FakeDaemon {
public:
    using Answer = std::function<std::string(const std::string& request)>;

    // `answers`: per command, the answer's text to the request's text.
    explicit FakeDaemon(const std::map<std::string, Answer>& answers = {})
        : ipc_(IPC_MODULE_VESTAD, false, 5) {
        auto* config = static_cast<json_object*>(ipc_.receive_initial_config());
        configuration_ = json_object_to_json_string_ext(config, JSON_C_TO_STRING_PLAIN);
        json_object_put(config);
        auto pid = static_cast<std::uint32_t>(getpid());
        notifications_ = ostrel::openNotifications(pid);
        redirector_->request(13, &pid);
        IpcInterface::CommandTable commands;
        for (const auto& [name, answer] : answers) {
            commands[name] = [this, answer = answer](void* text, void*, int sender) {
                ipc_.send(answer(static_cast<const char*>(text)), sender);
            };
        }
        thread_ = std::thread([this, commands] { ipc_.process(commands); });
    }
    ~FakeDaemon() {
        ipc_.stop();
        thread_.join();
    }
    FakeDaemon(const FakeDaemon&) = delete;
    FakeDaemon& operator=(const FakeDaemon&) = delete;

    [[nodiscard]] const std::string& configuration() const { return configuration_; }
    bool send(const std::string& text, int module) { return ipc_.send(text, module); }

    // The answer to the statistics request, as text.
    std::string statistics() {
        json_object* request =
            json_tokener_parse(R"({"command": "get", "path": "associated-clients"})");
        std::promise<std::string> answer;
        ipc_.async_send(
            request, IPC_MODULE_MONITORD_STATISTICS, nullptr,
            [&](void* response, void*, int) {
                answer.set_value(response == nullptr ? ""
                                                     : json_object_to_json_string(
                                                           static_cast<json_object*>(response)));
            },
            5);
        json_object_put(request);
        return answer.get_future().get();
    }

    // Tells the redirector that the station 02:00:00:00:00:0a, 10.1.0.5, is authorised.
    void letAnnaIn() {
        std::string record = std::string("\x02\0\0\0\0\x0a", 6) + "wlan0-va1";
        record.resize(42, '\0');
        record += std::string("\x0a\x01\0\x05", 4);
        redirector_->request(9, record.data());
    }

private:
    IpcInterface ipc_;
    std::string configuration_;
    std::unique_ptr<ostrel::ModuleControl> redirector_ = ostrel::openRedirector();
    ostrel::Fd notifications_;
    std::thread thread_;
};

}  // namespace apsim
