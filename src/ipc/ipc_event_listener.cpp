#include "ipc/ipc_event_listener.h"

#include <json-c/json.h>

#include <algorithm>
#include <exception>
#include <utility>

#include "core/json_entry.h"
#include "core/logger.h"
#include "core/quoted.h"

namespace vesta {
namespace {

constexpr const char* kContext = "context";
constexpr const char* kMore = "more";
constexpr const char* kParseFailure =
    R"({    "command": "get-response",    "result": 0,    "error": "IPCListener failed on parse message"})";
constexpr const char* kAnyFailure =
    R"({    "command": "get-response",    "result": 0,    "error": "IPCListener failed on make anything!"})";

struct Release {
    void operator()(json_object* node) const { json_object_put(node); }
};
using Json = std::unique_ptr<json_object, Release>;

json_object* nodeOf(MessageEntry& entry) {
    return static_cast<json_object*>(entry.getRowMessage());
}

// Without blanks: an answer may be about thousands of clients.
std::string textOf(json_object* node) {
    return json_object_to_json_string_ext(node, JSON_C_TO_STRING_PLAIN);
}

// The bus has parsed the text already; it hands null where that is left to us. Throws for a text
// that is no object, or that the bus gave up reading.
std::shared_ptr<MessageEntry> requestOf(const char* text, void* parsed) {
    if (text == nullptr) {
        throw ENTRY_WRONG_TYPE;
    }
    auto request =
        parsed != nullptr ? std::make_shared<JsonEntry>(parsed) : std::make_shared<JsonEntry>(text);
    if (json_object_is_type(nodeOf(*request), json_type_object) == 0) {
        throw ENTRY_WRONG_TYPE;
    }
    return request;
}

// The getters of a message know its types; a context may be of any.
void answerInsertContext(MessageEntry& request, MessageEntry& answer) {
    json_object* context = nullptr;
    if (json_object_object_get_ex(nodeOf(request), kContext, &context) != 0) {
        answer.insertObjectValue(kContext, std::make_shared<JsonEntry>(context));
    }
}

// `text` with the context of the request, which may be null.
std::string failureAnswer(const char* text, void* request) {
    if (json_object_object_get_ex(static_cast<json_object*>(request), kContext, nullptr) == 0) {
        return text;
    }
    JsonEntry asked(request);
    JsonEntry answer(text);
    answerInsertContext(asked, answer);
    return textOf(nodeOf(answer));
}

// Of an object with the members "0", "1" and so on those from `begin` to before `end`.
json_object* partOf(json_object* numbered, std::size_t begin, std::size_t end) {
    json_object* const part = json_object_new_object();
    for (std::size_t i = begin; i < end; ++i) {
        const std::string key = std::to_string(i);
        json_object* const member = json_object_object_get(numbered, key.c_str());
        json_object_object_add(part, key.c_str(), json_object_get(member));
    }
    return part;
}

void logRequest(const char* operation, const char* text) {
    if (logger().isDebug()) {
        logger().Debug("%s receive request: %s\n", operation, quotedForLog(text).c_str());
    }
}

}  // namespace

IPCEventListener::IPCEventListener(std::shared_ptr<Portal> portal,
                                   std::shared_ptr<APBDCollaborator> apbd,
                                   std::shared_ptr<IpcInterface> ipc, std::size_t frameBytes)
    : VestaEventListener(std::move(portal), std::move(apbd)),
      ipc_(std::move(ipc)),
      frameBytes_(frameBytes) {
    using Self = IPCEventListener;
    name_ = "ipcListener";
    using Adapter = void (Self::*)(void*, void*, int);
    const auto add = [this](const char* command, Adapter adapter) {
        commands_[command] = [this, adapter](void* message, void* parsed, int sender) {
            (this->*adapter)(message, parsed, sender);
        };
    };
    add("get-redirect-params", &Self::ipcHandleGetRedirectParams);
    add("validate-ip", &Self::ipcHandleValidateIp);
    add("validate", &Self::ipcHandleValidate);
    add("update", &Self::ipcHandleUpdate);
    add("update-scenario", &Self::ipcHandleUpdateScenario);
    add("get", &Self::ipcHandleVestadState);
    add("get-scenarios", &Self::ipcHandleVestadStateScenarios);
    add("cp-del-client", &Self::ipcHandleDelClient);
    const auto addOfApbd = [this](const char* command, Adapter adapter) {
        commands_[command] = [this, command, adapter](void* message, void* parsed, int sender) {
            if (sender == IPC_MODULE_APBD) {
                (this->*adapter)(message, parsed, sender);
            } else {
                logger().Warning("\"%s\" of module %d is ignored: it is for apbd to say\n", command,
                                 sender);
            }
        };
    };
    addOfApbd("connected", &Self::ipcHandleAPBConnectedResponce);
    addOfApbd("disconnected", &Self::ipcHandleAPBDisconnectedResponce);
    addOfApbd("subscribe-response", &Self::ipcHandleAPBSubscribeResponce);
    addOfApbd("add-response", &Self::ipcHandleAPBAddResponce);
    addOfApbd("update-response", &Self::ipcHandleAPBUpdateResponce);
    addOfApbd("del-response", &Self::ipcHandleAPBDeleteResponce);
    addOfApbd("add-notify", &Self::ipcHandleAPBAddNotify);
    addOfApbd("update-notify", &Self::ipcHandleAPBUpdateNotify);
    addOfApbd("del-notify", &Self::ipcHandleAPBDeleteNotify);
}

bool IPCEventListener::handle() {
    ipc_->process(commands_);
    return true;
}

void IPCEventListener::stop() {
    VestaEventListener::stop();
    ipc_->stop();
}

void IPCEventListener::ipcHandleFunction(void* message, void* parsed, int sender,
                                         AnswerHandler handler) {
    const char* failure = kAnyFailure;
    if (!answer(static_cast<const char*>(message), parsed, sender, handler, failure)) {
        // Whoever asked must not wait in vain; perhaps it is its context that fits into no frame.
        static_cast<void>(sendText(failureAnswer(failure, parsed), sender, false) ||
                          sendText(kAnyFailure, sender, false));
    }
}

bool IPCEventListener::answer(const char* text, void* parsed, int sender, AnswerHandler handler,
                              const char*& failure) {
    try {
        const Entry request = requestOf(text, parsed);
        logRequest("ipcHandleFunction", text);
        const Entry answer = (this->*handler)(request);
        if (answer == nullptr) {
            throw ENTRY_EMPTY;
        }
        answerInsertContext(*request, *answer);
        return sendAnswer(nodeOf(*answer), sender);
    } catch (const ENTRY_EXCEPTION_TYPE&) {
        failure = kParseFailure;
    } catch (const std::exception& problem) {
        logger().Error("%s failed: %s\n", "ipcHandleFunction", problem.what());
    } catch (...) {
        logger().Error("%s failed: %s\n", "ipcHandleFunction", "no standard exception");
    }
    return false;
}

bool IPCEventListener::sendAnswer(json_object* answer, int sender) {
    const std::string text = textOf(answer);
    return text.size() > frameBytes_ ? sendDivided(answer, text.size(), sender)
                                     : sendText(text, sender, false);
}

// Clients, and scenarios of clients, are dealt to several frames. What can't be divided goes whole.
bool IPCEventListener::sendDivided(json_object* answer, std::size_t bytes, int sender) {
    json_object* const value = json_object_object_get(answer, "value");
    const bool hasInstances = json_object_object_get_ex(value, "instances", nullptr) != 0;
    json_object* const parent = hasInstances ? value : answer;
    const char* const name = hasInstances ? "clients" : "value";
    const Json all(json_object_get(json_object_object_get(parent, name)));
    const bool divides = json_object_is_type(all.get(), json_type_object) != 0 &&
                         json_object_object_length(all.get()) > 1;
    const auto count =
        divides ? static_cast<std::size_t>(json_object_object_length(all.get())) : std::size_t{1};
    std::size_t portion = std::max<std::size_t>(count / (bytes / frameBytes_ + 1), 1);
    for (std::size_t begin = 0; begin < count;) {
        const std::size_t end = std::min(begin + portion, count);
        if (divides) {
            json_object_object_add(parent, name, partOf(all.get(), begin, end));
            json_object_object_add(answer, kMore, json_object_new_boolean(end < count));
        }
        const std::string text = textOf(answer);
        if (text.size() > frameBytes_ && portion > 1) {
            portion /= 2;
            continue;
        }
        if (!sendText(text, sender, begin > 0)) {
            return false;
        }
        if (hasInstances) {
            json_object_object_add(value, "instances", json_object_new_object());
        }
        begin = end;
    }
    return true;
}

bool IPCEventListener::sendText(const std::string& text, int sender, bool further) {
    if (logger().isDebug()) {
        logger().Debug("%s for %d going to send anser %s\n", "ipcHandleFunction", sender,
                       quotedForLog(text).c_str());
    }
    return further ? ipc_->sendFurther(text, sender) : ipc_->send(text, sender);
}

void IPCEventListener::ipcNoAnserHandleFunction(void* message, void* parsed, int sender,
                                                NoAnswerHandler handler) {
    const char* const text = static_cast<const char*>(message);
    try {
        const Entry request = requestOf(text, parsed);
        logRequest("ipcNoAnserHandleFunction", text);
        (this->*handler)(request);
    } catch (const ENTRY_EXCEPTION_TYPE&) {
        logger().Warning("%s: message of module %d can't be read: %s\n", "ipcNoAnserHandleFunction",
                         sender, quotedForLog(text != nullptr ? text : "").c_str());
    } catch (const std::exception& failure) {
        logger().Error("%s failed: %s\n", "ipcNoAnserHandleFunction", failure.what());
    } catch (...) {
        logger().Error("%s failed: %s\n", "ipcNoAnserHandleFunction", "no standard exception");
    }
}

void IPCEventListener::ipcHandleGetRedirectParams(void* message, void* parsed, int sender) {
    ipcHandleFunction(message, parsed, sender, &VestaEventListener::handleGetRedirectParams);
}

void IPCEventListener::ipcHandleValidateIp(void* message, void* parsed, int sender) {
    ipcHandleFunction(message, parsed, sender, &VestaEventListener::handleValidateIp);
}

void IPCEventListener::ipcHandleValidate(void* message, void* parsed, int sender) {
    ipcHandleFunction(message, parsed, sender, &VestaEventListener::handleValidate);
}

void IPCEventListener::ipcHandleUpdate(void* message, void* parsed, int sender) {
    ipcHandleFunction(message, parsed, sender, &VestaEventListener::handleUpdate);
}

void IPCEventListener::ipcHandleUpdateScenario(void* message, void* parsed, int sender) {
    ipcHandleFunction(message, parsed, sender, &VestaEventListener::handleUpdateScenario);
}

void IPCEventListener::ipcHandleVestadState(void* message, void* parsed, int sender) {
    ipcHandleFunction(message, parsed, sender, &VestaEventListener::handleVestadState);
}

void IPCEventListener::ipcHandleVestadStateScenarios(void* message, void* parsed, int sender) {
    ipcHandleFunction(message, parsed, sender, &VestaEventListener::handleVestadStateScenarios);
}

void IPCEventListener::ipcHandleAPBConnectedResponce(void* message, void* parsed, int sender) {
    ipcNoAnserHandleFunction(message, parsed, sender,
                             &VestaEventListener::handleAPBConnectedResponce);
}

void IPCEventListener::ipcHandleAPBDisconnectedResponce(void* message, void* parsed, int sender) {
    ipcNoAnserHandleFunction(message, parsed, sender,
                             &VestaEventListener::handleAPBDisconnectedResponce);
}

void IPCEventListener::ipcHandleAPBSubscribeResponce(void* message, void* parsed, int sender) {
    ipcNoAnserHandleFunction(message, parsed, sender,
                             &VestaEventListener::handleAPBSubscribeResponce);
}

void IPCEventListener::ipcHandleAPBAddResponce(void* message, void* parsed, int sender) {
    ipcNoAnserHandleFunction(message, parsed, sender, &VestaEventListener::handleAPBAddResponce);
}

void IPCEventListener::ipcHandleAPBUpdateResponce(void* message, void* parsed, int sender) {
    ipcNoAnserHandleFunction(message, parsed, sender, &VestaEventListener::handleAPBUpdateResponce);
}

void IPCEventListener::ipcHandleAPBDeleteResponce(void* message, void* parsed, int sender) {
    ipcNoAnserHandleFunction(message, parsed, sender, &VestaEventListener::handleAPBDeleteResponce);
}

void IPCEventListener::ipcHandleAPBAddNotify(void* message, void* parsed, int sender) {
    ipcNoAnserHandleFunction(message, parsed, sender, &VestaEventListener::handleAPBAddNotify);
}

void IPCEventListener::ipcHandleAPBUpdateNotify(void* message, void* parsed, int sender) {
    ipcNoAnserHandleFunction(message, parsed, sender, &VestaEventListener::handleAPBUpdateNotify);
}

void IPCEventListener::ipcHandleAPBDeleteNotify(void* message, void* parsed, int sender) {
    ipcNoAnserHandleFunction(message, parsed, sender, &VestaEventListener::handleAPBDeleteNotify);
}

void IPCEventListener::ipcHandleDelClient(void* message, void* parsed, int sender) {
    ipcHandleFunction(message, parsed, sender, &VestaEventListener::handleDelClient);
}

}  // namespace vesta
