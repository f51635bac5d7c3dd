#pragma once
// Small UVX files for the tests: a unique temporary folder, a writer of a valid file, byte
// readers and a shell runner.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <string>

#include "uvx/fq_table.h"
#include "uvx/uvx_file.h"
#include "uvx/uvx_lists.h"

class TempDir {
 public:
  TempDir() {
    std::random_device rd;
    path_ = std::filesystem::temp_directory_path() /
            ("qvl_uvx_test_" + std::to_string(::getpid()) + "_" + std::to_string(rd()));
    std::filesystem::create_directories(path_);
  }
  ~TempDir() { std::filesystem::remove_all(path_); }
  std::string File(const std::string& name) const { return (path_ / name).string(); }
  std::string Path() const { return path_.string(); }

 private:
  std::filesystem::path path_;
};

inline std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

inline void WriteAllBytes(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), std::streamsize(bytes.size()));
}

// The little-endian value of type T at `offset` of a byte image or a file's bytes.
template <class T>
T At(const void* p, std::size_t offset) {
  T v;
  std::memcpy(&v, static_cast<const char*>(p) + offset, sizeof v);
  return v;
}
template <class T>
T At(const std::string& s, std::size_t offset) { return At<T>(s.data(), offset); }

struct CommandOutput {
  int status = -1;
  std::string out;
};

// Runs a shell command; its status and what it printed on stdout and stderr.
inline CommandOutput RunShell(const std::string& cmd) {
  CommandOutput r;
  FILE* p = ::popen((cmd + " 2>&1").c_str(), "r");
  if (!p) return r;
  char buf[4096];
  std::size_t n;
  while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) r.out.append(buf, n);
  const int st = ::pclose(p);
  r.status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
  return r;
}

// The visibility value the sample files hold for group g, entry e.
inline AUVXVisEntry SampleEntry(int g, int e) {
  return AUVXVisEntry{float(g) + 0.25f * float(e), -float(e) - 0.5f, 1.0f + 0.125f * float(g % 3)};
}

// Whether three floats (re, im, weight) are bit for bit the entry `e`.
inline bool SameEntry(const void* floats, const AUVXVisEntry& e) { return std::memcmp(floats, &e, 12) == 0; }

inline AUVXGroup SampleGroup(int g) {
  AUVXGroup grp;
  grp.tel1 = std::uint8_t(1 + g % 3);
  grp.tel2 = std::uint8_t(grp.tel1 + 1);
  grp.freq_id = std::int8_t(1);
  grp.u = 1e-3f * float(g) - 0.002f;
  grp.v = -2e-3f * float(g) + 0.001f;
  grp.w = 5e-4f * float(g);
  grp.time = 10.0 * (g / 3);
  return grp;
}

// A complete small file: header, `groups` groups of 2 IFs x 3 channels x 2 Stokes, tables FQ,
// SU, AN, BL, PS, written in the order the task-1 writer uses.
inline void WriteSampleFile(const std::string& path, int groups = 7) {
  AUVXFile f;
  ASSERT_TRUE(f.Open(path, AUVXFile::modeCreate)) << f.Error();
  AUVXHeader h;
  h.groups = groups, h.jd0 = 2451545.0, h.n_pol = 2, h.pol[0] = -1, h.pol[1] = -2, h.n_if = 2, h.n_channels = 3;
  h.ref_freq_hz = 22.2e9, h.time_step_s = 10.0, h.time = 3600.0;
  h.SetObject("3C84");
  AUVXVisibility vis(2, 3, 2);
  AUVXBaseLines bl(0, 128);
  AUVXPosition pos;
  h.extremes.init();
  ASSERT_TRUE(f.SeekUVGroup(0));
  for (int g = 0; g < groups; ++g) {
    AUVXGroup grp = SampleGroup(g);
    for (int e = 0; e < vis.Count(); ++e) vis.entries[e] = SampleEntry(g, e);
    ASSERT_TRUE(grp.store(f) && vis.store(f));
    grp.check(h.extremes);
    vis.check(h.extremes);
    AUVXBaseLineItem item(grp);
    bl.checkBase(item);
    pos.CheckUVGroup(grp, g);
  }
  pos.AddStartTime(h.time);
  ASSERT_TRUE(f.Write(h));
  AMatrix<AUVXFqTblItem> m(1, 2);
  m(0, 0) = {0.0, 8e6}, m(0, 1) = {16e6, 8e6};
  AArray<int> ids;
  ids.Add(1);
  f.AddTable(*std::unique_ptr<AUVXTable>(MakeFqTable(m, ids, 2, 3)));
  AUVXTable su("SU", AUVXTable::toHash("SU", 0));
  const int c_id = su.AddColumn("ID. NO.", "", "1J");
  const int c_src = su.AddColumn("SOURCE", "", "16A");
  const int c_ra = su.AddColumn("RAEPO", "DEGREES", "1D");
  const int r = su.AddRow();
  su.SetInt(r, c_id, 1);
  su.SetChars(r, c_src, "3C84");
  su.SetDouble(r, c_ra, 49.95);
  su.AddKeywordChar("VELTYPE", "TOPOCENT");
  f.AddTable(su);
  AUVXTable an("AN", AUVXTable::toHash("AN", 0));
  const int c_name = an.AddColumn("ANNAME", "", "8A");
  const int c_xyz = an.AddColumn("STABXYZ", "METERS", "3D");
  const int c_no = an.AddColumn("NOSTA", "", "1J");
  const char* names[] = {"EFLSBERG", "ONSALA60", "MEDICINA", "NOTO"};
  for (int i = 0; i < 4; ++i) {
    const int row = an.AddRow();
    an.SetChars(row, c_name, names[i]);
    const double xyz[3] = {4e6 + i, 5e5 - i, 4.9e6};
    for (int k = 0; k < 3; ++k) an.SetDouble(row, c_xyz, xyz[k], k);
    an.SetInt(row, c_no, i + 1);
  }
  an.AddKeywordDate("RDATE", 2000, 1, 1);
  f.AddTable(an);
  f.AddTable(*std::unique_ptr<AUVXTable>(bl.ToUVXTable())).AddTable(*std::unique_ptr<AUVXTable>(pos.ToUVXTable()));
  ASSERT_TRUE(f.Close()) << f.Error();
}
