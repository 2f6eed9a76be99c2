#include "statistics/early_questions.h"

#include <gtest/gtest.h>

#include "support/fake_clock.h"

namespace vesta {
namespace {

TEST(EarlyQuestions, AreAskedATenthOfASecondApart) {
    testing::FakeClock clock;
    EarlyQuestions questions;
    const auto isAskedNow = [&] { return questions.awaitNext(clock.monotonic + 1); };
    questions.want();
    EXPECT_TRUE(isAskedNow());
    questions.want();
    clock.advanceMicroseconds(EarlyQuestions::kApart - 1);
    EXPECT_FALSE(questions.awaitNext(clock.monotonic));
    clock.advanceMicroseconds(1);
    EXPECT_TRUE(isAskedNow());
}

}  // namespace
}  // namespace vesta
