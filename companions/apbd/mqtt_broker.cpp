#include "apbd/mqtt_broker.h"

#include <mqtt_protocol.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <initializer_list>
#include <stdexcept>
#include <utility>

#include "apbd/record.h"
#include "ostrel/runtime.h"

namespace apbd {
namespace {

using ostrel::LogLevel;
using Milliseconds = std::chrono::milliseconds;

constexpr int kKeepAliveSeconds = 30;
constexpr std::uint32_t kSessionSeconds = 7 * 24 * 3600;
// The broker keeps larger packets to itself: a payload, a topic of at most 65,535 bytes, the rest.
constexpr std::uint32_t kMostPacket = kPublicationBounds.bytes + (66 << 10);
constexpr int kLoopMilliseconds = 1000;
constexpr Milliseconds kFirstPause{500};
constexpr Milliseconds kLongestPause{30000};

void check(int code, const char* what) {
    if (code != MOSQ_ERR_SUCCESS) {
        throw std::runtime_error(std::string(what) + ": " + mosquitto_strerror(code));
    }
}

const char* orNull(const std::string& text) {
    return text.empty() ? nullptr : text.c_str();
}

// MQTT properties, each with a number.
class Properties {
public:
    Properties(std::initializer_list<std::pair<int, std::uint32_t>> numbers) {
        for (const auto& [identifier, value] : numbers) {
            mosquitto_property_add_int32(&list_, identifier, value);
        }
    }
    ~Properties() { mosquitto_property_free_all(&list_); }
    Properties(const Properties&) = delete;
    Properties& operator=(const Properties&) = delete;

    [[nodiscard]] const mosquitto_property* get() const { return list_; }

private:
    mosquitto_property* list_ = nullptr;
};

}  // namespace

MqttBroker::MqttBroker(Loop& loop, BrokerOptions options, const std::string& clientId)
    : loop_(loop),
      options_(std::move(options)),
      client_((mosquitto_lib_init(), mosquitto_new(clientId.c_str(), false, this))) {
    if (client_ == nullptr) {
        throw std::runtime_error("no MQTT client: " + std::string(std::strerror(errno)));
    }
    setUp();
}

void MqttBroker::setUp() {
    mosquitto* const client = client_.get();
    check(mosquitto_threaded_set(client, true), "threads");
    check(mosquitto_int_option(client, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5), "MQTT 5.0");
    check(mosquitto_int_option(client, MOSQ_OPT_TCP_NODELAY, 1), "TCP_NODELAY");
    if (!options_.user.empty()) {
        check(mosquitto_username_pw_set(client, options_.user.c_str(), orNull(options_.password)),
              "user and password");
    }
    if (!options_.caFile.empty()) {
        check(mosquitto_tls_set(client, options_.caFile.c_str(), nullptr, orNull(options_.certFile),
                                orNull(options_.keyFile), nullptr),
              "TLS files");
    }
    mosquitto_connect_v5_callback_set(client, onConnect);
    mosquitto_subscribe_v5_callback_set(client, onSubscribe);
    mosquitto_message_v5_callback_set(client, onMessage);
    mosquitto_log_callback_set(client, onLog);
}

MqttBroker::~MqttBroker() {
    if (thread_.joinable()) {
        static_cast<void>(stop(Milliseconds(0)));
        thread_.join();
    }
}

void MqttBroker::start() {
    {
        const ostrel::MutexLock lock(mutex_);
        ended_ = false;
    }
    thread_ = std::thread([this] { run(); });
}

bool MqttBroker::stop(Milliseconds patience) {
    {
        const ostrel::MutexLock lock(mutex_);
        stopping_ = true;
        changed_.notifyAll();
    }
    const Properties forgetSession{{MQTT_PROP_SESSION_EXPIRY_INTERVAL, 0}};
    mosquitto_disconnect_v5(client_.get(), MQTT_RC_NORMAL_DISCONNECTION, forgetSession.get());
    const auto deadline = std::chrono::steady_clock::now() + patience;
    const ostrel::MutexLock lock(mutex_);
    while (!ended_ && std::chrono::steady_clock::now() < deadline) {
        changed_.waitFor(mutex_, Milliseconds(20));
    }
    return ended_;
}

void MqttBroker::run() {
    Milliseconds length = kFirstPause;
    bool warned = false;
    do {
        int code = connect();
        // Once it is up, publications under way and the good-bye must still leave.
        while (code == MOSQ_ERR_SUCCESS && (isUp_ || !isStopping())) {
            code = mosquitto_loop(client_.get(), kLoopMilliseconds, 1);
        }
        const char* const reason =
            code == MOSQ_ERR_ERRNO ? std::strerror(errno) : mosquitto_strerror(code);
        if (std::exchange(isUp_, false)) {
            loop_.post([](Sharing& sharing) { sharing.brokerDisconnected(); });
            length = kFirstPause;
            warned = false;
        }
        if (!isStopping()) {
            // One warning for one outage.
            ostrel::report(warned ? LogLevel::debug : LogLevel::warning,
                           "no broker at %s port %d: %s; trying again", options_.host.c_str(),
                           options_.port, reason);
            warned = true;
        }
    } while (pause(std::exchange(length, std::min(length * 2, kLongestPause))));
    const ostrel::MutexLock lock(mutex_);
    ended_ = true;
    changed_.notifyAll();
}

int MqttBroker::connect() {
    const Properties keepSession{{MQTT_PROP_SESSION_EXPIRY_INTERVAL, kSessionSeconds},
                                 {MQTT_PROP_MAXIMUM_PACKET_SIZE, kMostPacket}};
    return mosquitto_connect_bind_v5(client_.get(), options_.host.c_str(), options_.port,
                                     kKeepAliveSeconds, nullptr, keepSession.get());
}

bool MqttBroker::isStopping() {
    const ostrel::MutexLock lock(mutex_);
    return stopping_;
}

// False when it is time to end.
bool MqttBroker::pause(Milliseconds length) {
    const auto deadline = std::chrono::steady_clock::now() + length;
    const ostrel::MutexLock lock(mutex_);
    while (!stopping_ && std::chrono::steady_clock::now() < deadline) {
        changed_.waitFor(mutex_, length);
    }
    return !stopping_;
}

// A request that fails while the broker is away is not kept: Sharing asks again when it is back.
void MqttBroker::subscribe(const std::string& marker, const std::vector<std::string>& filters) {
    const ostrel::MutexLock lock(mutex_);
    const std::set<std::string> wanted(filters.begin(), filters.end());
    for (const std::string& filter : filters_) {
        if (wanted.count(filter) == 0) {
            mosquitto_unsubscribe(client_.get(), nullptr, filter.c_str());
        }
    }
    filters_ = wanted;
    mosquitto_subscribe(client_.get(), nullptr, marker.c_str(), 1);
    subscribeAwaited(filters);
}

void MqttBroker::lookAt(const std::vector<std::string>& topics) {
    const ostrel::MutexLock lock(mutex_);
    for (const std::string& topic : looked_) {
        mosquitto_unsubscribe(client_.get(), nullptr, topic.c_str());
    }
    looked_ = topics;
    subscribeAwaited(topics);
}

void MqttBroker::subscribeAwaited(std::vector<std::string> topics) {
    std::vector<char*> texts;
    texts.reserve(topics.size());
    for (std::string& topic : topics) {
        texts.push_back(topic.data());
    }
    mosquitto_subscribe_multiple(client_.get(), &awaitedId_, static_cast<int>(texts.size()),
                                 texts.data(), 0, 0, nullptr);
}

void MqttBroker::publish(const std::string& topic, const std::string& payload,
                         std::uint32_t lifetime) {
    const Properties expiry{{MQTT_PROP_MESSAGE_EXPIRY_INTERVAL, lifetime}};
    publish(topic, payload, 0, true, payload.empty() ? nullptr : expiry.get());
}

void MqttBroker::mark(const std::string& marker, const std::string& payload) {
    publish(marker, payload, 1, false, nullptr);
}

void MqttBroker::publish(const std::string& topic, const std::string& payload, int quality,
                         bool retain, const mosquitto_property* properties) {
    const int code = mosquitto_publish_v5(client_.get(), nullptr, topic.c_str(),
                                          static_cast<int>(payload.size()), payload.data(), quality,
                                          retain, properties);
    if (code != MOSQ_ERR_SUCCESS && code != MOSQ_ERR_NO_CONN) {
        ostrel::report(LogLevel::warning, "%s can't be published: %s", topic.c_str(),
                       mosquitto_strerror(code));
    }
}

void MqttBroker::onConnect(mosquitto* client, void* self, int code, int flags,
                           const mosquitto_property*) {
    auto& broker = *static_cast<MqttBroker*>(self);
    if (code != 0) {
        ostrel::report(LogLevel::error, "the broker refuses the connection: %s",
                       mosquitto_reason_string(code));
        mosquitto_disconnect(client);
        return;
    }
    broker.isUp_ = true;
    const bool keptState = (flags & 1) != 0;  // session present (MQTT 5.0, section 3.2.2.1.1)
    broker.loop_.post([keptState](Sharing& sharing) { sharing.brokerConnected(keptState); });
}

void MqttBroker::onSubscribe(mosquitto*, void* self, int id, int count, const int* granted,
                             const mosquitto_property*) {
    auto& broker = *static_cast<MqttBroker*>(self);
    if (std::any_of(granted, granted + count, [](int code) { return code >= 128; })) {
        ostrel::report(LogLevel::error, "the broker refuses a subscription");
    }
    const ostrel::MutexLock lock(broker.mutex_);
    if (id == broker.awaitedId_) {
        broker.loop_.post([](Sharing& sharing) { sharing.subscribed(); });
    }
}

void MqttBroker::onMessage(mosquitto*, void* self, const mosquitto_message* message,
                           const mosquitto_property* properties) {
    auto& broker = *static_cast<MqttBroker*>(self);
    std::uint32_t lifetime = 0;
    mosquitto_property_read_int32(properties, MQTT_PROP_MESSAGE_EXPIRY_INTERVAL, &lifetime, false);
    std::string payload(static_cast<const char*>(message->payload),
                        static_cast<std::size_t>(message->payloadlen));
    broker.loop_.post([topic = std::string(message->topic), payload = std::move(payload),
                       lifetime](Sharing& sharing) { sharing.received(topic, payload, lifetime); });
}

void MqttBroker::onLog(mosquitto*, void*, int level, const char* text) {
    if (level == MOSQ_LOG_ERR || level == MOSQ_LOG_WARNING) {
        ostrel::report(LogLevel::warning, "MQTT: %s", text);
    }
}

}  // namespace apbd
