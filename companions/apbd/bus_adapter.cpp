#include "apbd/bus_adapter.h"

#include <json-c/json.h>

namespace apbd {
namespace {

constexpr int kBacklog = 5;

// The request without what the bus allows beyond JSON: trailing commas.
std::string strictJson(const char* text) {
    json_object* const object = json_tokener_parse(text);
    std::string strict = json_object_to_json_string_ext(object, JSON_C_TO_STRING_PLAIN);
    json_object_put(object);
    return strict;
}

}  // namespace

BusAdapter::BusAdapter(Loop& loop) : loop_(loop), ipc_(IPC_MODULE_APBD, false, kBacklog) {}

BusAdapter::~BusAdapter() {
    ipc_.close();
    if (thread_.joinable()) {
        thread_.join();
    }
}

void BusAdapter::start() {
    IpcInterface::CommandTable commands;
    for (const char* const name :
         {"status", "subscribe-request", "add-request", "update-request", "del-request"}) {
        commands[name] = [this](void* text, void*, int sender) {
            loop_.post([request = strictJson(static_cast<const char*>(text)),
                        sender](Sharing& sharing) { sharing.handleRequest(request, sender); });
        };
    }
    thread_ = std::thread([this, commands] { ipc_.process(commands); });
}

bool BusAdapter::send(const std::string& text, int module) {
    return ipc_.send(text, module);
}

}  // namespace apbd
