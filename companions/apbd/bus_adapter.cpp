#include "apbd/bus_adapter.h"

#include <json-c/json.h>

namespace apbd {
namespace {

constexpr int kBacklog = 5;

// The request as JSON text. The bus also allows trailing commas; they are gone here.
std::string strictJson(void* request) {
    return json_object_to_json_string_ext(static_cast<json_object*>(request),
                                          JSON_C_TO_STRING_PLAIN);
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
        commands[name] = [this](void*, void* parsed, int sender) {
            loop_.post([request = strictJson(parsed), sender](Sharing& sharing) {
                sharing.handleRequest(request, sender);
            });
        };
    }
    thread_ = std::thread([this, commands] { ipc_.process(commands); });
}

bool BusAdapter::send(const std::string& text, int module) {
    return ipc_.send(text, module);
}

}  // namespace apbd
