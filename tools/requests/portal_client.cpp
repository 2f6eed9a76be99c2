#include "requests/portal_client.h"

#include <json-c/json.h>

#include <future>
#include <memory>
#include <utility>

namespace tools {

namespace {

using JsonC = std::unique_ptr<json_object, int (*)(json_object*)>;

PortalClient::Answer answerOf(void* response) {
    if (response == nullptr) {
        return std::nullopt;
    }
    const char* text = json_object_to_json_string(static_cast<json_object*>(response));
    Json answer = Json::parse(text, nullptr, false);
    return answer.is_discarded() ? std::nullopt : PortalClient::Answer(std::move(answer));
}

// Adds what another frame of the same answer tells.
void join(Json& whole, const Json& frame) {
    for (const auto& [name, value] : frame.items()) {
        if (whole.contains(name) && whole[name].is_object() && value.is_object()) {
            join(whole[name], value);
        } else if (whole.contains(name) && whole[name].is_array() && value.is_array()) {
            whole[name].insert(whole[name].end(), value.begin(), value.end());
        } else {
            whole[name] = value;
        }
    }
}

Json addressed(const char* command, const std::string& ip) {
    return {{"command", command}, {"params", {{"ipaddr", ip}}}};
}

}  // namespace

PortalClient::PortalClient(int timeoutSeconds, const std::string& runtimeDirectory)
    : timeoutSeconds_(timeoutSeconds), ipc_(ipc_tool_module(), true, 0, runtimeDirectory) {}

bool PortalClient::requestLater(const Json& message, Callback callback) {
    const JsonC object(json_tokener_parse(message.dump().c_str()), json_object_put);
    return ipc_.async_send(
        object.get(), IPC_MODULE_VESTAD, nullptr,
        [callback = std::move(callback), whole = std::make_shared<Json>(Json::object())](
            void* response, void*, int status) {
            const Answer frame = answerOf(response);
            if (frame) {
                join(*whole, *frame);
            }
            if (status != IPC_MORE_FOLLOWS) {
                whole->erase("more");
                callback(frame ? Answer(std::move(*whole)) : std::nullopt);
            }
        },
        timeoutSeconds_);
}

PortalClient::Answer PortalClient::request(const Json& message) {
    const auto answer = std::make_shared<std::promise<Answer>>();
    std::future<Answer> future = answer->get_future();
    if (!requestLater(message, [answer](const Answer& given) { answer->set_value(given); })) {
        return std::nullopt;
    }
    return future.get();
}

PortalClient::Answer PortalClient::validateIp(const std::string& ip) {
    return request(addressed("validate-ip", ip));
}

Json PortalClient::validateRequest(const std::string& ip, const std::string& login,
                                   const std::string& password) {
    Json message = addressed("validate", ip);
    message["params"]["login"] = login;
    message["params"]["password"] = password;
    return message;
}

PortalClient::Answer PortalClient::validate(const std::string& ip, const std::string& login,
                                            const std::string& password) {
    return request(validateRequest(ip, login, password));
}

PortalClient::Answer PortalClient::update(const std::string& ip, const std::string& scenario,
                                          const Json& constraints) {
    Json message = addressed("update", ip);
    message["params"].update(constraints);
    message["params"]["cur-scenario-id"] = scenario;
    return request(message);
}

PortalClient::Answer PortalClient::updateScenario(const std::string& ip, const Json& scenarios,
                                                  const Json& whiteLists) {
    Json message = addressed("update-scenario", ip);
    message["params"]["scenarios"] = scenarios;
    if (!whiteLists.is_null()) {
        message["params"]["permitted-ip-list"] = whiteLists;
    }
    return request(message);
}

PortalClient::Answer PortalClient::redirectParams(const std::string& ip) {
    return request({{"command", "get-redirect-params"}, {"client", ip}});
}

PortalClient::Answer PortalClient::status() {
    return request({{"command", "get"}});
}

PortalClient::Answer PortalClient::scenarios(const std::string& mac, const std::string& ssid) {
    Json message{{"command", "get-scenarios"}};
    if (!mac.empty() && !ssid.empty()) {
        message["mac"] = mac;
        message["ssid"] = ssid;
    }
    return request(message);
}

PortalClient::Answer PortalClient::deleteClient(const std::string& interface,
                                                const std::string& mac) {
    return request({{"command", "cp-del-client"}, {"interface", interface}, {"mac", mac}});
}

}  // namespace tools
