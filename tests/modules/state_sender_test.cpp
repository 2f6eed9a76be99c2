#include "modules/state_sender.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "support/collected.h"
#include "support/fake_clock.h"

namespace vesta::testing {
namespace {

using ::testing::ElementsAre;
using Kind = StateSender::Kind;
constexpr auto kFirst = StateSender::Group::first;
constexpr auto kSecond = StateSender::Group::second;

// Takes every request, unless it begins with the letter of another answer: R refuses, S is silent,
// A absent. Requests that the test holds wait for it.
class Module final : public StateSender {
public:
    Module() : StateSender("module") { run(); }
    ~Module() override {
        obey(true);
        stop();
        join();
    }
    void tellOf(Group group, const std::string& key, const std::vector<std::string>& requests,
                Kind kind = Kind::lasting) {
        std::string state;
        for (const std::string& request : requests) {
            addRequest(state, request);
        }
        want(group, key, state, kind);
    }
    using StateSender::emptyFirst;
    using StateSender::tellAgain;

    void hold(bool held) {
        const MutexLock lock(mutex_);
        held_ = held;
        changed_.notifyAll();
    }
    // From now on every request is taken.
    void obey(bool obedient) {
        obedient_ = obedient;
        hold(false);
    }
    Collected<std::string> told;

protected:
    Answer tell(const std::string& request, const std::string&, bool resumed) override {
        const bool obedient = obedient_;
        told.add(request + (resumed ? " resumed" : ""));
        const MutexLock lock(mutex_);
        while (held_) {
            changed_.wait(mutex_);
        }
        errno = ENOSPC;
        switch (obedient ? ' ' : request.front()) {
            case 'R':
                return Answer::refused;
            case 'S':
                return Answer::silent;
            case 'A':
                return Answer::absent;
            default:
                return Answer::taken;
        }
    }

private:
    std::atomic<bool> obedient_{false};
    Mutex mutex_;
    CondVar changed_;
    bool held_ GUARDED_BY(mutex_) = false;
};

class StateSenderTest : public ::testing::Test {
protected:
    // Once the sender waits for the clock or for more to tell.
    std::vector<std::string> settled(std::size_t count) {
        std::vector<std::string> told = module.told.take(count);
        while (!module.isQuiet()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return told;
    }

    FakeClock clock;
    Module module;
};

TEST_F(StateSenderTest, OnlyTheLastStateOfEachIsToldOnceAModuleAnswersAgain) {
    module.hold(true);
    module.tellOf(kSecond, "anna", {"anna 1"});
    module.told.waitFor(1);
    for (const char* state : {"2", "3", "4"}) {
        module.tellOf(kSecond, "anna", {"anna " + std::string(state)});
        module.tellOf(kSecond, "bob", {"bob " + std::string(state)});
    }
    module.tellOf(kFirst, "list", {"list"});
    EXPECT_FALSE(module.isQuiet());
    EXPECT_TRUE(StateSender::anyBusy());
    module.hold(false);
    EXPECT_THAT(module.told.take(4), ElementsAre("anna 1", "list", "anna 4", "bob 4"));
}

TEST_F(StateSenderTest, WhatIsRefusedIsToldAgainFromThereAndKeepsNobodyWaiting) {
    module.tellOf(kFirst, "list", {"a", "R b", "c"});
    module.tellOf(kSecond, "once", {"R try", "go on"}, Kind::attempt);
    module.tellOf(kSecond, "anna", {"anna"});
    EXPECT_THAT(settled(5), ElementsAre("a", "R b", "R try", "go on", "anna"));
    // The pauses grow from 0.1 s.
    for (const int milliseconds : {100, 200, 400}) {
        clock.advanceMicroseconds(milliseconds * 1000);
        EXPECT_THAT(settled(1), ElementsAre("R b resumed"));
    }
    module.obey(true);
    clock.advanceMicroseconds(800000);
    EXPECT_THAT(settled(2), ElementsAre("R b resumed", "c"));
}

TEST_F(StateSenderTest, AModuleThatIsAwayIsLookedForAndToldWhatLasts) {
    module.tellOf(kSecond, "gone", {"A gone"}, Kind::end);
    settled(1);
    module.tellOf(kSecond, "anna", {"A anna"});
    clock.advanceSeconds(1);
    EXPECT_THAT(settled(1), ElementsAre("A anna"));
    EXPECT_FALSE(module.knows(kSecond, "gone")) << "it will know nothing";
    module.obey(true);
    clock.advanceSeconds(1);
    EXPECT_THAT(settled(1), ElementsAre("A anna"));
    module.emptyFirst(kSecond, "empty");
    EXPECT_THAT(settled(2), ElementsAre("empty", "A anna"));
}

TEST_F(StateSenderTest, WhatAModuleTakesIsStillToldAtTheEnd) {
    module.hold(true);
    for (const char* name : {"anna", "bob", "carl"}) {
        module.tellOf(kSecond, name, {name});
    }
    module.told.waitFor(1);
    module.stop();
    module.hold(false);
    module.join();
    EXPECT_THAT(module.told.take(), ElementsAre("anna", "bob", "carl"));
}

}  // namespace
}  // namespace vesta::testing
