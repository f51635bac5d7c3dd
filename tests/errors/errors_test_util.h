#pragma once
// Small UVX files with chosen telescopes, times, frequencies and visibilities for the errors and
// noise tests, and readers of their records.

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "errors/errors_model.h"
#include "errors/noise_model.h"
#include "uvx/fq_table.h"
#include "uvx/uvx_file.h"
#include "uvx/uvx_lists.h"
#include "uvx/uvx_test_util.h"

struct TestRecord {
  int tel1 = 1, tel2 = 2;
  double time = 0;  // seconds from the file start time
  int freq_id = 1;
};

struct TestFileShape {
  int n_if = 2, n_channels = 3, n_stokes = 2;
  double ref_freq_hz = 1.0e9;
  double time_step_s = 10.0;
  double start_time_s = 3600.0;            // header time, seconds from 0h
  std::vector<double> if_offsets_hz = {0.0, 8.0e6};
  double channel_width_hz = 1.0e6;
  std::vector<double> channel_widths_hz;   // per IF; empty: channel_width_hz for every IF
  int n_telescopes = 3;                    // AN rows NOSTA 1..n, names T1, T2, ...
  std::vector<TestRecord> records;
  // Value of entry e of record g (default: a non-trivial pattern with weights).
  std::function<AUVXVisEntry(int g, int e)> value = [](int g, int e) {
    return AUVXVisEntry{0.5f + 0.25f * float(g % 5) + 0.125f * float(e), -0.75f + 0.0625f * float(e), 1.0f + 0.5f * float(e % 2)};
  };
};

// The FQ table of the shape (frequency id 1); the caller deletes it.
inline AUVXTable* TestFqUvxTable(const TestFileShape& s) {
  const int n = std::max(s.n_if, 1);
  AMatrix<AUVXFqTblItem> m(1, std::uint32_t(n));
  for (int i = 0; i < n; ++i)
    m(0, std::uint32_t(i)) = {i < int(s.if_offsets_hz.size()) ? s.if_offsets_hz[std::size_t(i)] : 0.0,
                              i < int(s.channel_widths_hz.size()) ? s.channel_widths_hz[std::size_t(i)]
                                                                  : s.channel_width_hz};
  AArray<int> ids;
  ids.Add(1);
  return MakeFqTable(m, ids, s.n_if, s.n_channels);
}

inline AUVXFqTbl TestFqTable(const TestFileShape& s) {
  AUVXTable* t = TestFqUvxTable(s);
  AUVXFqTbl fq;
  fq.FromTable(*t, s.ref_freq_hz, s.n_channels);
  delete t;
  return fq;
}

inline void WriteTestFile(const std::string& path, const TestFileShape& s) {
  AUVXFile f;
  ASSERT_TRUE(f.Open(path, AUVXFile::modeCreate)) << f.Error();
  AUVXHeader h;
  h.groups = int(s.records.size());
  h.jd0 = 2460690.5;
  h.n_pol = std::int16_t(s.n_stokes);
  for (int p = 0; p < s.n_stokes; ++p) h.pol[p] = std::int16_t(-1 - p);
  h.n_if = s.n_if;
  h.n_channels = s.n_channels;
  h.ref_freq_hz = s.ref_freq_hz;
  h.time_step_s = s.time_step_s;
  h.time = s.start_time_s;
  h.SetObject("TEST");
  ASSERT_TRUE(f.SetLayout(s.n_if, s.n_channels, s.n_stokes));
  AUVXVisibility vis(s.n_if, s.n_channels, s.n_stokes);
  ASSERT_TRUE(f.SeekUVGroup(0));
  for (int g = 0; g < int(s.records.size()); ++g) {
    const TestRecord& r = s.records[std::size_t(g)];
    AUVXGroup grp;
    grp.tel1 = std::uint8_t(r.tel1);
    grp.tel2 = std::uint8_t(r.tel2);
    grp.freq_id = std::int8_t(r.freq_id);
    grp.u = 1e-3f * float(g);
    grp.v = -1e-3f * float(g);
    grp.time = r.time;
    for (int e = 0; e < vis.Count(); ++e) vis.entries[e] = s.value(g, e);
    ASSERT_TRUE(grp.store(f));
    ASSERT_TRUE(vis.store(f));
    grp.check(h.extremes);
    vis.check(h.extremes);
  }
  ASSERT_TRUE(f.Write(h));
  AUVXTable* fq = TestFqUvxTable(s);
  f.AddTable(*fq);
  delete fq;
  AUVXTable an("AN", AUVXTable::toHash("AN", 0));
  const int c_name = an.AddColumn("ANNAME", "", "8A");
  const int c_no = an.AddColumn("NOSTA", "", "1J");
  for (int i = 1; i <= s.n_telescopes; ++i) {
    const int row = an.AddRow();
    an.SetChars(row, c_name, "T" + std::to_string(i));
    an.SetInt(row, c_no, i);
  }
  f.AddTable(an);
  ASSERT_TRUE(f.Close()) << f.Error();
}

struct TestFileData {
  std::vector<AUVXGroup> groups;
  std::vector<AUVXVisibility> vis;
};

inline TestFileData ReadTestFile(const std::string& path) {
  TestFileData d;
  AUVXFile f;
  EXPECT_TRUE(f.Open(path, AUVXFile::modeRead)) << f.Error();
  if (!f.IsOpen()) return d;
  for (std::int64_t i = 0; i < f.Groups(); ++i) {
    AUVXGroup g;
    AUVXVisibility v(f);
    EXPECT_TRUE(f.SeekUVGroup(i));
    EXPECT_TRUE(g.load(f));
    EXPECT_TRUE(v.load(f));
    d.groups.push_back(g);
    d.vis.push_back(v);
  }
  return d;
}

// Records on `n_times` time steps of `step` seconds, every baseline of telescopes 1..n_tel each time.
inline std::vector<TestRecord> AllBaselines(int n_tel, int n_times, double step, double first = 0.0) {
  std::vector<TestRecord> r;
  for (int k = 0; k < n_times; ++k)
    for (int a = 1; a <= n_tel; ++a)
      for (int b = a + 1; b <= n_tel; ++b) r.push_back({a, b, first + step * k, 1});
  return r;
}

// A telescope of the errors table, named T<id>.
inline AMTlscErrItem Tlsc(int id, double phase_err_deg = 0, double ampl_err_db = 0, double phase0_deg = 0,
                          double fringe_rate = 0, double delay = 0, double fringe_acc = 0, double delay_acc = 0) {
  return {"T" + std::to_string(id), id, phase_err_deg, ampl_err_db, phase0_deg, fringe_rate, delay, fringe_acc, delay_acc};
}

inline AMTlscErrors TlscList(std::initializer_list<AMTlscErrItem> items) {
  AMTlscErrors list;
  for (const AMTlscErrItem& t : items) list.Add(t);
  return list;
}

// A telescope of the SEFD table, named T<id>.
inline AMSfdItem Sfd(int id, std::initializer_list<double> values) {
  AMSfdItem t{"T" + std::to_string(id), id, {}};
  for (double v : values) t.sefd.Add(v);
  return t;
}

inline AUVXGroup Group(int tel1, int tel2, double time = 0) {
  AUVXGroup g;
  g.tel1 = std::uint8_t(tel1);
  g.tel2 = std::uint8_t(tel2);
  g.freq_id = 1;
  g.time = time;
  return g;
}

// A record of the shape's size whose every entry is `value` (or the shape's value of record g).
inline AUVXVisibility Filled(const TestFileShape& s, AUVXVisEntry value) {
  AUVXVisibility v(s.n_if, s.n_channels, s.n_stokes);
  for (int e = 0; e < v.Count(); ++e) v.entries[e] = value;
  return v;
}
inline AUVXVisibility Filled(const TestFileShape& s, int g) {
  AUVXVisibility v(s.n_if, s.n_channels, s.n_stokes);
  for (int e = 0; e < v.Count(); ++e) v.entries[e] = s.value(g, e);
  return v;
}

inline bool SameBytes(const AUVXVisibility& a, const AUVXVisibility& b) {
  return a.Count() == b.Count() && std::memcmp(a.entries.data, b.entries.data, std::size_t(a.Bytes())) == 0;
}
