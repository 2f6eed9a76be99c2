#include <poll.h>

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

// A client made while the loop runs on a thread of its own.
class EventLoopThread : public ClientTest {
protected:
    ~EventLoopThread() override {
        librad_eloop_stop();
        thread_.join();
    }

    static librad_radius_rx_result answerSlowly(librad_radius_msg*, librad_radius_msg*,
                                                unsigned char*, unsigned int, void* context) {
        auto* self = static_cast<EventLoopThread*>(context);
        self->entered_.set_value();
        self->mayLeave_.get_future().wait();
        self->left_ = true;
        return LIBRAD_RADIUS_RX_ACCEPT;
    }

    std::promise<void> entered_;
    std::promise<void> mayLeave_;
    std::atomic<bool> left_{false};
    std::thread thread_{&librad_eloop_run};  // there is nothing yet to be watched
};

TEST_F(EventLoopThread, EndsAClientOnlyBetweenItsCallbacks) {
    makeClient();
    librad_radius_client_set_handler(client_, answerSlowly, this);
    send();
    const Packet packet = await(server_).value();
    server_.send(makeAnswer(packet, 2), packet.from);
    entered_.get_future().wait();
    send();  // nothing is held while the owner is called
    std::promise<void> ending;
    std::thread other([&] {
        ending.set_value();
        end();
        EXPECT_TRUE(left_);
    });
    ending.get_future().wait();
    mayLeave_.set_value();
    other.join();
}

// Three seconds ahead for every thread but the one that made it.
struct ClockAheadElsewhere : Clock {
    ClockAheadElsewhere() { setClock(this); }
    ~ClockAheadElsewhere() override { setClock(nullptr); }
    std::int64_t monotonicMicroseconds() const override {
        return std::this_thread::get_id() == here ? 1000000 : 4000000;
    }
    std::int64_t wallMicroseconds() const override { return 0; }
    const std::thread::id here = std::this_thread::get_id();
};

class EventLoopAhead : private ClockAheadElsewhere, public EventLoopThread {};

TEST_F(EventLoopAhead, WakesForADeadlineSetWhileItWaits) {
    makeClient();
    poll(nullptr, 0, 50);  // by now the loop sleeps
    send();
    EXPECT_TRUE(await(server_));
    EXPECT_TRUE(await(server_));  // the repetition, at once by the loop's clock
    end();
}

TEST(EventLoop, ObeysAStopThatCameBeforeTheRun) {
    librad_eloop_stop();
    librad_eloop_run();
}

}  // namespace
}  // namespace ostrel::testing
