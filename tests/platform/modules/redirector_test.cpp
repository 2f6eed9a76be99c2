#include <cerrno>
#include <future>
#include <vector>

#include "ostrel/modules.h"
#include "platform/modules/fake_server.h"

namespace ostrel {
namespace {

using ostrel::testing::FakeServer;
using ostrel::testing::word;

class RedirectorTest : public ostrel::testing::ModulesTest {
protected:
    // The module's error number, or what errno says when it was not reached; 0 when it went well.
    int ask(unsigned long number, void* argument) {
        const int result = control->request(number, argument);
        return result < 0 ? errno : result;
    }

    // Issues request 24, which the server takes on a new connection and answers with `answers`.
    int wipe(FakeServer& server, const std::vector<std::string>& answers) {
        auto result = std::async(std::launch::async, [this] { return ask(24, nullptr); });
        server.accept();
        EXPECT_EQ(server.receive(), word(24));
        for (const std::string& answer : answers) {
            server.send(answer);
        }
        if (answers.empty()) {
            server.connection.reset();
        }
        return result.get();
    }

    const std::unique_ptr<ModuleControl> control = openRedirector();
};

TEST_F(RedirectorTest, EveryRequestIsItsNumberAndItsRecord) {
    const struct {
        unsigned long number;
        std::size_t argument;
        std::size_t answer;
    } cases[] = {{6, 0, 4},  {8, 46, 0},  {9, 46, 0},    {10, 46, 0},   {11, 46, 0},
                 {13, 4, 0}, {19, 26, 0}, {20, 1032, 0}, {21, 1032, 0}, {22, 1032, 0},
                 {23, 0, 0}, {24, 0, 0},  {25, 52, 52}};
    FakeServer server(path("redirector"));
    bool first = true;
    for (const auto& one : cases) {
        SCOPED_TRACE(one.number);
        std::string record(1100, 'r');
        auto result =
            std::async(std::launch::async, [&] { return ask(one.number, record.data()); });
        if (first) {
            server.accept();
            first = false;
        }
        EXPECT_EQ(server.receive(),
                  word(static_cast<std::int64_t>(one.number)) + std::string(one.argument, 'r'));
        server.send(word(0) + std::string(one.answer, 'a'));
        EXPECT_EQ(result.get(), 0);
        EXPECT_EQ(record, std::string(one.answer, 'a') + std::string(1100 - one.answer, 'r'));
    }
}

TEST_F(RedirectorTest, WithoutAServerItIsNotThereAndALaterOneIsFound) {
    EXPECT_EQ(ask(24, nullptr), ENOENT);
    { const FakeServer gone(path("redirector")); }
    EXPECT_EQ(ask(24, nullptr), ENOENT);
    for (int restart = 0; restart < 2; ++restart) {
        FakeServer server(path("redirector"));
        EXPECT_EQ(wipe(server, {word(0)}), 0);
    }
}

TEST_F(RedirectorTest, EveryLaterConnectionBeginsWithWhomToNotify) {
    std::uint32_t pid = 4711;
    EXPECT_EQ(ask(13, &pid), ENOENT);
    EXPECT_FALSE(control->renewed());
    for (const bool busy : {true, false}) {
        SCOPED_TRACE(busy);
        FakeServer server(path("redirector"));
        auto result = std::async(std::launch::async,
                                 [&] { return busy ? ask(24, nullptr) == 0 : control->renewed(); });
        server.accept();
        EXPECT_EQ(server.receive(), word(13) + word(4711));
        server.send(word(-EPERM));
        if (busy) {
            EXPECT_EQ(server.receive(), word(24));
            server.send(word(0));
        }
        EXPECT_TRUE(result.get());
        EXPECT_EQ(control->renewed(), busy) << "also told of what a request found, and once";
        EXPECT_FALSE(control->renewed());
    }
    FakeServer server(path("redirector"));
    auto result = std::async(std::launch::async, [&] { return control->renewed(); });
    server.accept();
    server.receive();
    server.connection.reset();
    EXPECT_FALSE(result.get()) << "it went before it was told whom to notify";
}

TEST_F(RedirectorTest, AnAnswerThatMakesNoSenseEndsTheConnection) {
    FakeServer server(path("redirector"));
    for (const std::string& answer : {word(0) + "x", std::string("abc"), word(1), word(-4096),
                                      word(INT32_MIN), word(0) + std::string(2000, 'x')}) {
        EXPECT_EQ(wipe(server, {answer}), EIO);
    }
    EXPECT_EQ(wipe(server, {}), EIO);
    EXPECT_EQ(wipe(server, {word(0), word(-EPERM)}), 0);
    EXPECT_EQ(wipe(server, {word(-ENOSPC)}), ENOSPC) << "the surplus answer is not the next one's";
}

// The one test that waits: the second is the kernel's.
TEST_F(RedirectorTest, ASilentServerCostsOneSecondAndIsLeftAloneForAWhile) {
    static int reports = 0;
    setLogSink([](LogLevel, const char*) { ++reports; });
    FakeServer server(path("redirector"));
    EXPECT_EQ(ask(24, nullptr), EIO);
    EXPECT_EQ(ask(23, nullptr), EIO);
    clock.monotonic += 999999;
    EXPECT_EQ(ask(23, nullptr), EIO);
    EXPECT_EQ(reports, 1);

    server.accept();
    EXPECT_EQ(server.receive(), word(24));
    EXPECT_EQ(server.receive(), "") << "asked although it was to be left alone";
    EXPECT_FALSE(server.send(word(-EPERM))) << "a late answer could still arrive";
    clock.monotonic += 1;
    EXPECT_EQ(wipe(server, {word(0)}), 0);
    EXPECT_EQ(reports, 2);
    setLogSink(nullptr);
}

}  // namespace
}  // namespace ostrel
