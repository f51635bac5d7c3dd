// The telescope-errors model on single records: phases of a two-telescope case worked out by hand
// for each term, the reference-frequency rule, the interval test, the generator's draw counts and
// order, the amplitude gains and missing telescopes.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <numbers>

#include "errors/errors_model.h"
#include "errors_test_util.h"

namespace {

constexpr double kDeg = std::numbers::pi / 180.0;

AMTlscErrItem Tlsc(int id) {
  AMTlscErrItem t;
  t.name = "T" + std::to_string(id);
  t.id = id;
  return t;
}

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

AUVXGroup Group(int tel1, int tel2, double time) {
  AUVXGroup g;
  g.tel1 = std::uint8_t(tel1);
  g.tel2 = std::uint8_t(tel2);
  g.freq_id = 1;
  g.time = time;
  return g;
}

// One Stokes parameter; every entry 1 + 0i (amplitude 1, phase 0) with weight 2, so the result
// shows exp(i (phi_a - phi_b)) directly.
TestFileShape OneStokes(int n_channels) {
  TestFileShape shape;
  shape.n_stokes = 1;
  shape.n_channels = n_channels;
  return shape;
}

AUVXVisibility Ones(const TestFileShape& shape) {
  AUVXVisibility v(shape.n_if, shape.n_channels, shape.n_stokes);
  for (int e = 0; e < v.Count(); ++e) v.entries[e] = {1.0f, 0.0f, 2.0f};
  return v;
}

// The record of telescopes (tel1, tel2) at group time `time` after the model with list {t1, t2}.
AUVXVisibility Turned(const TestFileShape& shape, const AMTlscErrItem& t1, const AMTlscErrItem& t2, double time,
                      int tel1 = 1, int tel2 = 2, const AMErrorsSetup& setup = PhaseOnly()) {
  AMTlscErrors list;
  list.Add(t1);
  list.Add(t2);
  AMErrorsModel model;
  std::string error;
  EXPECT_TRUE(model.Init(list, setup, TestFqTable(shape), shape.n_if, shape.n_channels, 1u, &error)) << error;
  AUVXVisibility v = Ones(shape);
  model.Apply(Group(tel1, tel2, time), v);
  return v;
}

void ExpectTurn(const AUVXVisibility& v, int i, int c, double deg) {
  const AUVXVisEntry& e = v.Entry(i, c, 0);
  EXPECT_NEAR(e.re, std::cos(deg * kDeg), 1e-6) << "IF " << i << " channel " << c << " expected " << deg << " deg";
  EXPECT_NEAR(e.im, std::sin(deg * kDeg), 1e-6) << "IF " << i << " channel " << c << " expected " << deg << " deg";
  EXPECT_EQ(e.weight, 2.0f);
}

}  // namespace

TEST(ErrorsPhase, DelayOnlyTwoTelescopesByHand) {
  // 2 IFs x 3 channels of 1 MHz. More than one channel: f0 is channel 0 of the record's own IF, so
  // df = c * 1 MHz in both IFs. Telescope 1 delay 100 ns: phi_1 = 2 pi * c * 1e6 * 1e-7 = c * 36 deg.
  const TestFileShape shape = OneStokes(3);
  AMTlscErrItem a = Tlsc(1), b = Tlsc(2);
  a.delay = 1e-7;
  const AUVXVisibility v = Turned(shape, a, b, 25.0);
  for (int i = 0; i < 2; ++i) {
    ExpectTurn(v, i, 0, 0.0);
    ExpectTurn(v, i, 1, 36.0);
    ExpectTurn(v, i, 2, 72.0);
  }
  // The baseline the other way round turns the other way: phi_a - phi_b.
  const AUVXVisibility r = Turned(shape, a, b, 25.0, 2, 1);
  ExpectTurn(r, 1, 2, -72.0);
}

TEST(ErrorsPhase, FringeRateOnlyByHand) {
  // Telescope 2 fringe rate 0.01 Hz; the record is 25 s after the interval start (the file's start
  // time): phi_2 = 2 pi * 25 * 0.01 = 90 deg, phi_1 - phi_2 = -90 deg on every entry.
  const TestFileShape shape = OneStokes(3);
  AMTlscErrItem a = Tlsc(1), b = Tlsc(2);
  b.fringe_rate = 0.01;
  const AUVXVisibility v = Turned(shape, a, b, 25.0);
  for (int i = 0; i < 2; ++i)
    for (int c = 0; c < 3; ++c) ExpectTurn(v, i, c, -90.0);
}

TEST(ErrorsPhase, PhaseZeroOnlyByHand) {
  // 30 deg - 75 deg = -45 deg everywhere, at any time.
  const TestFileShape shape = OneStokes(3);
  AMTlscErrItem a = Tlsc(1), b = Tlsc(2);
  a.phase0_deg = 30.0;
  b.phase0_deg = 75.0;
  for (double time : {0.0, 25.0, 7200.0}) {
    const AUVXVisibility v = Turned(shape, a, b, time);
    for (int i = 0; i < 2; ++i)
      for (int c = 0; c < 3; ++c) ExpectTurn(v, i, c, -45.0);
  }
}

TEST(ErrorsPhase, SecondOrderTermsHaveNoHalfAndDelayAccelerationTakesDfSquared) {
  const TestFileShape shape = OneStokes(3);
  // Fringe acceleration 0.001 turns/s^2 at dt = 25 s: 0.001 * 625 = 0.625 turn = 225 deg.
  AMTlscErrItem a = Tlsc(1), b = Tlsc(2);
  a.fringe_acc = 0.001;
  const AUVXVisibility v = Turned(shape, a, b, 25.0);
  ExpectTurn(v, 0, 0, 225.0);
  // Delay acceleration 1e-13 turns/Hz^2: channel 1 (df 1 MHz) 0.1 turn = 36 deg,
  // channel 2 (df 2 MHz) 0.4 turn = 144 deg.
  AMTlscErrItem c = Tlsc(1);
  c.delay_acc = 1e-13;
  const AUVXVisibility w = Turned(shape, c, b, 25.0);
  ExpectTurn(w, 1, 1, 36.0);
  ExpectTurn(w, 1, 2, 144.0);
}

TEST(ErrorsPhase, OneChannelRefersEveryIfToTheFirst) {
  // One channel: f0 is IF 0's frequency for every IF, so IF 1 (8 MHz above) has df = 8 MHz:
  // delay 100 ns gives 2 pi * 0.8 = 288 deg there and nothing in IF 0.
  AMTlscErrItem a = Tlsc(1), b = Tlsc(2);
  a.delay = 1e-7;
  const AUVXVisibility one = Turned(OneStokes(1), a, b, 25.0);
  ExpectTurn(one, 0, 0, 0.0);
  ExpectTurn(one, 1, 0, 288.0);
  // Two channels: each IF refers to its own first channel.
  const AUVXVisibility two = Turned(OneStokes(2), a, b, 25.0);
  ExpectTurn(two, 1, 0, 0.0);
  ExpectTurn(two, 1, 1, 36.0);
}

TEST(ErrorsPhase, EveryStokesEntryTurnsAndKeepsAmplitudeAndWeight) {
  TestFileShape shape;  // 2 IFs x 3 channels x 2 Stokes
  AMTlscErrors list;
  AMTlscErrItem a = Tlsc(1);
  a.phase0_deg = 90.0;
  list.Add(a);
  list.Add(Tlsc(2));
  AMErrorsModel model;
  ASSERT_TRUE(model.Init(list, PhaseOnly(), TestFqTable(shape), 2, 3, 1u, nullptr));
  AUVXVisibility v(2, 3, 2);
  for (int e = 0; e < v.Count(); ++e) v.entries[e] = shape.value(0, e);
  const AUVXVisibility before = v;
  model.Apply(Group(1, 2, 0.0), v);
  for (int e = 0; e < v.Count(); ++e) {
    // Turned by +90 deg: (re, im) -> (-im, re).
    EXPECT_NEAR(v.entries[e].re, -before.entries[e].im, 1e-6) << e;
    EXPECT_NEAR(v.entries[e].im, before.entries[e].re, 1e-6) << e;
    EXPECT_EQ(v.entries[e].weight, before.entries[e].weight) << e;
  }
}

TEST(ErrorsInterval, OutsideGetsNothingAndSegmentsRestartDt) {
  TestFileShape shape;
  AMTlscErrItem a = Tlsc(1), b = Tlsc(2);
  a.fringe_rate = 0.05;
  a.phase0_deg = 10.0;
  AMTlscErrors list;
  list.Add(a);
  list.Add(b);
  auto run = [&](const AMErrorsSetup& setup, double time, AMErrorsModel* keep = nullptr) {
    AMErrorsModel local;
    AMErrorsModel& m = keep ? *keep : local;
    EXPECT_TRUE(m.Init(list, setup, TestFqTable(shape), 2, 3, 1u, nullptr));
    AUVXVisibility v(2, 3, 2);
    for (int e = 0; e < v.Count(); ++e) v.entries[e] = shape.value(3, e);
    m.Apply(Group(1, 2, time), v);
    return v;
  };
  AUVXVisibility original(2, 3, 2);
  for (int e = 0; e < original.Count(); ++e) original.entries[e] = shape.value(3, e);
  auto same = [&](const AUVXVisibility& v) {
    for (int e = 0; e < v.Count(); ++e)
      if (std::memcmp(&v.entries[e], &original.entries[e], sizeof(AUVXVisEntry)) != 0) return false;
    return true;
  };

  AMErrorsSetup setup = PhaseOnly();
  setup.stop_s = 3610.0;
  EXPECT_FALSE(same(run(setup, 10.0)));  // t = stop: inside
  EXPECT_TRUE(same(run(setup, 10.5)));   // t > stop: the stored values, bit for bit

  // t0 < 0: a file whose start time lies before 0h and an interval starting there.
  AMErrorsSetup before = PhaseOnly(-100.0);
  before.time_offset_s = -100.0;
  EXPECT_TRUE(same(run(before, 10.0)));

  // Segments of 20 s from 3600: t = 3625 has t0 = 3620, dt = 5: 0.05 Hz * 5 s = 0.25 turn (+10 deg).
  AMErrorsSetup seg = PhaseOnly();
  seg.segment_s = 20.0;
  const AUVXVisibility s = run(seg, 25.0);
  const double turn = (90.0 + 10.0) * kDeg;
  for (int e = 0; e < s.Count(); ++e) {
    const AUVXComplex o(original.entries[e]);
    EXPECT_NEAR(s.entries[e].re, o.ampl() * std::cos(o.phase() + turn), 1e-5) << e;
    EXPECT_NEAR(s.entries[e].im, o.ampl() * std::sin(o.phase() + turn), 1e-5) << e;
  }

  // Before the interval start but with t0 = start >= 0: processed with dt < 0 and counted.
  AMErrorsSetup late = PhaseOnly(3620.0);
  AMErrorsModel m;
  const AUVXVisibility early = run(late, 10.0, &m);  // t = 3610, t0 = 3620, dt = -10: -0.5 turn (+10 deg)
  EXPECT_EQ(m.EarlyRecords(), 1);
  EXPECT_EQ(m.FirstEarlyT0(), 3620.0);
  const AUVXComplex o(original.entries[0]);
  EXPECT_NEAR(early.entries[0].re, o.ampl() * std::cos(o.phase() + (-180.0 + 10.0) * kDeg), 1e-5);
}

TEST(ErrorsRandomPhase, DrawCountsFirstUpdateAndSkippedSteps) {
  TestFileShape shape;
  AMTlscErrors list;
  AMTlscErrItem t1 = Tlsc(1), t2 = Tlsc(2), t3 = Tlsc(3);
  t1.phase_err_deg = 2.0;
  t2.phase_err_deg = 3.0;
  t3.phase_err_deg = 5.0;
  list.Add(t1);
  list.Add(t2);
  list.Add(t3);
  // sigma = phase error * pi / 180 * Delta
  constexpr double kPi = std::numbers::pi;
  const double s1 = 2.0 * kPi / 180.0 * 10.0, s2 = 3.0 * kPi / 180.0 * 10.0, s3 = 5.0 * kPi / 180.0 * 10.0;
  AMErrorsModel model;
  ASSERT_TRUE(model.Init(list, PhaseOnly(), TestFqTable(shape), 2, 3, 4242u, nullptr));
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
  AUVXVisibility w(2, 3, 2);
  for (int e = 0; e < w.Count(); ++e) w.entries[e] = shape.value(1, e);
  const AUVXVisibility before = w;
  model.Apply(Group(1, 7, 500.0), w);
  model.Apply(Group(9, 2, 500.0), w);
  expect_same_generator("missing telescope");
  EXPECT_EQ(model.MissingRecords(), 2);
  EXPECT_EQ(std::memcmp(w.entries.data, before.entries.data, std::size_t(w.Count()) * sizeof(AUVXVisEntry)), 0);
}

TEST(ErrorsAmplitude, GainDrawnAfterThePhaseStepOnEachUpdate) {
  TestFileShape shape = OneStokes(1);
  AMTlscErrors list;
  AMTlscErrItem t1 = Tlsc(1), t2 = Tlsc(2);
  t1.ampl_err_db = 1.0;
  t2.ampl_err_db = 0.5;
  list.Add(t1);
  list.Add(t2);
  for (bool with_phase : {true, false}) {
    AMErrorsSetup setup = PhaseOnly();
    setup.use_ampl_err = true;
    setup.use_phase_err = with_phase;
    AMErrorsModel model;
    ASSERT_TRUE(model.Init(list, setup, TestFqTable(shape), 2, 1, 99u, nullptr));
    AUVXVisibility v = Ones(shape);
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
    AMGaussGen ref2 = ref;
    for (int i = 0; i < 2; ++i) ref2.Next(1.0);
    if (with_phase) ref2.Next(0.0);
    EXPECT_EQ(model.Gain(0), std::pow(10.0, ref2.Next(1.0) / 20.0));
  }
}

TEST(ErrorsModelInit, RefusesWhatCannotRun) {
  TestFileShape shape;
  AMTlscErrors list;
  list.Add(Tlsc(1));
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
