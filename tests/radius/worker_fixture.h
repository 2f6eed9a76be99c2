#pragma once

// A worker and the server that it asks. The event loop is driven by the test, on the test's thread.

#include <gtest/gtest.h>

#include <memory>
#include <string>
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
        Singleton<RadiusListener>::getInstance().stop();
    }

    std::shared_ptr<Client> newClient(const std::string& login = "bob") {
        const auto client = makeClient(owner_);
        client->setLogin(login);
        client->setPassword("hello");
        client->setRadiusSta(RadiusWorker::createSta());
        clients_.push_back(client);
        return client;
    }

    // The request that has just been sent; fails the test when there is none.
    rad::Packet request() {
        librad_eloop_step();
        return server_.receive().value();
    }
    bool isSilent() {
        librad_eloop_step();
        return !server_.receive().has_value();
    }

    FakeClock clock_;
    rad::Peer server_;
    FakePortalInstance owner_;
    std::vector<std::shared_ptr<Client>> clients_;
    std::shared_ptr<RadiusWorker> worker_;
};

}  // namespace vesta::testing
