// The telescope-errors model on single records: phases of a two-telescope case worked out by hand
// for each term, the reference-frequency rule, the interval test, the generator's draw counts and
// order, the amplitude gains and missing telescopes.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

#include "errors/errors_model.h"
#include "errors_test_util.h"

namespace {

constexpr double kDeg = std::numbers::pi / 180.0;

AMErrorsSetup PhaseOnly(double start = 3600.0) {
  AMErrorsSetup s;
  s.use_phase_err = true;
  s.use_ampl_err = false;
  s.start_s = start;
  s.stop_s = std::numeric_limits<double>::infinity();
  s.step_s = 10.0;
  s.time_offset_s = 3600.0;
  return s;
}

AMErrorsModel MakeModel(const AMTlscErrors& list, const TestFileShape& shape, std::uint32_t rng_start = 1u,
                        const AMErrorsSetup& setup = PhaseOnly()) {
  AMErrorsModel m;
  std::string error;
  EXPECT_TRUE(m.Init(list, setup, TestFqTable(shape), shape.n_if, shape.n_channels, rng_start, &error)) << error;
  return m;
}

// e is `original` turned by `deg` with its amplitude and weight kept.
void ExpectTurned(const AUVXVisEntry& e, const AUVXVisEntry& original, double deg, double tol) {
  const AUVXComplex o(original);
  EXPECT_NEAR(e.re, o.ampl() * std::cos(o.phase() + deg * kDeg), tol) << "by " << deg;
  EXPECT_NEAR(e.im, o.ampl() * std::sin(o.phase() + deg * kDeg), tol) << "by " << deg;
  EXPECT_EQ(e.weight, original.weight);
}
void ExpectTurned(const AUVXVisibility& v, const AUVXVisibility& original, double deg, double tol = 1e-5) {
  for (int e = 0; e < v.Count(); ++e) {
    SCOPED_TRACE(e);
    ExpectTurned(v.entries[e], original.entries[e], deg, tol);
  }
}

}  // namespace

TEST(ErrorsPhase, EachTermOfATwoTelescopeCaseByHand) {
  // 2 IFs 8 MHz apart with channels of 1 MHz, 2 Stokes parameters of different amplitudes and weights;
  // every entry turns by phi_a - phi_b and keeps its amplitude and weight. The interval starts at the
  // file's start time.
  struct Turn {
    int i, c;  // i < 0: every entry
    double deg;
  };
  struct Case {
    const char* what;
    int n_channels;
    AMTlscErrItem a, b;
    double time;
    int tel1, tel2;
    std::vector<Turn> turns;
  };
  const Case cases[] = {
      // More than one channel: f0 is channel 0 of the record's own IF, so df = c * 1 MHz in both IFs.
      // Telescope 1 delay 100 ns: phi_1 = 2 pi * c * 1e6 * 1e-7 = c * 36 deg.
      {"delay", 3, Tlsc(1, 0, 0, 0, 0, 1e-7), Tlsc(2), 25.0, 1, 2,
       {{0, 0, 0.0}, {0, 1, 36.0}, {0, 2, 72.0}, {1, 0, 0.0}, {1, 1, 36.0}, {1, 2, 72.0}}},
      // The baseline the other way round turns the other way: phi_a - phi_b.
      {"delay, reversed baseline", 3, Tlsc(1, 0, 0, 0, 0, 1e-7), Tlsc(2), 25.0, 2, 1, {{1, 2, -72.0}}},
      // Telescope 2 fringe rate 0.01 Hz, 25 s after the interval start: phi_2 = 2 pi * 0.25 = 90 deg.
      {"fringe rate", 3, Tlsc(1), Tlsc(2, 0, 0, 0, 0.01), 25.0, 1, 2, {{-1, 0, -90.0}}},
      // 30 deg - 75 deg = -45 deg everywhere, at any time.
      {"phase 0 at 0 s", 3, Tlsc(1, 0, 0, 30.0), Tlsc(2, 0, 0, 75.0), 0.0, 1, 2, {{-1, 0, -45.0}}},
      {"phase 0 at 25 s", 3, Tlsc(1, 0, 0, 30.0), Tlsc(2, 0, 0, 75.0), 25.0, 1, 2, {{-1, 0, -45.0}}},
      {"phase 0 at 7200 s", 3, Tlsc(1, 0, 0, 30.0), Tlsc(2, 0, 0, 75.0), 7200.0, 1, 2, {{-1, 0, -45.0}}},
      // Second-order terms have no half. Fringe acceleration 0.001 turns/s^2 at dt = 25 s:
      // 0.001 * 625 = 0.625 turn = 225 deg.
      {"fringe acceleration", 3, Tlsc(1, 0, 0, 0, 0, 0, 0.001), Tlsc(2), 25.0, 1, 2, {{0, 0, 225.0}}},
      // Delay acceleration 1e-13 turns/Hz^2 takes df^2: df 1 MHz 0.1 turn = 36 deg, 2 MHz 0.4 turn = 144 deg.
      {"delay acceleration", 3, Tlsc(1, 0, 0, 0, 0, 0, 0, 1e-13), Tlsc(2), 25.0, 1, 2, {{1, 1, 36.0}, {1, 2, 144.0}}},
      // One channel: f0 is IF 0's frequency for every IF, so IF 1 (8 MHz above) has df = 8 MHz:
      // delay 100 ns gives 2 pi * 0.8 = 288 deg there and nothing in IF 0.
      {"one channel", 1, Tlsc(1, 0, 0, 0, 0, 1e-7), Tlsc(2), 25.0, 1, 2, {{0, 0, 0.0}, {1, 0, 288.0}}},
      // Two channels: each IF refers to its own first channel.
      {"two channels", 2, Tlsc(1, 0, 0, 0, 0, 1e-7), Tlsc(2), 25.0, 1, 2, {{1, 0, 0.0}, {1, 1, 36.0}}},
  };
  for (const Case& k : cases) {
    SCOPED_TRACE(k.what);
    TestFileShape shape;
    shape.n_channels = k.n_channels;
    AMErrorsModel model = MakeModel(TlscList({k.a, k.b}), shape);
    const AUVXVisibility before = Filled(shape, 0);
    AUVXVisibility v = before;
    model.Apply(Group(k.tel1, k.tel2, k.time), v);
    for (const Turn& t : k.turns) {
      if (t.i < 0) ExpectTurned(v, before, t.deg, 1e-6);
      for (int s = 0; s < shape.n_stokes && t.i >= 0; ++s)
        ExpectTurned(v.Entry(t.i, t.c, s), before.Entry(t.i, t.c, s), t.deg, 1e-6);
    }
  }
}

TEST(ErrorsInterval, OutsideGetsNothingAndSegmentsRestartDt) {
  // Telescope 1: fringe rate 0.05 Hz and phase 0 of 10 deg, so a record turns by 18 deg per second of dt + 10 deg.
  const TestFileShape shape;
  const AMTlscErrors list = TlscList({Tlsc(1, 0, 0, 10.0, 0.05), Tlsc(2)});
  const AUVXVisibility original = Filled(shape, 3);
  AMErrorsModel m;
  auto run = [&](const AMErrorsSetup& setup, double time) {
    m = MakeModel(list, shape, 1u, setup);
    AUVXVisibility v = original;
    m.Apply(Group(1, 2, time), v);
    return v;
  };

  AMErrorsSetup setup = PhaseOnly();
  setup.stop_s = 3610.0;
  ExpectTurned(run(setup, 10.0), original, 180.0 + 10.0);      // t = stop: inside, dt = 10 s
  EXPECT_TRUE(SameBytes(run(setup, 10.5), original));          // t > stop: the stored values, bit for bit

  // t0 < 0: a file whose start time lies before 0h and an interval starting there.
  AMErrorsSetup before = PhaseOnly(-100.0);
  before.time_offset_s = -100.0;
  EXPECT_TRUE(SameBytes(run(before, 10.0), original));

  // Segments of 20 s from 3600: t = 3625 has t0 = 3620, dt = 5: 0.05 Hz * 5 s = 0.25 turn (+10 deg).
  AMErrorsSetup seg = PhaseOnly();
  seg.segment_s = 20.0;
  ExpectTurned(run(seg, 25.0), original, 90.0 + 10.0);

  // Before the interval start but with t0 = start >= 0: processed with dt < 0 and counted.
  // t = 3610, t0 = 3620, dt = -10: -0.5 turn (+10 deg).
  ExpectTurned(run(PhaseOnly(3620.0), 10.0), original, -180.0 + 10.0);
  EXPECT_EQ(m.EarlyRecords(), 1);
  EXPECT_EQ(m.FirstEarlyT0(), 3620.0);
}

TEST(ErrorsRandomPhase, DrawCountsFirstUpdateAndSkippedSteps) {
  const TestFileShape shape;
  AMErrorsModel model = MakeModel(TlscList({Tlsc(1, 2.0), Tlsc(2, 3.0), Tlsc(3, 5.0)}), shape, 4242u);
  // sigma = phase error * pi / 180 * Delta
  constexpr double kPi = std::numbers::pi;
  const double s1 = 2.0 * kPi / 180.0 * 10.0, s2 = 3.0 * kPi / 180.0 * 10.0, s3 = 5.0 * kPi / 180.0 * 10.0;
  AMGaussGen ref(4242u);
  auto discard = [&ref](int n) {
    for (int i = 0; i < n; ++i) ref.Next(1.0);
  };
  auto expect_same_generator = [&](const char* where) {
    EXPECT_EQ(model.Generator().State(), ref.State()) << where;
    EXPECT_EQ(model.Generator().HasSpare(), ref.HasSpare()) << where;
  };
  AUVXVisibility v(2, 3, 2);

  // First update of each telescope: exactly one draw each, telescope a first.
  model.Apply(Group(1, 2, 100.0), v);
  double p1 = ref.Next(s1), p2 = ref.Next(s2);
  expect_same_generator("first update");
  EXPECT_EQ(model.RandomPhase(0), p1);
  EXPECT_EQ(model.RandomPhase(1), p2);

  // The same time again: nothing drawn.
  model.Apply(Group(2, 1, 100.0), v);
  expect_same_generator("same time");

  // 49.9995 s later: int(4.99995 + 0.0001) - 1 = 4 skipped steps discarded, then one draw.
  model.Apply(Group(1, 2, 149.9995), v);
  discard(4);
  p1 += ref.Next(s1);
  discard(4);
  p2 += ref.Next(s2);
  expect_same_generator("gap of 5 steps");
  EXPECT_EQ(model.RandomPhase(0), p1);
  EXPECT_EQ(model.RandomPhase(1), p2);

  // An earlier time does not clear the flags: nothing drawn.
  model.Apply(Group(1, 2, 120.0), v);
  expect_same_generator("earlier time");

  // One step later: no discard. Telescope 3 first seen: one draw.
  model.Apply(Group(3, 1, 159.9995), v);
  const double p3 = ref.Next(s3);
  p1 += ref.Next(s1);
  expect_same_generator("next step with a new telescope");
  EXPECT_EQ(model.RandomPhase(2), p3);
  EXPECT_EQ(model.RandomPhase(0), p1);

  // A missing telescope: the record is left alone and nothing is drawn.
  AUVXVisibility w = Filled(shape, 1);
  const AUVXVisibility before = w;
  model.Apply(Group(1, 7, 500.0), w);
  model.Apply(Group(9, 2, 500.0), w);
  expect_same_generator("missing telescope");
  EXPECT_EQ(model.MissingRecords(), 2);
  EXPECT_TRUE(SameBytes(w, before));
}

TEST(ErrorsAmplitude, GainDrawnAfterThePhaseStepOnEachUpdate) {
  TestFileShape shape;
  shape.n_stokes = shape.n_channels = 1;
  const AMTlscErrors list = TlscList({Tlsc(1, 0, 1.0), Tlsc(2, 0, 0.5)});
  for (bool with_phase : {true, false}) {
    AMErrorsSetup setup = PhaseOnly();
    setup.use_ampl_err = true;
    setup.use_phase_err = with_phase;
    AMErrorsModel model = MakeModel(list, shape, 99u, setup);
    AUVXVisibility v = Filled(shape, AUVXVisEntry{1.0f, 0.0f, 2.0f});
    model.Apply(Group(1, 2, 0.0), v);
    // Per telescope: [phase step (sigma 0 here)] then the amplitude error x in dB; gain 10^(x/20).
    AMGaussGen ref(99u);
    if (with_phase) ref.Next(0.0);
    const double g1 = std::pow(10.0, ref.Next(1.0) / 20.0);
    if (with_phase) ref.Next(0.0);
    const double g2 = std::pow(10.0, ref.Next(0.5) / 20.0);
    EXPECT_EQ(model.Gain(0), g1);
    EXPECT_EQ(model.Gain(1), g2);
    EXPECT_NE(g1, 1.0);
    EXPECT_EQ(model.Generator().State(), ref.State());
    for (int i = 0; i < 2; ++i) {
      EXPECT_NEAR(v.Entry(i, 0, 0).re, g1 * g2, 1e-6);
      EXPECT_NEAR(v.Entry(i, 0, 0).im, 0.0, 1e-6);
    }
    // A later step draws a new gain (after the skipped steps and the phase step).
    model.Apply(Group(1, 2, 30.0), v);
    for (int i = 0; i < 2; ++i) ref.Next(1.0);
    if (with_phase) ref.Next(0.0);
    EXPECT_EQ(model.Gain(0), std::pow(10.0, ref.Next(1.0) / 20.0));
  }
}

TEST(ErrorsModelInit, RefusesWhatCannotRun) {
  const TestFileShape shape;
  const AMTlscErrors list = TlscList({Tlsc(1)});
  AMErrorsModel model;
  std::string error;
  AMErrorsSetup bad = PhaseOnly();
  bad.step_s = 0.0;
  EXPECT_FALSE(model.Init(list, bad, TestFqTable(shape), 2, 3, 1u, &error));
  EXPECT_NE(error.find("time step"), std::string::npos) << error;
  EXPECT_FALSE(model.Init(list, PhaseOnly(), AUVXFqTbl(), 2, 3, 1u, &error));
  EXPECT_NE(error.find("FQ"), std::string::npos) << error;
  // Without the phase model the frequencies are not needed.
  AMErrorsSetup ampl = PhaseOnly();
  ampl.use_phase_err = false;
  ampl.use_ampl_err = true;
  EXPECT_TRUE(model.Init(list, ampl, AUVXFqTbl(), 2, 3, 1u, &error)) << error;
}
