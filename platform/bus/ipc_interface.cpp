#include "ostrel/ipc.h"

#include <unistd.h>

#include <chrono>
#include <exception>
#include <list>
#include <string_view>
#include <utility>

#include "calls.h"
#include "exchange.h"
#include "free_memory.h"
#include "inbox.h"
#include "json_text.h"
#include "ostrel/runtime.h"

using namespace ostrel;
using namespace ostrel::bus;

namespace {

constexpr std::chrono::seconds kConfigurationRetry{1};
constexpr const char* kConfigurationRequest = R"({"command": "get-initial-config"})";

std::uint32_t moduleNumber(int module) {
    return static_cast<std::uint32_t>(module);
}

// The beginning of a text, for a report.
std::string shortened(const std::string& text) {
    return text.substr(0, 64);
}

void runCommand(const IpcInterface::Command& command, const std::string& name, Arrival& arrival,
                char* text, json_object* node) {
    try {
        command(text, node, static_cast<int>(arrival.frame.sender));
    } catch (const std::exception& problem) {
        report(LogLevel::error, "bus: command %s from %s failed: %s", name.c_str(),
               arrival.from->peerName().c_str(), problem.what());
    } catch (...) {
        report(LogLevel::error, "bus: command %s from %s failed", name.c_str(),
               arrival.from->peerName().c_str());
    }
}

void dispatch(const IpcInterface::CommandTable& commands, JsonReader& reader, Arrival& arrival) {
    Json node;
    char* text = arrival.frame.payload.data();
    switch (reader.read(arrival.frame.payload, node, !isDaemon(arrival.frame.sender))) {
        case JsonReader::Kind::notJson:
            condemnForGarbage(arrival);
            return;
        case JsonReader::Kind::notObject:
            report(LogLevel::debug, "bus: a frame of %s holds no object, dropped",
                   arrival.from->peerName().c_str());
            return;
        case JsonReader::Kind::tooLarge:
            report(LogLevel::warning,
                   "bus: a frame of %s is nested too deep or has too many values",
                   arrival.from->peerName().c_str());
            text = nullptr;
            break;
        case JsonReader::Kind::object:
            break;
    }
    const std::string name = commandOf(node.get());
    const auto entry = commands.find(name);
    if (entry == commands.end()) {
        report(LogLevel::debug, "bus: nobody handles \"%s\" of %s, dropped",
               shortened(name).c_str(), arrival.from->peerName().c_str());
        return;
    }
    runCommand(entry->second, name, arrival, text, node.get());
}

enum class Kept { no, yes };

// Looks for the configuration in a frame; says whether the frame is to be kept for process().
Kept lookForConfiguration(JsonReader& reader, const Arrival& arrival, Json& configuration) {
    Json node;
    const JsonReader::Kind kind =
        reader.read(arrival.frame.payload, node, !isDaemon(arrival.frame.sender));
    if (kind == JsonReader::Kind::notJson) {
        condemnForGarbage(arrival);
        return Kept::no;
    }
    if (node == nullptr || commandOf(node.get()) != "initial-config") {
        return Kept::yes;
    }
    if (!arrival.from->trusted()) {
        report(LogLevel::warning, "bus: %s may not configure this process",
               arrival.from->peerName().c_str());
        return Kept::no;
    }
    json_object* config = nullptr;
    if (json_object_object_get_ex(node.get(), "config", &config) == 0 ||
        json_object_get_type(config) != json_type_object) {
        report(LogLevel::error, "bus: \"initial-config\" of %s has no object \"config\"",
               arrival.from->peerName().c_str());
    } else {
        configuration.reset(json_object_get(config));
    }
    return Kept::no;
}

}  // namespace

ipc_module_t ipc_tool_module() {
    return static_cast<ipc_module_t>(static_cast<int>(kFirstTool) + getpid());
}

class IpcInterface::Bus {
public:
    Bus(std::uint32_t module, bool listens, int backlog, const std::string& runtimeDirectory)
        : calls(inbox),
          exchange(module, listens, backlog, runtimeDirectory + "/bus", calls, inbox) {}

    // A callback may be sending, so the delivery thread ends while the exchange is still there.
    ~Bus() { calls.stop(); }

    Inbox inbox;
    Calls calls;
    Exchange exchange;
};

IpcInterface::IpcInterface(ipc_module_t module, bool anonymous, int backlog,
                           const std::string& runtimeDirectory)
    : bus_(std::make_unique<Bus>(moduleNumber(module),
                                 !anonymous && moduleNumber(module) < kFirstTool, backlog,
                                 runtimeDirectory)) {}

IpcInterface::~IpcInterface() = default;

void* IpcInterface::receive_initial_config() {
    JsonReader reader;
    Json configuration;
    std::list<Arrival> kept;
    auto nextRequest = std::chrono::steady_clock::now();
    while (configuration == nullptr) {
        if (std::chrono::steady_clock::now() >= nextRequest) {
            nextRequest = std::chrono::steady_clock::now() + kConfigurationRetry;
            // An absent module is asked again, like one that gives no answer.
            static_cast<void>(send(kConfigurationRequest, IPC_MODULE_CONFIGURATION));
        }
        Arrival arrival;
        const Inbox::Take result = bus_->inbox.takeBefore(nextRequest, arrival);
        if (result == Inbox::Take::stopped) {
            break;
        }
        if (result == Inbox::Take::arrival && !arrival.from->condemned() &&
            lookForConfiguration(reader, arrival, configuration) == Kept::yes) {
            kept.push_back(std::move(arrival));
        }
    }
    bus_->inbox.putBack(std::move(kept));
    return configuration.release();
}

void IpcInterface::process(const CommandTable& commands) {
    JsonReader reader;
    for (;;) {
        Arrival arrival;
        if (bus_->inbox.take(arrival) == Inbox::Take::stopped) {
            return;
        }
        // Nothing after an unreadable frame of the same connection is handled.
        if (!arrival.from->condemned()) {
            dispatch(commands, reader, arrival);
        }
        if (arrival.frame.payload.size() >= kLargePayload) {
            arrival = Arrival{};
            releaseFreeMemory();
        }
    }
}

void IpcInterface::stop() {
    bus_->inbox.stop();
}

void IpcInterface::close() {
    stop();
    bus_->calls.stop();
}

bool IpcInterface::send(void* text, int module) const {
    return text != nullptr &&
           bus_->exchange.send(static_cast<const char*>(text), moduleNumber(module));
}

bool IpcInterface::send(const std::string& text, int module) const {
    return bus_->exchange.send(text, moduleNumber(module));
}

bool IpcInterface::sendFurther(const std::string& text, int module) const {
    return bus_->exchange.send(text, moduleNumber(module), true);
}

bool IpcInterface::sendAnswer(const std::vector<std::string>& frames, int module) const {
    bool further = false;
    for (const std::string& frame : frames) {
        if (!bus_->exchange.send(frame, moduleNumber(module), std::exchange(further, true))) {
            return false;
        }
    }
    return true;
}

bool IpcInterface::send(const JsonSource* object, int module) const {
    return object != nullptr && bus_->exchange.send(object->toJson(), moduleNumber(module));
}

bool IpcInterface::async_send(void* message, int module, void* user, ResponseCallback callback,
                              int timeoutSeconds) {
    auto* const object = static_cast<json_object*>(message);
    json_object* copied = nullptr;
    if (json_object_get_type(object) != json_type_object ||
        json_object_deep_copy(object, &copied, nullptr) != 0) {
        report(LogLevel::error, "bus: a request for module %d is no JSON object", module);
        return false;
    }
    const Json request(copied);
    const std::uint32_t number =
        bus_->calls.open(moduleNumber(module), user, std::move(callback), timeoutSeconds);
    json_object_object_add(request.get(), "context", json_object_new_int(static_cast<int>(number)));
    const char* text = json_object_to_json_string_ext(request.get(), JSON_C_TO_STRING_PLAIN);
    // If the call expired before its frame was refused, its callback has been called.
    return bus_->exchange.send(text, moduleNumber(module)) || !bus_->calls.withdraw(number);
}

unsigned long long IpcInterface::droppedFrames() const {
    return bus_->exchange.dropped();
}
