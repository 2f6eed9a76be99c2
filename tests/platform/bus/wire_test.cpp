// What travels between a bus and its peers, by hand on one side.

#include <map>

#include "bus_fixture.h"

namespace ostrel::bus {
namespace {

constexpr int kTool = 65536 + 4711;

class WireTest : public BusTest {
protected:
    IpcInterface bus_{kServer, false, 50};
};

TEST_F(WireTest, AnswersAToolOnItsOwnConnectionAlsoWhenItHasFinishedWriting) {
    const Worker server(bus_, {{"ping", echo(bus_)}});
    RawPeer tool = RawPeer::connectedTo(kServer);
    tool.write(handMadeFrame(kTool, R"({"cmd":"ping"})"));
    tool.finishWriting();
    EXPECT_EQ(tool.read(8 + 14),
              std::string("\x00\x00\x00\x0e\x00\x00\x00\x03", 8) + R"({"cmd":"ping"})");
}

TEST_F(WireTest, HandlesWhatWasSentBeforeThePeerLeft) {
    RawPeer peer = RawPeer::connectedTo(kServer);
    peer.write(handMadeFrame(9, R"({"command":"a"})") + handMadeFrame(9, R"({"command":"a"})"));
    peer.leave();
    const Worker server(bus_, {{"a", note()}});
    EXPECT_EQ(received_.waitFor(2).size(), 2U);
}

TEST_F(WireTest, TakesTheConnectionOnWhichTheModuleWasShownLast) {
    RawModule traps(9);
    const Worker server(bus_, {{"a", note()}});
    RawPeer first = RawPeer::connectedTo(kServer);
    RawPeer second = RawPeer::connectedTo(kServer);
    int shown = 0;
    for (RawPeer* peer : {&first, &second, &first}) {
        peer->write(handMadeFrame(9, R"({"command":"a"})"));
        received_.waitFor(static_cast<std::size_t>(++shown));
    }
    ASSERT_TRUE(bus_.send("[1]", 9));
    EXPECT_THAT(first.readFrame(), Pair(kServer, "[1]"));
    first.leave();
    second.leave();
    // The module has gone and come back: its socket file is the way now.
    ASSERT_TRUE(bus_.send("[2]", 9));
    EXPECT_THAT(traps.accept().readFrame(), Pair(kServer, "[2]"));
}

TEST_F(WireTest, FramesOfSeveralThreadsStayWholeAndInOrder) {
    RawModule traps(9);
    ASSERT_TRUE(bus_.send("[]", 9));
    RawPeer peer = traps.accept();
    peer.readFrame();
    constexpr int kFrames = 300;
    std::vector<std::thread> senders;
    for (const char name : {'a', 'b', 'c'}) {
        senders.emplace_back([this, name] {
            for (int i = 0; i < kFrames;) {
                // A full queue is tried again: this reader is only slow.
                i += bus_.send(std::to_string(i) + std::string(30000, name), 9) ? 1 : 0;
            }
        });
    }
    std::map<char, int> next;
    for (int i = 0; i < 3 * kFrames; ++i) {
        const std::string text = peer.readFrame().second;
        ASSERT_GT(text.size(), 30000U);
        ASSERT_EQ(text, std::to_string(next[text.back()]++) + std::string(30000, text.back()));
    }
    for (std::thread& sender : senders) {
        sender.join();
    }
}

TEST_F(WireTest, TellsThatAModuleIsNotThere) {
    EXPECT_FALSE(bus_.send("{}", 11));
    EXPECT_FALSE(bus_.send("{}", 11));
    EXPECT_EQ(bus_.droppedFrames(), 2U);
    EXPECT_THAT(reports_.waitFor(1),
                ElementsAre("bus: module 11 is not there: No such file or directory"));
}

TEST_F(WireTest, RefusesWhatIsNoFrame) {
    EXPECT_FALSE(bus_.send("", kServer));
    EXPECT_FALSE(bus_.send(std::string((16U << 20U) + 1, ' '), kServer));
    EXPECT_TRUE(bus_.send(std::string((16U << 20U) - 2, ' ') + "{}", kServer));
}

TEST_F(WireTest, AFrameThatNobodyWantsAndAnExceptionCostOnlyThemselves) {
    const Worker server(bus_, {{"throw", [](void*, void*, int) { throw std::runtime_error("x"); }},
                               {"odd", [](void*, void*, int) { throw 1; }},
                               {"a", note()}});
    RawPeer peer = RawPeer::connectedTo(kServer);
    for (const char* text : {"5", "[]", "{}", R"({"command":"unknown"})", R"({"cmd":"throw"})",
                             R"({"cmd":"odd"})", R"({"cmd":"a"})"}) {
        peer.write(handMadeFrame(9, text));
    }
    EXPECT_THAT(received_.waitFor(1), ElementsAre(Message{R"({"cmd":"a"})", 9}));
    EXPECT_EQ(reports_.waitFor(6).size(), 6U);
}

}  // namespace
}  // namespace ostrel::bus
