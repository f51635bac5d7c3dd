// The generator of the random phases: its first values worked out by hand, the spare value, the
// fact that every pair is accepted, and the fast discard against drawing one by one.
#include <gtest/gtest.h>

#include <cmath>

#include "errors/gauss_gen.h"

TEST(GaussGen, FirstValuesFromStateOneWorkedOutByHand) {
  // State 1:
  //   s1 = 1 * 214013 + 2531011 = 2745024;           2745024 >> 16 = 41 (41 * 65536 = 2686976)
  //   s2 = 2745024 * 214013 + 2531011 = 587473352323 = 3357800067 (mod 2^32);
  //        3357800067 >> 16 = 51235;                  51235 & 32767 = 18467
  //   x1 = 41 / 32767 - 0.5    = -0.4987487411
  //   x2 = 18467 / 32767 - 0.5 =  0.0635853145
  //   w  = x1^2 + x2^2 = 0.2487503 + 0.0040431 = 0.2527934
  //   log10(w) = -0.5972343;  -2 log10(w) / w = 4.7250781;  sqrt = 2.1737245;  f = 1.041 * that = 2.2628472
  //   first value = x1 f = -1.1285922,  spare = x2 f = 0.1438838
  // Next pair from 6334 and 26500: x1 = -0.3066958, x2 = 0.3087405, w = 0.1893830,
  //   log10(w) = -0.7226590, f = 1.041 * sqrt(7.6317604) = 2.8758218; x1 f = -0.8820023, x2 f = 0.8878827.
  AMGaussGen g(1);
  EXPECT_NEAR(g.Next(1.0), -1.1285922, 1e-6);
  EXPECT_EQ(g.State(), 3357800067u);
  EXPECT_TRUE(g.HasSpare());
  // The spare costs no step and is scaled by the sigma of the call that returns it.
  EXPECT_NEAR(g.Next(2.0), 2.0 * 0.1438838, 2e-6);
  EXPECT_EQ(g.State(), 3357800067u);
  EXPECT_FALSE(g.HasSpare());
  EXPECT_NEAR(g.Next(0.5), 0.5 * -0.8820023, 1e-6);
  EXPECT_NEAR(g.Next(1.0), 0.8878827, 1e-6);
  // A zero sigma still draws.
  AMGaussGen z(1);
  EXPECT_EQ(z.Next(0.0), 0.0);
  EXPECT_EQ(z.State(), 3357800067u);
}

TEST(GaussGen, FastStepsEqualSteppingOneByOne) {
  // |x| <= 0.5 gives w <= 0.5 < 1, and no 15-bit value gives x == 0, so w > 0: the rejection loop
  // never repeats. The fast discard relies on this.
  for (int k = 0; k <= 32767; ++k) {
    const double x = double(k) * AMGaussGen::kScale - 0.5;
    ASSERT_NE(x, 0.0) << k;
    ASSERT_LE(std::fabs(x), 0.5) << k;
  }
  EXPECT_EQ(double(32767) * AMGaussGen::kScale - 0.5, 0.5);
  for (std::uint32_t start : {0u, 1u, 12345u, 0xdeadbeefu}) {
    std::uint32_t s = start;
    for (std::uint64_t k = 0; k <= 300; ++k, s = s * 214013u + 2531011u)
      ASSERT_EQ(AMGaussGen::Advance(start, k), s) << start << " " << k;
    // Composition over large counts.
    const std::uint64_t a = 123456789012ull, b = 987654321ull;
    EXPECT_EQ(AMGaussGen::Advance(AMGaussGen::Advance(start, a), b), AMGaussGen::Advance(start, a + b));
  }
  // The full period of the 32-bit generator brings the state back.
  EXPECT_EQ(AMGaussGen::Advance(777u, std::uint64_t{1} << 32), 777u);
  // Discard, with and without a spare held, leaves what n draws leave.
  for (std::uint32_t start : {1u, 2024u, 0x9e3779b9u})
    for (int pre : {0, 1})
      for (std::int64_t n : {-3ll, 0ll, 1ll, 2ll, 3ll, 4ll, 7ll, 10ll, 11ll, 1000ll, 12345ll}) {
        AMGaussGen fast(start), slow(start);
        if (pre) { fast.Next(1.0); slow.Next(1.0); }
        fast.Discard(n);
        for (std::int64_t i = 0; i < n; ++i) slow.Next(1.0);
        ASSERT_EQ(fast.State(), slow.State()) << start << " " << pre << " " << n;
        ASSERT_EQ(fast.HasSpare(), slow.HasSpare()) << start << " " << pre << " " << n;
        for (int i = 0; i < 3; ++i) ASSERT_EQ(fast.Next(1.5), slow.Next(1.5)) << start << " " << pre << " " << n;
      }
}
