// Byte images of the group record and the 466-byte header, the visibility index, extremes, complex
// values and Stokes names.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <numbers>
#include <utility>
#include <vector>

#include "uvx/uvx_header.h"
#include "uvx/uvx_records.h"
#include "uvx_test_util.h"

TEST(GroupRecordLayout, FieldsSitAtTheirDocumentedOffsets) {
  const AUVXGroup g{.lead = 0, .tel1 = 3, .tel2 = 250, .freq_id = -2, .u = 1.5f, .v = -2.25f, .w = 0.125f,
                    .time = 86399.75};
  unsigned char b[24];
  std::memset(b, 0xAB, sizeof b);
  g.ToBytes(b);
  // 1.5f is 0x3FC00000, little-endian.
  const unsigned char head[8] = {0, 3, 250, 0xFE, 0x00, 0x00, 0xC0, 0x3F};
  EXPECT_EQ(std::memcmp(b, head, 8), 0);
  EXPECT_EQ(At<float>(b, 8), -2.25f);
  EXPECT_EQ(At<float>(b, 12), 0.125f);
  EXPECT_EQ(At<double>(b, 16), 86399.75);
  AUVXGroup back;
  back.FromBytes(b);
  unsigned char again[24];
  back.ToBytes(again);
  EXPECT_EQ(std::memcmp(b, again, 24), 0);
  EXPECT_EQ(back.freq_id, -2);
}

TEST(VisibilityIndex, IfChannelStokesOrder) {
  AUVXVisibility v(3, 5, 2);
  EXPECT_EQ(v.Count(), 30);
  EXPECT_EQ(v.Bytes(), 360);
  EXPECT_EQ(v.Index(0, 0, 1), 1);
  EXPECT_EQ(v.Index(0, 1, 0), 2);
  EXPECT_EQ(v.Index(1, 0, 0), 10);
  EXPECT_EQ(v.Index(2, 4, 1), 29);
  v.Entry(1, 3, 1).re = 7.0f;
  EXPECT_EQ(v.entries[(5 * 1 + 3) * 2 + 1].re, 7.0f);
  AUVXVisibility copy = v;  // copies are deep
  copy.Entry(1, 3, 1).re = 1.0f;
  EXPECT_EQ(v.Entry(1, 3, 1).re, 7.0f);
  EXPECT_EQ(AUVXVisibility(0, 4, 1).Count(), 0);
  EXPECT_FALSE(v.Resize(-1, 2, 2));
  EXPECT_FALSE(v.Resize(1 << 16, 1 << 16, 1));
}

TEST(Extremes, FoldGroupsVisibilitiesAndComplexValues) {
  AUVXMinMax mm;
  mm.init();
  EXPECT_FALSE(mm.has_uvw());
  AUVXGroup{.u = -1, .v = 2, .w = 3, .time = 5}.check(mm);
  AUVXGroup{.u = 4, .v = 2, .w = 3, .time = 1}.check(mm);
  EXPECT_EQ((std::vector<double>{mm.u_min, mm.u_max, mm.v_min, mm.time_min, mm.time_max}),
            (std::vector<double>{-1, 4, 2, 1, 5}));
  AUVXVisibility v(1, 2, 1);
  v.entries[0] = {3, 4, 0.5f};
  v.entries[1] = {0, -1, 2};
  v.check(mm);
  EXPECT_DOUBLE_EQ(mm.amp_min, 1.0);
  EXPECT_DOUBLE_EQ(mm.amp_max, 5.0);
  EXPECT_EQ(mm.weight_min, 0.5);
  EXPECT_EQ(mm.weight_max, 2.0);
  AUVXMinMax other;
  other.u_min = -9;
  mm.merge(other);
  EXPECT_EQ(mm.u_min, -9);
  EXPECT_EQ(mm.u_max, 4);

  EXPECT_DOUBLE_EQ(AUVXComplex(-1.0f, 1.0f).ampl(), std::sqrt(2.0));
  EXPECT_DOUBLE_EQ(AUVXComplex(-1.0f, 1.0f).phase(), 3.0 * std::numbers::pi / 4.0);
  EXPECT_DOUBLE_EQ(AUVXComplex(0, -2).phase(), -std::numbers::pi / 2.0);
}

TEST(StokesNames, AipsCodes) {
  const char* names[] = {"YX", "XY", "YY", "XX", "LR", "RL", "LL", "RR", "?0", "I", "Q", "U", "V"};
  for (short c = -8; c <= 4; ++c) EXPECT_EQ(AStokesItem(c).asShortString(), names[c + 8]) << c;
  EXPECT_EQ(AStokesItem(9).asShortString(), "?9");
}

TEST(HeaderImage, FieldsAtDocumentedOffsetsAndRoundTrip) {
  AUVXHeader h;
  h.groups = 1234;
  h.jd0 = 2460000.5;
  h.extremes.init();
  h.extremes.u_min = -0.01;
  h.extremes.w_max = 0.02;
  h.n_pol = 2;
  h.pol[0] = -1;
  h.pol[1] = -2;
  h.n_if = 4;
  h.n_channels = 16;
  h.ref_freq_hz = 1.6e9;
  h.time_step_s = 30;
  h.time = 7200;
  h.SetObject("SGRA*");
  unsigned char img[AUVXHeader::kImageBytes];
  h.ToImage(img);
  EXPECT_EQ(At<std::int32_t>(img, 0), 1234);
  for (auto [offset, value] : {std::pair{4, 2000.0}, {12, 2460000.5}, {62, -0.01}, {62 + 5 * 8, 0.02},
                               {136, 1.6e9}, {144, 30.0}, {152, 7200.0}})
    EXPECT_EQ(At<double>(img, offset), value) << offset;
  for (auto [offset, value] : {std::pair{20, 1}, {110, 2}, {112, -1}, {114, -2}})
    EXPECT_EQ(At<std::int16_t>(img, offset), value) << offset;
  EXPECT_EQ(At<std::int32_t>(img, 128), 4);
  EXPECT_EQ(At<std::int32_t>(img, 132), 16);
  EXPECT_STREQ(reinterpret_cast<const char*>(img + 22), "Jy");
  EXPECT_EQ(std::memcmp(img + 30, "QVL User", 9), 0);
  EXPECT_EQ(std::memcmp(img + 46, "QVLMODEL", 9), 0);
  EXPECT_STREQ(reinterpret_cast<const char*>(img + 208), "SGRA*");
  for (int i = 224; i < AUVXHeader::kImageBytes; ++i) ASSERT_EQ(img[i], 0) << i;

  AUVXHeader back;
  ASSERT_TRUE(back.FromImage(img));
  unsigned char again[AUVXHeader::kImageBytes];
  back.ToImage(again);
  EXPECT_EQ(std::memcmp(img, again, sizeof img), 0);
  EXPECT_EQ(back.Observer(), "QVL User");
  EXPECT_EQ(back.nStokes(), 2);

  // Counts out of range are refused and leave the header as it was.
  img[110] = 9;
  EXPECT_FALSE(back.FromImage(img));
  EXPECT_EQ(back.n_pol, 2);
}
