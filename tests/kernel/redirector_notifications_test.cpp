#include "core/logger.h"
#include "kernel/redirector_fixture.h"
#include "kernel/redirector_module_worker.h"
#include "ostrel/log.h"

namespace vesta::testing {
namespace {

// The module's side of the notifications.
class Notifier {
public:
    explicit Notifier(const std::string& path)
        : address_(ostrel::testing::addressOf(path)),
          socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {}

    // Waits while the daemon's socket is full.
    void send(const std::string& datagram) {
        EXPECT_EQ(sendto(socket_.get(), datagram.data(), datagram.size(), 0,
                         reinterpret_cast<const sockaddr*>(&address_), sizeof address_),
                  static_cast<ssize_t>(datagram.size()));
    }

    // Station `number` has the addresses 02:00:00:00:x:y and 10.1.x.y.
    static std::string station(std::uint32_t number) {
        const std::string low{static_cast<char>(number >> 8), static_cast<char>(number)};
        return zeros(16) + '\x02' + zeros(3) + low + "wlan0-va1" + zeros(7) + "\x0a\x01" + low +
               word(1500);
    }

private:
    sockaddr_un address_;
    ostrel::Fd socket_;
};

class RedirectorNotificationsTest : public RedirectorTest {
protected:
    RedirectorNotificationsTest() {
        ostrel_log_set_filename(runtime.path("log").c_str());
        logger().setLogLevel(Logger::kErrorBit);
        worker = std::make_unique<RedirectorModuleWorker>(portal);
        module->take(3);
    }
    ~RedirectorNotificationsTest() override {
        logger().setLogLevel(0);
        ostrel_log_set_filename("/dev/null");
    }

    [[nodiscard]] std::string notifyPath() const {
        return path("notify-" + std::to_string(getpid()));
    }
    // The error records so far.
    [[nodiscard]] long errors() const {
        const std::string log = ostrel::testing::readFile(runtime.path("log"));
        return std::count(log.begin(), log.end(), '\n');
    }

    std::unique_ptr<RedirectorModuleWorker> worker;
};

TEST_F(RedirectorNotificationsTest, HandleTakesOneDatagramAndDropsAShortOne) {
    logger().setLogLevel(Logger::kDebugBit);
    Notifier notifier(notifyPath());
    EXPECT_TRUE(worker->handle());
    EXPECT_THAT(portal.stations.take(), IsEmpty());
    notifier.send(Notifier::station(258));
    notifier.send(Notifier::station(1).substr(0, kNotificationSize - 1));
    notifier.send(Notifier::station(2) + std::string(500, 'x'));
    for (const std::vector<std::string>& expected :
         {std::vector<std::string>{"wlan0-va1 02:00:00:00:01:02 10.1.1.2 1500"},
          {},
          {"wlan0-va1 02:00:00:00:00:02 10.1.0.2 1500"}}) {
        EXPECT_TRUE(worker->handle());
        EXPECT_EQ(portal.stations.take(), expected);
    }
    EXPECT_THAT(ostrel::testing::readFile(runtime.path("log")),
                ::testing::HasSubstr("On wlan0-va1 geted new client with mac 02:00:00:00:01:02 "
                                     "with ip 10.1.1.2\n"));
}

// The socket holds ten or so; taking one or ten a pass would last for ten seconds and more.
TEST_F(RedirectorNotificationsTest, ABurstIsTakenWithoutSleepingInBetween) {
    const auto begin = std::chrono::steady_clock::now();
    worker->run();
    Notifier notifier(notifyPath());
    for (std::uint32_t i = 0; i < 1000; ++i) {
        notifier.send(Notifier::station(i));
    }
    const std::vector<std::string> stations = portal.stations.waitFor(1000);
    const auto taken = std::chrono::steady_clock::now() - begin;
    worker->stop();
    worker->join();
    ASSERT_EQ(stations.size(), 1000U);
    EXPECT_EQ(stations.front(), "wlan0-va1 02:00:00:00:00:00 10.1.0.0 1500");
    EXPECT_EQ(stations.back(), "wlan0-va1 02:00:00:00:03:e7 10.1.3.231 1500");
    EXPECT_LT(taken, std::chrono::seconds(3));
}

TEST_F(RedirectorNotificationsTest, AStopBeforeTheStartIsNotLost) {
    worker->stop();
    worker->run();
    worker->join();
}

TEST_F(RedirectorNotificationsTest, ALostSocketIsReportedOnceAndOpenedAnew) {
    worker.reset();
    setenv("OSTREL_RUNTIME_DIR", "/dev/null/nowhere", 1);
    module = nullptr;
    worker = std::make_unique<RedirectorModuleWorker>(portal);
    for (int pass = 0; pass < 30; ++pass) {
        EXPECT_FALSE(worker->handle());
        clock.monotonic += 100000;
    }
    EXPECT_EQ(errors(), 1);

    setenv("OSTREL_RUNTIME_DIR", runtime.path().c_str(), 1);
    startModule();
    clock.monotonic += 1000000;
    EXPECT_TRUE(worker->handle());
    EXPECT_EQ(errors(), 2);
    EXPECT_THAT(module->take(1), ElementsAre(word(13) + word(getpid())));
    Notifier(notifyPath()).send(Notifier::station(1));
    EXPECT_TRUE(worker->handle());
    EXPECT_EQ(portal.stations.take().size(), 1U);

    unlink(notifyPath().c_str());
    clock.monotonic += 1000000;
    EXPECT_TRUE(worker->handle());
    Notifier(notifyPath()).send(Notifier::station(2));
    EXPECT_TRUE(worker->handle());
    EXPECT_EQ(portal.stations.take().size(), 1U);
    worker.reset();
}

}  // namespace
}  // namespace vesta::testing
