// async_send: which frame is the answer to which call.

#include <json-c/json.h>

#include "bus_fixture.h"
#include "support/fake_clock.h"

namespace ostrel::bus {
namespace {

class CallTest : public BusTest {
protected:
    ~CallTest() override { json_object_put(request_); }

    bool call(int module, int timeoutSeconds, const char* name) {
        return bus_->async_send(
            request_, module, this,
            [this, name](void* response, void* user, int status) {
                EXPECT_EQ(user, this);
                EXPECT_EQ(status < 0, response == nullptr);
                json_object* value = nullptr;
                json_object_object_get_ex(static_cast<json_object*>(response), "value", &value);
                answers_.add(std::string(name) + ":" +
                             (value != nullptr ? json_object_get_string(value) : "none") +
                             (status == IPC_MORE_FOLLOWS ? "..." : ""));
            },
            timeoutSeconds);
    }

    // The number of the call whose request comes next.
    static std::string contextOfRequest(RawPeer& peer) {
        json_object* request = json_tokener_parse(peer.readFrame().second.c_str());
        json_object* context = nullptr;
        EXPECT_TRUE(json_object_object_get_ex(request, "context", &context));
        EXPECT_EQ(json_object_get_type(context), json_type_int);
        std::string text = json_object_get_string(context);
        json_object_put(request);
        return text;
    }

    static std::string answer(std::uint32_t sender, const std::string& context,
                              const std::string& value) {
        return handMadeFrame(
            sender, R"({"command":"late","context":)" + context + R"(,"value":")" + value + "\"}");
    }

    json_object* request_ = json_tokener_parse(R"({"command":"get","context":"mine"})");
    RawModule statistics_{11};
    Collected<std::string> answers_;
    std::unique_ptr<IpcInterface> bus_ = std::make_unique<IpcInterface>(kServer, false, 50);
};

TEST_F(CallTest, AnswersReachTheirOwnCalls) {
    ASSERT_TRUE(call(11, 30, "first"));
    ASSERT_TRUE(call(11, 30, "second"));
    RawPeer peer = statistics_.accept();
    const std::string first = contextOfRequest(peer);
    const std::string second = contextOfRequest(peer);
    peer.write(answer(11, second, "2") + answer(11, first, "1"));
    EXPECT_THAT(answers_.waitFor(2), ElementsAre("second:2", "first:1"));
    EXPECT_STREQ(json_object_to_json_string_ext(request_, JSON_C_TO_STRING_PLAIN),
                 R"({"command":"get","context":"mine"})");
}

TEST_F(CallTest, AnAnswerOfSeveralFramesEndsWithItsLastOrItsTime) {
    vesta::testing::FakeClock clock;
    ASSERT_TRUE(call(11, 31, "whole"));
    ASSERT_TRUE(call(11, 30, "cut"));
    RawPeer peer = statistics_.accept();
    const std::string whole = contextOfRequest(peer);
    const std::string cut = contextOfRequest(peer);
    const auto part = [](const std::string& context, const char* value, const char* more) {
        return handMadeFrame(
            11, "{\"context\":" + context + ",\"value\":" + value + ",\"more\":" + more + "}");
    };
    peer.write(part(whole, "1", "true") + part(cut, "2", "true") + part(whole, "3", "true"));
    EXPECT_THAT(answers_.take(3), ElementsAre("whole:1...", "cut:2...", "whole:3..."));
    clock.advanceSeconds(30);
    peer.write(part("0", "4", "true"));  // wakes the delivery thread
    EXPECT_THAT(answers_.take(1), ElementsAre("cut:none"));
    peer.write(part(cut, "5", "false") + part(whole, "6", "false"));
    EXPECT_THAT(answers_.take(1), ElementsAre("whole:6"));
}

TEST_F(CallTest, OnlyTheModuleThatWasAskedAnswers) {
    const Worker worker(*bus_, {{"late", note()}});
    RawModule apbd(2);
    ASSERT_TRUE(call(11, 30, "statistics"));
    ASSERT_TRUE(call(2, 30, "apbd"));
    RawPeer peer = statistics_.accept();
    const std::string context = contextOfRequest(peer);
    RawPeer stranger = RawPeer::connectedTo(kServer);
    stranger.write(answer(2, context, "false"));
    stranger.write(answer(9, context, "false"));
    EXPECT_EQ(received_.waitFor(2).size(), 2U);
    // The module itself may do so on another connection.
    peer.leave();
    stranger.write(answer(11, context, "true"));
    EXPECT_THAT(answers_.waitFor(1), ElementsAre("statistics:true"));
}

TEST_F(CallTest, WhatAnswersNothingIsACommandInItsOrder) {
    const Worker worker(*bus_, {{"late", note()}});
    ASSERT_TRUE(call(11, 30, "call"));
    RawPeer peer = statistics_.accept();
    const std::string context = contextOfRequest(peer);
    std::vector<Message> expected;
    for (const std::string& each :
         {std::string("0"), std::string("-1"), std::string("1e3"), '"' + context + '"',
          std::string("4294967297"), std::string("null"), context, context}) {
        peer.write(answer(11, each, "yes"));
        expected.push_back({answer(11, each, "yes").substr(8), 11});
    }
    expected.pop_back();  // the first with the right number, equal to the second, is the answer
    EXPECT_EQ(received_.waitFor(expected.size()), expected);
    EXPECT_THAT(answers_.waitFor(1), ElementsAre("call:yes"));
}

TEST_F(CallTest, NoAnswerInTimeIsANullResponse) {
    vesta::testing::FakeClock clock;
    const Worker worker(*bus_, {{"late", note()}});
    ASSERT_TRUE(call(11, 31, "longer"));
    ASSERT_TRUE(call(11, 30, "expired"));
    RawPeer peer = statistics_.accept();
    const std::string longer = contextOfRequest(peer);
    const std::string expired = contextOfRequest(peer);
    clock.advanceSeconds(30);
    peer.write(answer(11, "0", "wakes the delivery thread"));
    EXPECT_THAT(answers_.waitFor(1), ElementsAre("expired:none"));
    peer.write(answer(11, expired, "too late") + answer(11, longer, "in time"));
    EXPECT_THAT(answers_.waitFor(2), ElementsAre("expired:none", "longer:in time"));
    EXPECT_EQ(received_.waitFor(2).back().first, answer(11, expired, "too late").substr(8));
}

TEST_F(CallTest, WhatCannotBeSentHasNoCallbackAndThatOfAnotherMayThrow) {
    EXPECT_FALSE(call(9, 30, "absent"));
    json_object* array = json_object_new_array();
    EXPECT_FALSE(bus_->async_send(array, 11, nullptr, {}, 30));
    EXPECT_FALSE(bus_->async_send(nullptr, 11, nullptr, {}, 30));
    json_object_put(array);
    ASSERT_TRUE(bus_->async_send(
        request_, 11, nullptr, [](void*, void*, int) { throw 1; }, 0));
    ASSERT_TRUE(call(11, 0, "next"));
    EXPECT_THAT(answers_.waitFor(1), ElementsAre("next:none"));
}

TEST_F(CallTest, TheEndOfTheBusIsNoAnswer) {
    ASSERT_TRUE(call(11, 30, "call"));
    bus_.reset();
    EXPECT_TRUE(answers_.waitFor(0).empty());
}

}  // namespace
}  // namespace ostrel::bus
