// The frequency set-up: its binary block and the editing operations of the page's menu.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "core/file.h"
#include "obs_test_util.h"
#include "observation/freq_setup.h"

namespace {

AMFreqSetup TwoIfs() {
  AMFreqSetup f;
  f.table.Resize(1, 2);
  f.table(0, 0) = {0.0, 0.5e6};
  f.table(0, 1) = {3.0e6, 0.5e6};
  f.n_if = 2;
  f.n_channels = 16;
  return f;
}

}  // namespace

TEST(FreqSetupBlock, LayoutAndRoundTrip) {
  AMFreqSetup f;
  f.table.Resize(2, 1);
  f.table(0, 0) = {1.5, 2.5};
  f.table(1, 0) = {-3.5, 4.5};
  f.freq_ids = AArray<int>();
  f.freq_ids.Add(1);
  f.freq_ids.Add(7);
  f.n_if = 1;
  f.n_channels = 32;
  f.ref_freq_hz = 22.2e9;
  ByteBuilder b;
  b.Put<std::int32_t>(2), b.Put<std::int32_t>(1);
  b.Put(1.5), b.Put(2.5), b.Put(-3.5), b.Put(4.5);
  b.Put<std::int32_t>(2), b.Put<std::int32_t>(1), b.Put<std::int32_t>(7);
  b.Put<std::int32_t>(1), b.Put<std::int32_t>(32), b.Put(22.2e9);
  AMemoryFile mem;
  ASSERT_TRUE(f.Store(mem));
  EXPECT_EQ(mem.Bytes(), b.bytes);

  AMFreqSetup back;
  AMemoryFile in(b.bytes);
  ASSERT_TRUE(back.Load(in));
  EXPECT_EQ(back.Rows(), 2);
  EXPECT_EQ(back.Cols(), 1);
  EXPECT_EQ(back.table(1, 0).if_offset_hz, -3.5);
  EXPECT_EQ(back.table(1, 0).ch_width_hz, 4.5);
  EXPECT_EQ(back.freq_ids[1], 7);
  EXPECT_EQ(back.n_channels, 32);
  EXPECT_EQ(back.ref_freq_hz, 22.2e9);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(back.table.data) % 32, 0u);
  for (std::size_t n = 0; n < b.bytes.size(); ++n) {
    AMemoryFile cut(b.bytes.substr(0, n));
    AMFreqSetup g;
    EXPECT_FALSE(g.Load(cut)) << n;
  }
}

TEST(FreqSetupEditing, IfAddDeleteAndOffsets) {
  MessageRecorder rec;
  AMFreqSetup f = TwoIfs();
  ASSERT_TRUE(f.AddIfs(2, &rec));
  ASSERT_EQ(f.Cols(), 4);
  EXPECT_EQ(f.n_if, 4);
  // New IFs continue contiguously: 3 MHz + 16 * 0.5 MHz = 11 MHz, then 19 MHz.
  EXPECT_EQ(f.table(0, 2).if_offset_hz, 11.0e6);
  EXPECT_EQ(f.table(0, 3).if_offset_hz, 19.0e6);
  EXPECT_EQ(f.table(0, 3).ch_width_hz, 0.5e6);
  EXPECT_FALSE(f.AddIfs(0));

  ASSERT_TRUE(f.DeleteIf(1));
  ASSERT_EQ(f.Cols(), 3);
  EXPECT_EQ(f.n_if, 3);
  EXPECT_EQ(f.table(0, 1).if_offset_hz, 11.0e6);
  EXPECT_FALSE(f.DeleteIf(3));
  EXPECT_FALSE(f.DeleteIf(-1));

  ASSERT_TRUE(f.SetIfOffset(0, 1, -2.0e6, &rec));
  EXPECT_EQ(f.table(0, 1).if_offset_hz, -2.0e6);
  EXPECT_TRUE(rec.shown.empty());
  EXPECT_FALSE(f.SetIfOffset(0, 1, std::numeric_limits<double>::quiet_NaN(), &rec));
  ASSERT_EQ(rec.shown.size(), 1u);
  EXPECT_EQ(rec.shown[0], "Invalid frequency.");
  EXPECT_EQ(f.table(0, 1).if_offset_hz, -2.0e6);

  // Offset step: offset_k = offset_0 + k * step; the default step is contiguous.
  EXPECT_EQ(f.DefaultOffsetStepHz(0), 8.0e6);
  ASSERT_TRUE(f.SetOffsetStep(-1, 10.0e6, &rec));
  EXPECT_EQ(f.table(0, 1).if_offset_hz, 10.0e6);
  EXPECT_EQ(f.table(0, 2).if_offset_hz, 20.0e6);
  EXPECT_FALSE(f.SetOffsetStep(-1, std::numeric_limits<double>::infinity(), &rec));
  EXPECT_EQ(rec.shown.size(), 2u);
  EXPECT_EQ(f.table(0, 2).if_offset_hz, 20.0e6);
}

TEST(FreqSetupEditing, ChannelsWidthsAndAutoArrange) {
  MessageRecorder rec;
  AMFreqSetup f = TwoIfs();
  ASSERT_TRUE(f.AddChannels(16));
  EXPECT_EQ(f.n_channels, 32);
  ASSERT_TRUE(f.DeleteChannels(31));
  EXPECT_EQ(f.n_channels, 1);
  EXPECT_FALSE(f.DeleteChannels(1));  // at least one channel stays
  EXPECT_EQ(f.n_channels, 1);
  f.n_channels = 8;

  ASSERT_TRUE(f.SetChannelWidth(0, 1, 2.0e6, &rec));
  EXPECT_EQ(f.table(0, 0).ch_width_hz, 0.5e6);
  EXPECT_EQ(f.table(0, 1).ch_width_hz, 2.0e6);
  for (double bad : {0.0, -1.0e6, std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_FALSE(f.SetChannelWidth(-1, -1, bad, &rec));
  }
  EXPECT_EQ(rec.shown.size(), 3u);
  EXPECT_EQ(f.table(0, 1).ch_width_hz, 2.0e6);

  f.AddIfs(1);
  f.table(0, 0).if_offset_hz = -4.0e6;
  f.AutoArrange();
  // IF 1 starts where IF 0 ends (8 x 0.5 MHz), IF 2 where IF 1 ends (8 x 2 MHz).
  EXPECT_EQ(f.table(0, 1).if_offset_hz, 0.0);
  EXPECT_EQ(f.table(0, 2).if_offset_hz, 16.0e6);
  f.SetChannelWidth(-1, -1, 1.0e6);
  f.AutoArrange();
  for (int k = 0; k < 3; ++k) EXPECT_EQ(f.table(0, k).if_offset_hz, -4.0e6 + k * 8 * 1.0e6);
  EXPECT_EQ(f.ChannelFreqHz(0, 2, 3), 1.6e9 + 12.0e6 + 3.0e6);

  EXPECT_FALSE(f.SetReferenceFrequency(0.0, &rec));
  EXPECT_FALSE(f.SetReferenceFrequency(-5.0, &rec));
  EXPECT_TRUE(f.SetReferenceFrequency(4.8e9, &rec));
  EXPECT_EQ(f.ref_freq_hz, 4.8e9);
}

TEST(FreqSetupEditing, FrequencyIdsAndTypedValues) {
  AMFreqSetup f = TwoIfs();
  ASSERT_TRUE(f.AddFreqId());
  ASSERT_EQ(f.Rows(), 2);
  ASSERT_EQ(f.freq_ids.count, 2);
  EXPECT_EQ(f.freq_ids[1], 2);
  EXPECT_EQ(f.table(1, 1).if_offset_hz, 3.0e6);  // copy of the row above
  f.table(1, 1).if_offset_hz = 5.0e6;
  EXPECT_EQ(f.table(0, 1).if_offset_hz, 3.0e6);
  ASSERT_TRUE(f.DeleteFreqId(0));
  EXPECT_EQ(f.Rows(), 1);
  EXPECT_EQ(f.freq_ids[0], 2);
  EXPECT_EQ(f.table(0, 1).if_offset_hz, 5.0e6);
  EXPECT_FALSE(f.DeleteFreqId(1));

  double hz = 7;
  EXPECT_TRUE(ParseFrequencyMHz(" 1658.5 ", hz));
  EXPECT_EQ(hz, 1658.5e6);
  EXPECT_TRUE(ParseFrequencyMHz("-16", hz));
  EXPECT_EQ(hz, -16.0e6);
  for (const char* bad : {"", "abc", "12 MHz", "nan", "inf", "1e400"}) {
    EXPECT_FALSE(ParseFrequencyMHz(bad, hz)) << bad;
  }
  EXPECT_EQ(hz, -16.0e6);
}
