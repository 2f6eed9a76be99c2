#pragma once

// A redirector module in a runtime directory of one's own. It takes every request, writes it down
// as it came over the wire, and answers with success.

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "kernel/recording_portal.h"
#include "platform/modules/fake_server.h"
#include "support/fake_portal_instance.h"
#include "support/test_client.h"

namespace vesta::testing {

using ostrel::testing::word;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class AnsweringRedirector {
public:
    explicit AnsweringRedirector(const std::string& path)
        : server_(path), thread_([this] { serve(); }) {}
    // The user of the module ends its connection before.
    ~AnsweringRedirector() { thread_.join(); }
    AnsweringRedirector(const AnsweringRedirector&) = delete;
    AnsweringRedirector& operator=(const AnsweringRedirector&) = delete;

    // Ends the connection, on which something has been requested.
    void hangUp() { shutdown(server_.connection.get(), SHUT_RDWR); }
    // The requests since the last call, once there are `count` of them.
    std::vector<std::string> take(std::size_t count = 0) { return requests_.take(count); }

private:
    void serve() {
        server_.accept();
        for (std::string request = server_.receive(); !request.empty();
             request = server_.receive()) {
            // The worker asks for the proxy when it has nothing else to do.
            if (request != word(6)) {
                requests_.add(request);
            }
            server_.send(word(0) + answerTo(request));
        }
    }

    // The proxy is 192.168.1.1, every gateway 10.0.0.254.
    static std::string answerTo(const std::string& request) {
        if (request == word(6)) {
            return "\xc0\xa8\x01\x01";
        }
        if (request.compare(0, 4, word(25)) == 0) {
            return std::string(48, '\0') + std::string("\x0a\x00\x00\xfe", 4);
        }
        return "";
    }

    ostrel::testing::FakeServer server_;
    Collected<std::string> requests_;
    std::thread thread_;
};

inline std::string zeros(std::size_t count) {
    return std::string(count, '\0');
}

// The record of the test client on the fake instance.
inline std::string clientRecordBytes() {
    return "\x0a\x1b\x2c\x3d\x4e\x5f"
           "wlan0-va1" +
           zeros(7) + zeros(20) + "\x0a\x01\x02\x03";
}

class RedirectorTest : public ostrel::testing::ModulesTest {
protected:
    RedirectorTest() { startModule(); }

    void startModule() { module = std::make_unique<AnsweringRedirector>(path("redirector")); }

    // Another module takes the place of the one that is there, and of its memory.
    void restartModule() {
        module->hangUp();
        startModule();
    }

    RecordingPortal portal;
    std::unique_ptr<AnsweringRedirector> module;
    FakePortalInstance instance;
    std::shared_ptr<Client> client = makeClient(instance);
    ClientStatisticInfo statistics;
};

}  // namespace vesta::testing
