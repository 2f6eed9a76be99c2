#include "radius_load.h"

#include <stdexcept>

#include "core/json_entry.h"
#include "core/singleton.h"
#include "radius/radius_listener.h"
#include "radius_client.h"
#include "stations.h"
#include "support/factory_file.h"
#include "support/test_client.h"

namespace vesta::bench {
namespace {

// Longer than a request is tried.
constexpr std::chrono::seconds kPatience{40};

}  // namespace

RadiusLoad::RadiusLoad(std::uint16_t port, const std::string& secret) {
    const auto config = std::make_shared<JsonEntry>(
        R"({"domain": "", "auth-address": "127.0.0.1", "auth-port": )" + std::to_string(port) +
        R"(, "auth-password": ")" + secret +
        R"(", "acct-address": "", "acct-port": 0, "acct-password": ""})");
    worker_ =
        std::make_shared<RadiusWorker>(config, "lo", RADIUS_WORKMODE_AUTHENTICATION,
                                       AUTH_MODE_PORTAL_MAC, "bench", std::chrono::seconds(0));
    worker_->addAuthPacketHandler(this, onAnswer);
}

RadiusLoad::~RadiusLoad() {
    worker_->close();
    Singleton<RadiusListener>::getInstance().stop();
}

void RadiusLoad::addStations(std::size_t until) {
    for (std::size_t i = clients_.size(); i < until; ++i) {
        clients_.push_back(testing::makeClient(owner_, 0, 0, ipOf(i), macOf(i)));
        clients_.back()->setLogin(radiusNameOf(i));
        clients_.back()->setPassword(kRadiusPassword);
    }
}

RadiusLoad::Result RadiusLoad::run(std::size_t count, std::size_t stations) {
    addStations(stations);
    ended_ = {};
    std::future<Clock::time_point> ended = ended_.get_future();
    undecided_ = count;
    unasked_ = count - stations;
    const Clock::time_point start = Clock::now();
    for (std::size_t i = 0; i < stations; ++i) {
        if (!worker_->sendAuthPacket(clients_[i], clients_[i]->getLogin())) {
            throw std::runtime_error("a request can't be sent");
        }
    }
    for (std::size_t before = count + 1; before != undecided_;) {
        before = undecided_;
        if (ended.wait_for(kPatience) == std::future_status::ready) {
            return {std::chrono::duration<double>(ended.get() - start).count(), 0};
        }
    }
    return {std::chrono::duration<double>(Clock::now() - start).count(), undecided_};
}

librad_radius_rx_result RadiusLoad::onAnswer(librad_radius_msg* msg, librad_radius_msg* request,
                                             unsigned char* secret, unsigned int length,
                                             void* self) {
    RadiusLoad& load = *static_cast<RadiusLoad*>(self);
    const auto [result, decision] = load.worker_->receiveMessage(msg, request, secret, length);
    if (const auto* const accepted = std::get_if<AccessAccepted>(&decision)) {
        load.onDecided(accepted->client);
    }
    return result;
}

void RadiusLoad::onDecided(const std::shared_ptr<Client>& client) {
    if (unasked_ > 0) {
        --unasked_;
        worker_->sendAuthPacket(client, client->getLogin());
    }
    if (--undecided_ == 0) {
        ended_.set_value(Clock::now());
    }
}

}  // namespace vesta::bench
