#include "bus_caller.h"

#include <json-c/json.h>

#include <cstdlib>
#include <future>

namespace vesta::bench {
namespace {

using Clock = std::chrono::steady_clock;

// Not a tool: the simulated access point in this process has that number.
constexpr int kCallerModule = 79;
constexpr int kTimeoutSeconds = 5;

}  // namespace

void serveEcho() {
    IpcInterface ipc(static_cast<ipc_module_t>(kEchoModule), false, 5);
    ipc.process({{"echo", [&ipc](void* text, void*, int sender) { ipc.send(text, sender); }}});
    std::_Exit(0);
}

Microseconds ask(IpcInterface& ipc, int module, const std::string& question) {
    std::promise<Clock::time_point> answered;
    const auto callback = [&answered](void* response, void*, int) {
        answered.set_value(response != nullptr ? Clock::now() : Clock::time_point());
    };
    json_object* const message = json_tokener_parse(question.c_str());
    const Clock::time_point start = Clock::now();
    const bool sent = ipc.async_send(message, module, nullptr, callback, kTimeoutSeconds);
    const Clock::time_point end = sent ? answered.get_future().get() : Clock::time_point();
    json_object_put(message);
    return end != Clock::time_point() ? end - start : Microseconds(-1);
}

BusCaller::BusCaller() : ipc_(static_cast<ipc_module_t>(kCallerModule), false, 5) {}

BusCaller::~BusCaller() = default;

}  // namespace vesta::bench
