#pragma once

// A real broker on a port of loopback that nobody else has.

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "platform/support.h"
#include "support/child_process.h"

namespace vesta::testing {

class Broker {
public:
    // Its configuration is kept in `directory`.
    explicit Broker(const std::string& directory) : configuration_(directory + "/mosquitto.conf") {
        ostrel::testing::writeFile(configuration_,
                                   "listener " + port_ +
                                       " 127.0.0.1\nallow_anonymous true\npersistence false\n"
                                       "max_queued_messages 0\nlog_type error\nlog_type warning\n");
    }

    static bool possible() { return access(kProgram, X_OK) == 0; }

    void start() { process_.start({kProgram, "-c", configuration_}); }
    // Keeps `payload` at `topic`, as any client can.
    void retain(const std::string& topic, const std::string& payload) const {
        const std::string file = configuration_ + ".payload";
        ostrel::testing::writeFile(file, payload);
        int status = 1;
        // A broker that has just been started may not listen yet.
        for (int i = 0; status != 0 && i < 100; ++i) {
            ChildProcess client;
            client.start({"mosquitto_pub", "-p", port_, "-r", "-t", topic, "-f", file});
            status = client.end(0);
            usleep(status == 0 ? 0 : 100000);
        }
        EXPECT_EQ(status, 0) << topic;
    }
    // It forgets what it held.
    void stop() { EXPECT_EQ(process_.end(SIGTERM), 0); }
    [[nodiscard]] const std::string& port() const { return port_; }

private:
    static constexpr const char* kProgram = "/usr/sbin/mosquitto";

    const std::string port_ = std::to_string(freePort());
    const std::string configuration_;
    ChildProcess process_;
};

}  // namespace vesta::testing
