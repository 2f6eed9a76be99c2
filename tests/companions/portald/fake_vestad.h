#pragma once

// A vestad on the bus: it knows the stations that a test gives it, and lets them in by password.

#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "ostrel/mutex.h"
#include "support/bus_peer.h"

namespace portald::testing {

using Json = nlohmann::json;

struct Guest {
    Guest() = default;
    explicit Guest(const char* itsMac) : mac(itsMac) {}

    std::string mac;
    std::string url = "/login";  // where it is to go while it has no access
    std::string portalName = "cafe";
    bool admitted = false;
    std::string login;
    std::string endReason;
    Json limits = Json::object();  // members of its current scenario
    int looksUntilAdmitted = -1;   // "validate-ip" requests; -1: never
};

class FakeVestad {
public:
    static constexpr const char* kAddress = "127.0.0.1";  // the access point's

    FakeVestad() { start(); }

    void start() {
        using Answer = vesta::testing::BusPeer::Answer;
        std::map<std::string, Answer> answers;
        const auto add = [&](const char* command, Json (FakeVestad::*handle)(const Json&)) {
            answers[command] = [this, handle](const std::string& text) {
                const Json request = Json::parse(text);
                const ostrel::MutexLock lock(mutex_);
                Json answer = (this->*handle)(request);
                answer["context"] = request["context"];
                return answer.dump();
            };
        };
        add("validate-ip", &FakeVestad::validateIp);
        add("validate", &FakeVestad::validate);
        add("update", &FakeVestad::update);
        add("get", &FakeVestad::get);
        add("get-scenarios", &FakeVestad::getScenarios);
        add("cp-del-client", &FakeVestad::remove);
        peer_ = std::make_unique<vesta::testing::BusPeer>(IPC_MODULE_VESTAD,
                                                          std::vector<std::string>{}, answers);
    }
    void die() { peer_.reset(); }

    void put(const std::string& ip, const Guest& guest) {
        const ostrel::MutexLock lock(mutex_);
        guests_[ip] = guest;
    }
    // The last message with this command; null when there was none.
    Json told(const std::string& command) {
        const ostrel::MutexLock lock(mutex_);
        return told_[command];
    }
    // The same, once there is one.
    Json awaitTold(const std::string& command) {
        for (int i = 0; i < 500 && told(command).is_null(); ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return told(command);
    }

private:
    Guest* find(const Json& request) REQUIRES(mutex_) {
        told_[request["command"]] = request;
        const auto found = guests_.find(request["params"]["ipaddr"].get<std::string>());
        return found != guests_.end() ? &found->second : nullptr;
    }
    Json validateIp(const Json& request) REQUIRES(mutex_) {
        Guest* const guest = find(request);
        if (guest == nullptr) {
            return {{"result", 0}, {"reason", "Client not found"}};
        }
        if (guest->looksUntilAdmitted >= 0 && guest->looksUntilAdmitted-- == 0) {
            guest->admitted = true;
        }
        Json params = {{"status", 1},
                       {"cli-mac", guest->mac},
                       {"cli-ip", request["params"]["ipaddr"]},
                       {"ssid", "Guest <&>"},
                       {"cli-login", guest->login},
                       {"end-reason", guest->endReason},
                       {"nas-ip", kAddress}};
        if (!guest->admitted) {
            params["url"] = guest->url;
            params["virtual-portal-name"] = guest->portalName;
        }
        return {{"result", 1}, {"params", params}};
    }
    Json validate(const Json& request) REQUIRES(mutex_) {
        if (Guest* const guest = find(request)) {
            const std::string password = request["params"]["password"];
            guest->login = request["params"]["login"];
            guest->admitted = password == "right" || password == "accepted";
            guest->looksUntilAdmitted = password == "slow" ? 3 : -1;
            if (password == "wrong") {  // as after a RADIUS server's reject
                guests_.erase(request["params"]["ipaddr"].get<std::string>());
            }
        }
        return {{"result", 1}};
    }
    Json update(const Json& request) REQUIRES(mutex_) {
        find(request)->admitted = true;
        return {{"result", 1}};
    }
    Json get(const Json&) REQUIRES(mutex_) {
        Json clients = Json::object();
        for (const auto& [ip, guest] : guests_) {
            clients[std::to_string(clients.size())] = {
                {"mac", guest.mac}, {"ip", ip}, {"ssid", "Guest <&>"}, {"interface", "wlan0-va1"}};
        }
        return {{"result", 1}, {"value", {{"clients", clients}}}};
    }
    Json getScenarios(const Json& request) REQUIRES(mutex_) {
        Json stations = Json::object();
        for (const auto& [ip, guest] : guests_) {
            if (guest.mac == request["mac"]) {
                Json current = guest.limits;
                current["ID"] = -1;
                stations["0"] = {{"scenario-id-cur", -1},
                                 {"scenario", {{{"ID", -2}, {"traffic-limit", 7}}, current}}};
            }
        }
        return {{"result", 1}, {"value", stations}};
    }
    Json remove(const Json& request) REQUIRES(mutex_) {
        told_["cp-del-client"] = request;
        return Json::object();
    }

    ostrel::Mutex mutex_;
    std::map<std::string, Guest> guests_ GUARDED_BY(mutex_);
    std::map<std::string, Json> told_ GUARDED_BY(mutex_);
    std::unique_ptr<vesta::testing::BusPeer> peer_;
};

}  // namespace portald::testing
