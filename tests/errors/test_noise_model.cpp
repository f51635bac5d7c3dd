// The thermal-noise model on single records: sigma by the formula and the worked example,
// amplitude exactly sigma on a zero model, one phase per IF and Stokes shared by the channels,
// the classic generator's sequence, zero IFs, missing telescopes, and the Gaussian option's
// statistics.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <numbers>

#include "errors/noise_model.h"
#include "errors_test_util.h"

namespace {

AMSfdItem Sfd(int id, std::initializer_list<double> values) {
  AMSfdItem t;
  t.name = "T" + std::to_string(id);
  t.id = id;
  for (double v : values) t.sefd.Add(v);
  return t;
}

AMTlscSfd TwoTelescopes(std::initializer_list<double> s1, std::initializer_list<double> s2, double b = 16e6,
                        double t = 60.0) {
  AMTlscSfd sfd;
  sfd.items.Add(Sfd(1, s1));
  sfd.items.Add(Sfd(2, s2));
  sfd.n_if = int(s1.size());
  sfd.bandwidth_hz = b;
  sfd.duration_s = t;
  return sfd;
}

AUVXGroup Group(int tel1, int tel2) {
  AUVXGroup g;
  g.tel1 = std::uint8_t(tel1);
  g.tel2 = std::uint8_t(tel2);
  return g;
}

AUVXVisibility Zero(int n_if, int n_ch, int n_st, float weight = 3.0f) {
  AUVXVisibility v(n_if, n_ch, n_st);
  for (int e = 0; e < v.Count(); ++e) v.entries[e] = {0.0f, 0.0f, weight};
  return v;
}

}  // namespace

TEST(NoiseSigma, WorkedExampleAndFormula) {
  // S = 1000 Jy for both, B = 16 MHz, T = 60 s: 1000 / sqrt(9.6e8) = 1000 / 30983.87 = 0.032275 Jy.
  AMNoiseModel model;
  ASSERT_TRUE(model.Init(TwoTelescopes({1000.0, 400.0}, {1000.0, 900.0}), 2, {}, 1u, nullptr));
  EXPECT_NEAR(model.Sigma(0, 1, 0), 0.0323, 5e-5);
  EXPECT_NEAR(model.Sigma(0, 1, 0), 0.03227486, 1e-8);
  // Different SEFDs: sqrt(400 * 900) = 600 Jy over the same sqrt(B T).
  EXPECT_NEAR(model.Sigma(0, 1, 1), 600.0 / std::sqrt(16e6 * 60.0), 1e-12);
  // The Gaussian model: sqrt(S1 S2 / (2 B T)) / eta = 0.03227486 / 1.41421356 / 0.88 = 0.02593383.
  AMNoiseOptions g;
  g.gaussian = true;
  ASSERT_TRUE(model.Init(TwoTelescopes({1000.0}, {1000.0}), 1, g, 1u, nullptr));
  EXPECT_NEAR(model.GaussSigma(0, 1, 0), 0.02593383, 1e-8);
}

TEST(NoiseClassic, AmplitudeExactlySigmaOnePhasePerIfAndStokes) {
  // 2 IFs x 4 channels x 2 Stokes of zeros. Per IF f and Stokes s one phase rand() * 2 pi / 32768,
  // drawn IF by IF, Stokes inside; the same value in every channel.
  AMNoiseModel model;
  ASSERT_TRUE(model.Init(TwoTelescopes({1000.0, 250.0}, {1000.0, 4000.0}), 2, {}, 777u, nullptr));
  AUVXVisibility v = Zero(2, 4, 2);
  model.Apply(Group(1, 2), v);
  ClassicRand ref(777u);
  const double k = 1.0 / std::sqrt(16e6 * 60.0);
  const double sigma[2] = {std::sqrt(1000.0 * 1000.0) * k, std::sqrt(250.0 * 4000.0) * k};  // both 1000 k
  for (int f = 0; f < 2; ++f)
    for (int s = 0; s < 2; ++s) {
      const double phi = ref.Next() * 2.0 * std::numbers::pi / 32768.0;
      for (int c = 0; c < 4; ++c) {
        const AUVXVisEntry& e = v.Entry(f, c, s);
        EXPECT_NEAR(std::hypot(double(e.re), double(e.im)), sigma[f], 1e-8) << f << c << s;
        EXPECT_EQ(e.re, float(sigma[f] * std::cos(phi))) << f << c << s;
        EXPECT_EQ(e.im, float(sigma[f] * std::sin(phi))) << f << c << s;
        EXPECT_EQ(e.weight, 3.0f);
        // Shared by the channels, bit for bit.
        EXPECT_EQ(std::memcmp(&e, &v.Entry(f, 0, s), sizeof e), 0);
      }
    }
  EXPECT_EQ(model.Rand().State(), ref.State());
  // The noise is added to what is there.
  AUVXVisibility w = Zero(2, 4, 2);
  for (int e = 0; e < w.Count(); ++e) w.entries[e].re = 5.0f;
  AMNoiseModel again;
  ASSERT_TRUE(again.Init(TwoTelescopes({1000.0, 250.0}, {1000.0, 4000.0}), 2, {}, 777u, nullptr));
  again.Apply(Group(1, 2), w);
  for (int e = 0; e < w.Count(); ++e) {
    EXPECT_NEAR(w.entries[e].re, 5.0 + double(v.entries[e].re), 1e-6) << e;
    EXPECT_EQ(w.entries[e].im, v.entries[e].im) << e;
  }
}

TEST(NoiseClassic, ZeroIfsDrawOneIfAndMissingTelescopesNothing) {
  // A file without IFs runs IF 0: one draw per Stokes parameter and record, SEFD IF1 used. Its
  // records hold no entries, so there is nothing to add the noise to.
  AMNoiseModel model;
  ASSERT_TRUE(model.Init(TwoTelescopes({1000.0}, {1000.0}), 0, {}, 5u, nullptr));
  AUVXVisibility v = Zero(0, 4, 3);
  ASSERT_EQ(v.Count(), 0);
  model.Apply(Group(1, 2), v);
  model.Apply(Group(2, 1), v);
  ClassicRand ref(5u);
  for (int i = 0; i < 6; ++i) ref.Next();
  EXPECT_EQ(model.Rand().State(), ref.State());
  // A missing telescope: unchanged, counted, nothing drawn.
  AUVXVisibility w = Zero(1, 2, 1);
  AMNoiseModel m1;
  ASSERT_TRUE(m1.Init(TwoTelescopes({1000.0}, {1000.0}), 1, {}, 5u, nullptr));
  m1.Apply(Group(1, 3), w);
  m1.Apply(Group(4, 2), w);
  EXPECT_EQ(m1.MissingRecords(), 2);
  EXPECT_EQ(m1.Rand().State(), 5u);
  EXPECT_EQ(w.entries[0].re, 0.0f);
  // The last of several entries with one identifier wins.
  AMTlscSfd dup = TwoTelescopes({1000.0}, {1000.0});
  dup.items.Add(Sfd(2, {4000.0}));
  AMNoiseModel m2;
  ASSERT_TRUE(m2.Init(dup, 1, {}, 5u, nullptr));
  EXPECT_EQ(m2.Entry(2), 2);
  AUVXVisibility d = Zero(1, 1, 1);
  m2.Apply(Group(1, 2), d);
  EXPECT_NEAR(std::hypot(d.entries[0].re, d.entries[0].im), 2000.0 / std::sqrt(9.6e8), 1e-8);
}

TEST(NoiseModelInit, RefusesShortOrBadSefdListsAndParameters) {
  AMNoiseModel model;
  std::string error;
  EXPECT_FALSE(model.Init(TwoTelescopes({1000.0}, {1000.0}), 2, {}, 1u, &error));
  EXPECT_NE(error.find("T1 (#1) has 1 SEFD value(s); the file has 2 IF(s)"), std::string::npos) << error;
  EXPECT_FALSE(model.Init(TwoTelescopes({-1.0}, {1000.0}), 1, {}, 1u, &error));
  EXPECT_NE(error.find("SEFD IF1"), std::string::npos) << error;
  EXPECT_FALSE(model.Init(TwoTelescopes({1.0}, {1.0}, 0.0), 1, {}, 1u, &error));
  EXPECT_NE(error.find("bandwidth"), std::string::npos) << error;
  EXPECT_FALSE(model.Init(TwoTelescopes({1.0}, {1.0}, 1e6, -5.0), 1, {}, 1u, &error));
  EXPECT_NE(error.find("duration"), std::string::npos) << error;
  AMNoiseOptions g;
  g.gaussian = true;
  g.efficiency = 0.0;
  EXPECT_FALSE(model.Init(TwoTelescopes({1.0}, {1.0}), 1, g, 1u, &error));
  EXPECT_NE(error.find("efficiency"), std::string::npos) << error;
}

TEST(NoiseGaussian, MeanAndStandardDeviationOverManyDraws) {
  // 2000 records x 2 IFs x 8 channels x 2 Stokes = 64000 independent values per part.
  AMNoiseOptions g;
  g.gaussian = true;
  g.efficiency = 0.7;
  AMNoiseModel model;
  ASSERT_TRUE(model.Init(TwoTelescopes({1000.0, 3000.0}, {1000.0, 3000.0}), 2, g, 31u, nullptr));
  const double sigma[2] = {std::sqrt(1e6 / (2 * 16e6 * 60.0)) / 0.7, std::sqrt(9e6 / (2 * 16e6 * 60.0)) / 0.7};
  double sum[2][2] = {}, sum2[2][2] = {}, cross[2] = {};
  int n = 0;
  for (int r = 0; r < 2000; ++r) {
    AUVXVisibility v = Zero(2, 8, 2);
    model.Apply(Group(1, 2), v);
    for (int f = 0; f < 2; ++f)
      for (int c = 0; c < 8; ++c)
        for (int s = 0; s < 2; ++s) {
          const AUVXVisEntry& e = v.Entry(f, c, s);
          const double re = e.re / sigma[f], im = e.im / sigma[f];
          sum[f][0] += re;
          sum[f][1] += im;
          sum2[f][0] += re * re;
          sum2[f][1] += im * im;
          cross[f] += re * im;
          EXPECT_EQ(e.weight, 3.0f);
        }
    n += 16;
  }
  for (int f = 0; f < 2; ++f)
    for (int p = 0; p < 2; ++p) {
      const double mean = sum[f][p] / n;
      const double sd = std::sqrt(sum2[f][p] / n - mean * mean);
      EXPECT_NEAR(mean, 0.0, 4.0 / std::sqrt(double(n))) << f << p;      // 4 standard errors
      EXPECT_NEAR(sd, 1.0, 4.0 / std::sqrt(2.0 * n)) << f << p;          // 4 standard errors of sd
      EXPECT_NEAR(cross[f] / n, 0.0, 4.0 / std::sqrt(double(n))) << f;  // re and im uncorrelated
    }
}
