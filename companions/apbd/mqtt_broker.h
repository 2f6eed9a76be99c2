#pragma once

// The connection to the MQTT broker (MQTT 5.0; QoS 0, since a publication is confirmed by its
// coming round, and QoS 1 for the marker). It is made anew with back-off for as long as it takes.
// The broker is asked to keep the session for a week, so that it can say whether it has lost its
// state meanwhile.
//
// Threads: the operations from any; one thread of its own runs the protocol and posts what arrives.

#include <mosquitto.h>

#include <chrono>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "apbd/loop.h"
#include "apbd/sides.h"
#include "ostrel/mutex.h"

namespace apbd {

struct BrokerOptions {
    std::string host = "127.0.0.1";
    int port = 0;  // 0: 1883, or 8883 with TLS
    std::string user;
    std::string password;
    std::string caFile;  // TLS when it is given
    std::string certFile;
    std::string keyFile;
};

class MqttBroker final : public BrokerSide {
public:
    // Throws std::runtime_error when the TLS files or the credentials can't be used.
    MqttBroker(Loop& loop, BrokerOptions options, const std::string& clientId);
    ~MqttBroker() override;
    MqttBroker(const MqttBroker&) = delete;
    MqttBroker& operator=(const MqttBroker&) = delete;

    void start();
    // Says good-bye to the broker. False when the thread does not end within `patience`: it may be
    // waiting for an address or a connection, and then the object can't be destroyed.
    [[nodiscard]] bool stop(std::chrono::milliseconds patience) EXCLUDES(mutex_);

    void subscribe(const std::string& marker, const std::vector<std::string>& filters) override
        EXCLUDES(mutex_);
    void lookAt(const std::vector<std::string>& topics) override EXCLUDES(mutex_);
    void publish(const std::string& topic, const std::string& payload,
                 std::uint32_t lifetime) override;
    void mark(const std::string& marker, const std::string& payload) override;

private:
    struct Release {
        void operator()(mosquitto* client) const { mosquitto_destroy(client); }
    };

    static void onConnect(mosquitto*, void* self, int code, int flags, const mosquitto_property*);
    static void onSubscribe(mosquitto*, void* self, int id, int count, const int* granted,
                            const mosquitto_property*);
    static void onMessage(mosquitto*, void* self, const mosquitto_message* message,
                          const mosquitto_property* properties);
    static void onLog(mosquitto*, void* self, int level, const char* text);

    void setUp();
    void subscribeAwaited(std::vector<std::string> topics) REQUIRES(mutex_);
    void publish(const std::string& topic, const std::string& payload, int quality, bool retain,
                 const mosquitto_property* properties);
    void run() EXCLUDES(mutex_);
    int connect();
    bool isStopping() EXCLUDES(mutex_);
    bool pause(std::chrono::milliseconds length) EXCLUDES(mutex_);

    Loop& loop_;
    const BrokerOptions options_;
    const std::unique_ptr<mosquitto, Release> client_;
    bool isUp_ = false;  // the protocol's thread alone
    std::thread thread_;

    ostrel::Mutex mutex_;
    ostrel::CondVar changed_;
    bool stopping_ GUARDED_BY(mutex_) = false;
    bool ended_ GUARDED_BY(mutex_) = true;
    int awaitedId_ GUARDED_BY(mutex_) = 0;
    std::set<std::string> filters_ GUARDED_BY(mutex_);
    std::vector<std::string> looked_ GUARDED_BY(mutex_);
};

}  // namespace apbd
