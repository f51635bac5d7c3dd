#include <gtest/gtest.h>

#include <cstdint>

#include "core/runtime.h"

namespace {

TEST(ClassicRandGenerator, ReproducesTheClassicRuntimeSequence) {
  // Worked by hand from s <- s*214013 + 2531011, result (s >> 16) & 32767:
  // initial state 1: s = 2745024 -> 41; s = 1210316419 -> 18467; s = 3500072582 (mod 2^32) -> 6334.
  ClassicRand r(1);
  EXPECT_EQ(r.Next(), 41);
  EXPECT_EQ(r.Next(), 18467);
  EXPECT_EQ(r.Next(), 6334);
  EXPECT_EQ(r.Next(), 26500);
  EXPECT_EQ(r.Next(), 19169);

  r.Seed(0);
  EXPECT_EQ(r.Next(), 38);  // s = 2531011 -> 38

  // Every value stays in 0..RAND_MAX and both ends occur.
  ClassicRand wide(12345);
  int lo = ClassicRand::kRandMax, hi = 0;
  for (int i = 0; i < 2'000'000; ++i) {
    const int v = wide.Next();
    ASSERT_GE(v, 0);
    ASSERT_LE(v, ClassicRand::kRandMax);
    lo = std::min(lo, v);
    hi = std::max(hi, v);
  }
  EXPECT_EQ(lo, 0);
  EXPECT_EQ(hi, ClassicRand::kRandMax);
}

TEST(Sinks, RecordersKeepWhatTheyWereToldAndAnswerInOrder) {
  MessageRecorder messages;
  messages.answers = {Answer::No};
  messages.Show("Time interval(s) not found.");
  EXPECT_EQ(messages.Ask("overwrite?", Buttons::YesNo, Answer::Yes), Answer::No);
  EXPECT_EQ(messages.Ask("again?", Buttons::YesNoCancel, Answer::Cancel), Answer::Cancel);
  ASSERT_EQ(messages.shown.size(), 1u);
  EXPECT_EQ(messages.asked.size(), 2u);

  SilentMessages silent;
  EXPECT_EQ(silent.Ask("q", Buttons::YesNo, Answer::Yes), Answer::Yes);

  StopFlag stop{0};
  EXPECT_FALSE(StopRequested(&stop));
  stop = 1;
  EXPECT_TRUE(StopRequested(&stop));
  EXPECT_FALSE(StopRequested(nullptr));
}

}  // namespace
