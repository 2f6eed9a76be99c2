#include <poll.h>

#include <atomic>
#include <future>
#include <thread>

#include "support.h"

namespace ostrel::testing {
namespace {

// Waits for a datagram that another thread is about to cause.
std::optional<Packet> await(const Peer& peer) {
    for (int i = 0; i < 5000; ++i) {
        if (auto packet = peer.receive()) {
            return packet;
        }
        poll(nullptr, 0, 1);
    }
    return std::nullopt;
}

struct Owner {
    std::promise<void> entered;
    std::promise<void> mayLeave;
    std::atomic<bool> left{false};
};

librad_radius_rx_result answerSlowly(librad_radius_msg*, librad_radius_msg*, unsigned char*,
                                     unsigned int, void* context) {
    auto* owner = static_cast<Owner*>(context);
    owner->entered.set_value();
    owner->mayLeave.get_future().wait();
    owner->left = true;
    return LIBRAD_RADIUS_RX_ACCEPT;
}

class EventLoopThread : public ::testing::Test {
public:
    ~EventLoopThread() override {
        librad_eloop_stop();
        thread_.join();
    }

    static librad_radius_client* makeClient(const Peer& server) {
        librad_radius_client_config config;
        config.authServers.push_back({"127.0.0.1", server.port(), librad_secret(kSecret)});
        return librad_radius_client_init(&config);
    }

    static void send(librad_radius_client* client) {
        Message msg = accessRequest(librad_radius_client_get_id(client));
        ASSERT_EQ(librad_radius_client_send(client, msg.get(), LIBRAD_RADIUS_AUTH, nullptr), 0);
        static_cast<void>(msg.release());
    }

    std::thread thread_{&librad_eloop_run};  // there is nothing yet to be watched
};

TEST_F(EventLoopThread, TakesInAClientMadeLaterAndEndsItOnlyBetweenItsCallbacks) {
    const Peer server;
    librad_radius_client* client = makeClient(server);
    Owner owner;
    librad_radius_client_set_handler(client, &answerSlowly, &owner);
    send(client);
    const auto packet = await(server);
    ASSERT_TRUE(packet);
    server.send(makeAnswer(*packet, 2), packet->from);
    owner.entered.get_future().wait();
    // Nothing is held while the owner is called.
    send(client);
    std::promise<void> deiniting;
    std::thread ending([&] {
        deiniting.set_value();
        librad_radius_client_deinit(client);
        EXPECT_TRUE(owner.left);
    });
    deiniting.get_future().wait();
    owner.mayLeave.set_value();
    ending.join();
}

// Three seconds ahead for every thread but the one that made it.
class ClockAheadElsewhere final : public Clock {
public:
    ClockAheadElsewhere() { setClock(this); }
    ~ClockAheadElsewhere() override { setClock(nullptr); }
    std::int64_t monotonicMicroseconds() const override {
        return std::this_thread::get_id() == here_ ? 1000000 : 4000000;
    }
    std::int64_t wallMicroseconds() const override { return 0; }

private:
    const std::thread::id here_ = std::this_thread::get_id();
};

TEST(EventLoop, WakesForADeadlineSetWhileItWaits) {
    const ClockAheadElsewhere clock;
    std::thread thread(&librad_eloop_run);
    const Peer server;
    librad_radius_client* client = EventLoopThread::makeClient(server);
    EventLoopThread::send(client);
    EXPECT_TRUE(await(server));
    EXPECT_TRUE(await(server));  // the repetition, at once by the loop's clock
    librad_radius_client_deinit(client);
    librad_eloop_stop();
    thread.join();
}

TEST(EventLoop, ObeysAStopThatCameBeforeTheRun) {
    librad_eloop_stop();
    librad_eloop_run();
}

}  // namespace
}  // namespace ostrel::testing
