// Peers that break the rules cost themselves and nobody else.

#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <future>

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

    IpcInterface bus_{kServer, false, 50};
    Worker worker_{bus_, {{"ping", echo(bus_)}, {"a", note()}}};
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
    const std::string text = '"' + std::string(1024 * 1024 - 2, 'x') + '"';
    int taken = 0;
    while (taken < 20 && bus_.send(text, 9)) {
        ++taken;
    }
    EXPECT_GE(taken, 4);
    EXPECT_LE(taken, 6);
    EXPECT_FALSE(bus_.send(text, 9));
    EXPECT_EQ(bus_.droppedFrames(), 2U);
    EXPECT_EQ(reports_.waitFor(1).size(), 1U);
    EXPECT_TRUE(isServed(witness_));
    // What was taken arrives whole, and then there is room again.
    for (int i = 0; i < taken; ++i) {
        EXPECT_EQ(peer.readFrame().second, text);
    }
    EXPECT_TRUE(bus_.send("[]", 9));
    EXPECT_EQ(peer.readFrame().second, "[]");
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

TEST_F(MisuseTest, ConnectionsAreLimited) {
    std::vector<RawPeer> peers;
    for (int i = 1; i < 256; ++i) {
        peers.push_back(RawPeer::connectedTo(kServer));
    }
    EXPECT_TRUE(RawPeer::connectedTo(kServer).seesEnd());
    EXPECT_THAT(reports_.waitFor(1), ElementsAre(HasSubstr("too many")));
    // The place of one that left is free again, once its leaving has been noticed.
    peers.pop_back();
    bool admitted = false;
    for (int attempt = 0; attempt < 1000 && !admitted; ++attempt) {
        RawPeer next = RawPeer::connectedTo(kServer);
        admitted = next.tryWrite(handMadeFrame(65536, R"({"cmd":"ping"})")) &&
                   next.readFrame().first == kServer;
    }
    EXPECT_TRUE(admitted);
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
