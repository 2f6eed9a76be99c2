#pragma once

// A worker and the server that it asks. The event loop is driven by the test, on the test's thread.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "client/client.h"
#include "core/json_entry.h"
#include "core/singleton.h"
#include "ostrel/librad.h"
#include "platform/librad/support.h"
#include "radius/radius_listener.h"
#include "radius/radius_worker.h"
#include "support/factory_file.h"
#include "support/fake_clock.h"
#include "support/fake_portal_instance.h"
#include "support/test_client.h"

namespace vesta::testing {

namespace rad = ostrel::testing;

class WorkerTest : public ::testing::Test {
protected:
    static constexpr const char* kSecret = "s3cret";

    ~WorkerTest() override {
        for (const auto& client : clients_) {
            RadiusWorker::deleteSta(client->getRadiusSta());
        }
    }

    // `more`: members of the "radius" object, each with a comma before it.
    void build(AUTH_MODE mode, RadiusWorkmode workmode = RADIUS_WORKMODE_AUTHENTICATION,
               const std::string& more = "", const std::string& uplink = "lo") {
        const std::string port = std::to_string(server_.port());
        const auto config = std::make_shared<JsonEntry>(
            R"({"domain": "hall.example", "auth-address": "127.0.0.1", "auth-port": )" + port +
            R"(, "auth-password": "s3cret", "acct-address": "127.0.0.1", "acct-port": )" + port +
            R"(, "acct-password": "s3cret")" + more + "}");
        worker_ = std::make_shared<RadiusWorker>(config, uplink, workmode, mode, "wlan0-va1",
                                                 std::chrono::seconds(0));
        worker_->addAuthPacketHandler(this, handle);
        Singleton<RadiusListener>::getInstance().stop();
    }

    std::shared_ptr<Client> newClient(const std::string& login = "bob",
                                      const std::string& mac = kClientMac) {
        const auto client = makeClient(owner_, 0, 0, kClientIp, mac);
        client->setLogin(login);
        client->setPassword("hello");
        client->setRadiusSta(RadiusWorker::createSta());
        clients_.push_back(client);
        return client;
    }

    static void connect(Client& client) {
        ClientStatisticInfo statistics;
        client.updateStatistic(statistics);
        client.updateConnectStatus();
    }

    // The request that has just been sent; fails the test when there is none.
    rad::Packet request() {
        librad_eloop_step();
        auto packet = server_.receive();
        EXPECT_TRUE(packet.has_value());
        if (!packet) {
            std::abort();
        }
        EXPECT_NE(packet->msg, nullptr);
        return std::move(*packet);
    }
    bool isSilent() {
        librad_eloop_step();
        return !server_.receive().has_value();
    }
    void answer(const rad::Packet& to, std::uint8_t code, const std::string& attributes = "",
                const char* secret = kSecret) {
        server_.deliver(rad::makeAnswer(to, code, rad::Mac::valid, attributes, secret), to.from);
    }
    void answerAccounting(const rad::Packet& to) {
        server_.deliver(rad::makeAnswer(to, LIBRAD_RADIUS_CODE_ACCOUNTING_RESPONSE, rad::Mac::none,
                                        "", kSecret),
                        to.from);
    }
    // What the handler was told since the last call.
    std::vector<std::pair<int, std::shared_ptr<Client>>> told() { return std::exchange(told_, {}); }

    FakeClock clock_;
    rad::Peer server_;
    FakePortalInstance owner_;
    std::vector<std::shared_ptr<Client>> clients_;
    std::shared_ptr<RadiusWorker> worker_;

private:
    static librad_radius_rx_result handle(librad_radius_msg* msg, librad_radius_msg* request,
                                          unsigned char* secret, unsigned int length, void* self) {
        WorkerTest& test = *static_cast<WorkerTest*>(self);
        const auto [result, decision] = test.worker_->receiveMessage(msg, request, secret, length);
        std::shared_ptr<Client> client;
        if (const auto* const accepted = std::get_if<AccessAccepted>(&decision)) {
            client = accepted->client;
        } else if (const auto* const rejected = std::get_if<AccessRejected>(&decision)) {
            client = rejected->client;
        }
        test.told_.emplace_back(result, client);
        return result;
    }

    std::vector<std::pair<int, std::shared_ptr<Client>>> told_;
};

}  // namespace vesta::testing
