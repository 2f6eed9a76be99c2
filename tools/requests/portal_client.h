#pragma once

// The requests of the web portal, of the HTTP proxy and of the status tools: each is sent to the
// daemon as a tool on the bus, and its answer is matched to it by its context.
//
// The sender number of a tool comes from its process id, so a process uses one object of this class
// a bus at a time; a second one's answers could go astray.
//
// Threads: every function may be called from any thread. Callbacks are made on the bus's delivery
// thread and must not wait for another answer.

#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "ostrel/ipc.h"

namespace tools {

using Json = nlohmann::json;

class PortalClient {
public:
    using Answer = std::optional<Json>;
    using Callback = std::function<void(const Answer&)>;

    // Throws std::runtime_error when the bus directory can't be made. `timeoutSeconds` is how long
    // an answer is waited for.
    explicit PortalClient(int timeoutSeconds = 5,
                          const std::string& runtimeDirectory = ostrel::runtimeDirectory());

    // Sends `message` (an object; "context" is put in by the bus) and waits for the answer, which
    // is put together where it comes in several frames. Nothing when the daemon isn't there or gave
    // none in time.
    Answer request(const Json& message);
    // The same without waiting; `callback` gets nothing after the time. False, and no callback,
    // when the daemon isn't there.
    bool requestLater(const Json& message, Callback callback);

    Answer validateIp(const std::string& ip);
    Answer validate(const std::string& ip, const std::string& login, const std::string& password);
    // Makes the scenario named `scenario` current; `constraints` are members beside it, such as
    // {"transmit-maximum-speed": 512}.
    Answer update(const std::string& ip, const std::string& scenario,
                  const Json& constraints = Json::object());
    // Appends `scenarios` (an array of scenario objects); `whiteLists` is the array
    // "permitted-ip-list", left out when null.
    Answer updateScenario(const std::string& ip, const Json& scenarios,
                          const Json& whiteLists = nullptr);
    Answer redirectParams(const std::string& ip);
    // "get": every client and instance.
    Answer status();
    // "get-scenarios": of every client, or of one when both texts are given.
    Answer scenarios(const std::string& mac = "", const std::string& ssid = "");
    // "cp-del-client".
    Answer deleteClient(const std::string& interface, const std::string& mac);

    // The "validate" request, for requestLater().
    static Json validateRequest(const std::string& ip, const std::string& login,
                                const std::string& password);

private:
    const int timeoutSeconds_;
    IpcInterface ipc_;
};

}  // namespace tools
