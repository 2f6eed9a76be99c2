#pragma once

// A broker of a few lines with several clients, and access points whose vestad writes down what it
// is told. Nothing happens by itself: run() carries what the clients have sent.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <deque>
#include <map>

#include "apbd/sharing.h"
#include "ostrel/ipc.h"

namespace apbd {

class FakeBroker {
public:
    class Client final : public BrokerSide {
    public:
        explicit Client(FakeBroker& broker) : broker_(broker) { broker.clients_.push_back(this); }
        ~Client() override {
            auto& all = broker_.clients_;
            all.erase(std::find(all.begin(), all.end(), this));
        }
        Client(const Client&) = delete;
        Client& operator=(const Client&) = delete;

        void subscribe(const std::string& marker,
                       const std::vector<std::string>& filters) override {
            std::vector<std::string> all = filters;
            all.push_back(marker);
            broker_.uplink_.push_back({this, all, "", "", false});
        }
        void lookAt(const std::vector<std::string>& topics) override {
            broker_.uplink_.push_back({this, topics, "", "", true});
        }
        void publish(const std::string& topic, const std::string& payload,
                     std::uint32_t lifetime) override {
            broker_.uplink_.push_back({this, {}, topic, payload, true, lifetime});
        }
        void mark(const std::string& marker, const std::string& payload) override {
            broker_.uplink_.push_back({this, {}, marker, payload, false});
        }

        Sharing* sharing = nullptr;
        bool connected = false;

    private:
        friend class FakeBroker;
        FakeBroker& broker_;
        std::vector<std::string> filters_;
    };

    void connect(Client& client, bool keptState) {
        client.connected = true;
        client.sharing->brokerConnected(keptState);
    }
    // What the client has sent and nobody has carried is lost.
    void disconnect(Client& client) {
        client.connected = false;
        dropUplink([&](const Sent& sent) { return sent.from == &client; });
        client.sharing->brokerDisconnected();
    }
    // Messages on the way to the broker that get lost.
    void losePublications() {
        dropUplink([](const Sent& sent) { return sent.filters.empty(); });
    }
    void run() {
        while (step()) {
        }
    }
    // One message; false when none waits.
    bool step() {
        if (uplink_.empty()) {
            return false;
        }
        const Sent sent = uplink_.front();
        uplink_.pop_front();
        carry(sent);
        return true;
    }

    std::map<std::string, std::string> retained;
    // Retained messages that one subscription gets; others are dropped.
    std::size_t queue = 1000000;

private:
    struct Sent {
        Client* from;
        std::vector<std::string> filters;
        std::string topic;
        std::string payload;
        bool retain;  // of filters: only to look
        std::uint32_t lifetime = 0;
    };

    template <class Which>
    void dropUplink(Which which) {
        uplink_.erase(std::remove_if(uplink_.begin(), uplink_.end(), which), uplink_.end());
    }

    static bool matches(const std::string& filter, const std::string& topic) {
        return filter.back() == '#'
                   ? topic.compare(0, filter.size() - 1, filter, 0, filter.size() - 1) == 0
                   : topic == filter;
    }
    static bool matchesAny(const std::vector<std::string>& filters, const std::string& topic) {
        return std::any_of(filters.begin(), filters.end(),
                           [&](const std::string& one) { return matches(one, topic); });
    }

    void carry(const Sent& sent) {
        if (!sent.from->connected) {
            return;
        }
        if (!sent.filters.empty()) {
            if (!sent.retain) {
                sent.from->filters_ = sent.filters;
            }
            std::size_t room = queue;
            for (const auto& [topic, payload] : retained) {
                if (matchesAny(sent.filters, topic) && room > 0) {
                    --room;
                    sent.from->sharing->received(topic, payload, 0);
                }
            }
            sent.from->sharing->subscribed();
            return;
        }
        if (sent.retain && sent.payload.empty()) {
            retained.erase(sent.topic);
        } else if (sent.retain) {
            retained[sent.topic] = sent.payload;
        }
        for (Client* const client : clients_) {
            if (client->connected && matchesAny(client->filters_, sent.topic)) {
                client->sharing->received(sent.topic, sent.payload, sent.lifetime);
            }
        }
    }

    std::vector<Client*> clients_;
    std::deque<Sent> uplink_;
};

class FakeBus final : public BusSide {
public:
    bool send(const std::string& text, int module) override {
        if (takes && module == IPC_MODULE_VESTAD) {
            told.push_back(Json::parse(text));
        }
        return takes;
    }

    bool takes = true;
    std::vector<Json> told;
};

inline std::string macOf(std::size_t number) {
    char mac[18];
    std::snprintf(mac, sizeof mac, "02:00:00:00:%02x:%02x",
                  static_cast<unsigned>(number >> 8 & 255), static_cast<unsigned>(number & 255));
    return mac;
}

inline Json userOf(const std::string& mac, const std::string& domain = "hall") {
    return {{"sta-mac", mac},
            {"ssid", "Guest"},
            {"mobility-domain", domain},
            {"user-name", "anna"},
            {"cur-scenario-id", 0},
            {"cur-session-time", 100},
            {"cur-time-limit", 60},
            {"cur-traffic-limit", 5},
            {"simultaneous-use", 1},
            {"scenario", Json::array({{{"ID", 0}, {"time-limit", 3600}}})}};
}

// One access point: its apbd's logic between its vestad and the broker.
struct AccessPoint {
    AccessPoint(FakeBroker& broker, const char* itsName, const char* itsMac)
        : name(itsName),
          mac(itsMac),
          client(broker),
          sharing(bus, client, "root", name, 24 * 3600) {
        client.sharing = &sharing;
    }

    void request(const Json& text) { sharing.handleRequest(text.dump(), IPC_MODULE_VESTAD); }
    void subscribe() {
        request({{"cmd", "subscribe-request"},
                 {"ap-mac", mac},
                 {"mobility-domain-list",
                  {{{"ssid", "Guest"}, {"radius-domain", "r"}, {"mobility-domain", "hall"}}}}});
    }
    void add(const Json& user) { request({{"cmd", "add-request"}, {"user", user}}); }
    void update(Json user, const std::string& action) {
        user.erase("scenario");
        request({{"cmd", "update-request"}, {"action", action}, {"user", user}});
    }
    void remove(const Json& user, const std::string& reason) {
        request({{"cmd", "del-request"}, {"user", user}, {"reason", reason}});
    }

    // What vestad was told since the last call, a line a message.
    std::vector<std::string> told() {
        std::vector<std::string> lines;
        for (const Json& message : bus.told) {
            lines.push_back(lineOf(message));
        }
        bus.told.clear();
        return lines;
    }

    const std::string name;
    const std::string mac;
    FakeBus bus;
    FakeBroker::Client client;
    Sharing sharing;

private:
    // The command, with the action, a failure, the user who is added, or how much state it holds.
    static std::string lineOf(const Json& message) {
        std::string line = textOf(message, "command");
        if (message.contains("action")) {
            line += " " + textOf(message, "action");
            EXPECT_FALSE(message["user"][0].contains("scenario")) << "an update is never whole";
        } else if (textOf(message, "status") == "failed") {
            line += " failed";
        } else if (line == "add-notify") {
            line += " " + textOf(message["user"][0], "user-name");
            EXPECT_TRUE(message["user"][0].contains("scenario")) << "not whole";
        } else if (line == "subscribe-response") {
            line += " " + std::to_string(message.value("user", Json::array()).size());
            for (const Json& list : message.value("permitted-ip-list", Json::array())) {
                line += " " + textOf(list, "permitted-ip");
            }
        }
        return line;
    }
};

}  // namespace apbd
