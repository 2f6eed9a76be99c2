// Peers that break the rules cost themselves and nobody else.

#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <future>

#include "bus/exchange.h"
#include "bus_fixture.h"

namespace ostrel::bus {
namespace {

class MisuseTest : public BusTest {
protected:
    ~MisuseTest() override { EXPECT_TRUE(isServed(witness_)); }

    static bool isServed(RawPeer& peer) {
        peer.write(handMadeFrame(65536, R"({"cmd":"ping"})"));
        return peer.readFrame().first == kServer;
    }

    // A command whose answer does not fit into a socket.
    IpcInterface::Command answerAtLength() {
        return [this](void* message, void*, int sender) {
            received_.add(Message{static_cast<const char*>(message), sender});
            bus_.send(kLongAnswer, sender);
        };
    }

    inline static const std::string kLongAnswer = '"' + std::string(1024 * 1024 - 2, 'x') + '"';
    IpcInterface bus_{kServer, false, 50};
    Worker worker_{bus_, {{"ping", echo(bus_)}, {"a", note()}, {"ask", answerAtLength()}}};
    RawPeer witness_ = RawPeer::connectedTo(kServer);
};

TEST_F(MisuseTest, WhatIsNoFrameClosesTheConnectionWithOneReport) {
    const std::string good = handMadeFrame(9, R"({"cmd":"a"})");
    const std::pair<std::string, const char*> cases[] = {
        {std::string("\xff\xff\xff\xff\x00\x00\x00\x09", 8), "4294967295"},
        {handMadeFrame(9, "garbage") + handMadeFrame(9, "more") + good, "module 9"},
        {good.substr(0, 12), "in the middle of a frame"}};
    for (const auto& [bytes, report] : cases) {
        RawPeer peer = RawPeer::connectedTo(kServer);
        peer.write(good + bytes);
        peer.finishWriting();
        EXPECT_TRUE(peer.seesEnd());
        EXPECT_EQ(received_.take(1).size(), 1U);
        EXPECT_THAT(reports_.take(1), ElementsAre(HasSubstr(report)));
    }
}

TEST_F(MisuseTest, APeerThatNeverReadsFillsItsOwnQueue) {
    RawPeer peer = RawPeer::connectedTo(kServer);
    peer.write(handMadeFrame(9, R"({"cmd":"a"})"));
    received_.waitFor(1);
    int taken = 0;
    while (taken < 20 && bus_.send(kLongAnswer, 9)) {
        ++taken;
    }
    EXPECT_GE(taken, 4);
    EXPECT_LE(taken, 6);
    EXPECT_FALSE(bus_.send(kLongAnswer, 9));
    EXPECT_EQ(bus_.droppedFrames(), 2U);
    EXPECT_EQ(reports_.waitFor(1).size(), 1U);
    // The further frames of an answer are not refused.
    EXPECT_TRUE(bus_.sendFurther(kLongAnswer, 9));
    EXPECT_TRUE(isServed(witness_));
    // What was taken arrives whole, and then there is room again.
    for (int i = 0; i <= taken; ++i) {
        EXPECT_EQ(peer.readFrame().second, kLongAnswer);
    }
    EXPECT_TRUE(bus_.send("[]", 9));
    EXPECT_EQ(peer.readFrame().second, "[]");
}

TEST_F(MisuseTest, WhoDoesNotReadIsAnsweredNoMore) {
    constexpr std::size_t kQuestions = 20;
    RawPeer deaf = RawPeer::connectedTo(kServer);
    for (std::size_t i = 0; i < kQuestions; ++i) {
        deaf.write(handMadeFrame(65537, R"({"cmd":"ask"})"));
    }
    received_.waitFor(1);
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(isServed(witness_));
    }
    EXPECT_EQ(received_.waitFor(0).size(), 1U);
    for (std::size_t i = 0; i < kQuestions; ++i) {
        EXPECT_EQ(deaf.readFrame().second, kLongAnswer);
    }
    EXPECT_EQ(received_.waitFor(kQuestions).size(), kQuestions);
    EXPECT_EQ(bus_.droppedFrames(), 0U);
}

// One frame a peer a turn. What apbd says never waits for it to read.
TEST(InboxTest, ServesThePeersInTurnAndWaitsForThoseThatDoNotRead) {
    std::atomic<std::size_t> held{0};
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    const Fd other(ends[1]);
    const auto deaf = std::make_shared<Connection>(Fd(ends[0]), 2, -1, Peer(), held);
    const auto busy = std::make_shared<Connection>(Fd(), 3, -1, Peer(), held);
    const auto quiet = std::make_shared<Connection>(Fd(), 4, -1, Peer(), held);
    ASSERT_EQ(deaf->send(std::string(1024 * 1024, 'x'), false), Connection::Sent::done);
    Inbox inbox;
    const auto push = [&inbox](std::uint32_t sender, const char* text, const auto& from) {
        inbox.push(Arrival(Frame{sender, text}, from));
    };
    push(65537, "deaf", deaf);
    push(65538, "busy 1", busy);
    push(65538, "busy 2", busy);
    push(65538, "busy 3", busy);
    push(65539, "quiet", quiet);
    const auto taken = [&inbox] {
        Arrival arrival;
        return inbox.takeBefore({}, arrival) == Inbox::Take::arrival ? arrival.frame.payload : "";
    };
    for (const char* expected : {"busy 1", "quiet", "busy 2", "busy 3", ""}) {
        EXPECT_EQ(taken(), expected);
    }
    EXPECT_GT(held, 0U);
    deaf->close();
    EXPECT_EQ(held, 0U);
    EXPECT_EQ(taken(), "") << "nobody is there for the answer";
}

TEST_F(MisuseTest, AFloodWaitsInTheSocketOfItsSender) {
    IpcInterface slow(IPC_MODULE_APBD, false, 50);
    std::promise<void> release;
    const Worker worker(
        slow, {{"wait", [&](void*, void*, int) { release.get_future().wait(); }}, {"a", note()}});
    RawPeer flood = RawPeer::connectedTo(IPC_MODULE_APBD);
    flood.write(handMadeFrame(9, R"({"cmd":"wait"})"));
    const std::string frame =
        handMadeFrame(9, R"({"cmd":"a","x":")" + std::string(100000, 'x') + "\"}");
    const std::size_t limit = 1000 * frame.size();
    const std::size_t written = flood.writeUntilStalled(frame, limit);
    EXPECT_GT(written, 4000000U);
    EXPECT_LT(written, 8000000U);
    release.set_value();
    flood.write(frame.substr(written % frame.size()));
    const std::size_t whole = written / frame.size() + 1;
    EXPECT_EQ(received_.waitFor(whole).size(), whole);
}

// A bus with limits of its own beside that of the witness.
class LimitsTest : public MisuseTest {
protected:
    static constexpr int kLimited = 77;

    void limit(const Limits& limits) {
        exchange_.reset();
        exchange_ = std::make_unique<Exchange>(kLimited, true, 50, runtime_.path("bus"), calls_,
                                               inbox_, limits);
    }
    bool takesFrom(RawPeer& peer) {
        Arrival arrival;
        return peer.tryWrite(handMadeFrame(65536, "{}")) &&
               inbox_.takeBefore(std::chrono::steady_clock::now() + std::chrono::seconds(1),
                                 arrival) == Inbox::Take::arrival;
    }

    Inbox inbox_;
    Calls calls_{inbox_};
    std::unique_ptr<Exchange> exchange_;
};

TEST_F(LimitsTest, ConnectionsAreLimitedInAllAndOfAProcess) {
    Limits manyOfAProcess;
    manyOfAProcess.connectionsOfAProcess = 1000;
    for (const auto& [limits, places, report] :
         {std::tuple(Limits(), 16, "has 16 connections"),
          std::tuple(manyOfAProcess, 256, "one connection too many")}) {
        limit(limits);
        std::vector<RawPeer> peers;
        for (int i = 0; i < places; ++i) {
            peers.push_back(RawPeer::connectedTo(kLimited));
        }
        EXPECT_TRUE(RawPeer::connectedTo(kLimited).seesEnd());
        EXPECT_THAT(reports_.take(1), ElementsAre(HasSubstr(report)));
        // The place of one that left is free again, once its leaving has been noticed.
        peers.pop_back();
        bool admitted = false;
        for (int attempt = 0; attempt < 1000 && !admitted; ++attempt) {
            RawPeer next = RawPeer::connectedTo(kLimited);
            admitted = takesFrom(next);
        }
        EXPECT_TRUE(admitted);
        reports_.take();
    }
}

TEST_F(LimitsTest, AFirstFrameComesInTime) {
    Limits limits;
    limits.firstFrameMilliseconds = 1;
    limit(limits);
    RawPeer slow = RawPeer::connectedTo(kLimited);
    slow.write(handMadeFrame(65536, "{}").substr(0, 9));
    EXPECT_TRUE(slow.seesEnd());
    EXPECT_THAT(reports_.waitFor(1), ElementsAre(HasSubstr("no whole frame in time")));
}

TEST_F(LimitsTest, WhoHoldsMostOfACommonBudgetGoes) {
    Limits limits;
    limits.heldByAll = 1024 * 1024;
    limit(limits);
    RawPeer small = RawPeer::connectedTo(kLimited);
    small.write(handMadeFrame(65536, "{ }").substr(0, 9));
    RawPeer large = RawPeer::connectedTo(kLimited);
    large.tryWrite(handMadeFrame(65536, std::string(1500000, ' ')).substr(0, 1400000));
    EXPECT_TRUE(large.seesEnd());
    EXPECT_THAT(reports_.waitFor(1), ElementsAre(HasSubstr("more than 1048576 bytes")));
    small.write(" }");
    Arrival arrival;
    EXPECT_EQ(inbox_.take(arrival), Inbox::Take::arrival);
    EXPECT_EQ(arrival.frame.payload, "{ }");
}

// Needs root, to become somebody else.
TEST_F(MisuseTest, OnlyTheGroupOfTheDirectoryMayConnect) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "not root";
    }
    constexpr gid_t kGroup = 4242;
    const std::string place = runtime_.path("bus");
    ASSERT_EQ(chmod(runtime_.path().c_str(), 0755) + chmod(place.c_str(), 0755) +
                  chmod(path(kServer).c_str(), 0666) +
                  chown(place.c_str(), static_cast<uid_t>(-1), kGroup),
              0);
    const struct {
        gid_t primary;
        gid_t supplementary;
        bool welcome;
    } cases[] = {{4000, 4001, false}, {kGroup, 4001, true}, {4000, kGroup, true}};
    for (const auto& each : cases) {
        const pid_t child = fork();
        if (child == 0) {
            const bool changed = setgroups(1, &each.supplementary) == 0 &&
                                 setgid(each.primary) == 0 && setuid(4000) == 0;
            RawPeer peer = RawPeer::connectedTo(kServer);
            peer.tryWrite(handMadeFrame(2, R"({"cmd":"ping"})"));  // apbd it is not
            peer.tryWrite(handMadeFrame(65536 + 4000, R"({"cmd":"ping"})"));
            _exit(!changed ? 2 : peer.readFrame().first == kServer ? 1 : 0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_EQ(WEXITSTATUS(status), each.welcome ? 1 : 0) << each.primary;
    }
    EXPECT_THAT(reports_.waitFor(3), ElementsAre(HasSubstr("of user 4000 may not connect"),
                                                 HasSubstr("may not speak as module 2"),
                                                 HasSubstr("may not speak as module 2")));
}

}  // namespace
}  // namespace ostrel::bus
