#pragma once
// UVFITS test helpers: a small random-groups writer built on cfitsio's own group API (an
// independent path from the export's block writer, with any parameter order, BITPIX, scaling and
// axis order), header-card patching, UVX comparisons, and the commands the tests run.

#include <fitsio.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "uvx/uvfits_export.h"
#include "uvx/uvfits_tables.h"
#include "uvx_test_util.h"

// An export with u, v, w as the UVX file stores them (the layout tests' files have no phase centre).
inline int ExportAsStored(const std::string& uvx, const std::string& fits, std::string& error,
                          UVFitsSummary* summary = nullptr, ProgressSink* progress = nullptr, StopFlag* stop = nullptr) {
  return ExportUVFITS(uvx, fits, progress, stop, nullptr, error, summary, UVFitsWeights::Auto, UVFitsFrame::Date);
}

struct MiniAxis {
  std::string type;
  long length;
  double crval = 1, cdelt = 1, crpix = 1;
};

struct MiniUVFits {
  std::vector<std::string> params = {"UU", "VV", "WW", "DATE", "DATE", "BASELINE"};
  std::vector<double> pscal, pzero;  // per parameter; 1 and 0 when shorter (the tests set DATE's)
  int bitpix = -32;
  double bscale = 1, bzero = 0;
  std::vector<MiniAxis> axes = {{"COMPLEX", 3}, {"STOKES", 2, -1, -1}, {"FREQ", 4, 22e9, 1e6}, {"IF", 1},
                                {"RA", 1, 10.0}, {"DEC", 1, 20.0}};
  int groups = 5;
  std::string date_obs = "2024-03-15";
  // Physical value of parameter `name` (its `occurrence`-th appearance) of group g.
  std::function<double(int g, const std::string& name, int occurrence)> param;
  // Physical value of data element `e` (FITS order, first axis fastest) of group g.
  std::function<double(int g, long e)> datum = [](int g, long e) { return 0.5 * g + 0.25 * double(e); };
  // Tables; an AN table of `telescopes` rows is made when `an` has no columns.
  int telescopes = 3;
  int an_tables = 1;  // more than one: subarrays
  AUVXTable an, fq, su;

  long Elements() const {
    long n = 1;
    for (const MiniAxis& a : axes) n *= a.length;
    return n;
  }

  void Write(const std::string& path) const {
    std::remove(path.c_str());
    fitsfile* f = nullptr;
    int st = 0;
    ASSERT_EQ(fits_create_diskfile(&f, path.c_str(), &st), 0);
    std::vector<long> naxes = {0};
    for (const MiniAxis& a : axes) naxes.push_back(a.length);
    fits_write_grphdr(f, 1, bitpix, int(naxes.size()), naxes.data(), long(params.size()), groups, 1, &st);
    for (std::size_t p = 0; p < params.size(); ++p) {
      const std::string n = std::to_string(p + 1);
      fits_write_key_str(f, ("PTYPE" + n).c_str(), params[p].c_str(), nullptr, &st);
      fits_write_key_dbl(f, ("PSCAL" + n).c_str(), Scale(p), -17, nullptr, &st);
      fits_write_key_dbl(f, ("PZERO" + n).c_str(), Zero(p), -17, nullptr, &st);
    }
    for (std::size_t a = 0; a < axes.size(); ++a) {
      const std::string n = std::to_string(a + 2);
      fits_write_key_str(f, ("CTYPE" + n).c_str(), axes[a].type.c_str(), nullptr, &st);
      fits_write_key_dbl(f, ("CRVAL" + n).c_str(), axes[a].crval, -17, nullptr, &st);
      fits_write_key_dbl(f, ("CDELT" + n).c_str(), axes[a].cdelt, -17, nullptr, &st);
      fits_write_key_dbl(f, ("CRPIX" + n).c_str(), axes[a].crpix, -17, nullptr, &st);
    }
    fits_write_key_dbl(f, "BSCALE", bscale, -17, nullptr, &st);
    fits_write_key_dbl(f, "BZERO", bzero, -17, nullptr, &st);
    fits_write_key_str(f, "OBJECT", "MINI", nullptr, &st);
    if (!date_obs.empty()) fits_write_key_str(f, "DATE-OBS", date_obs.c_str(), nullptr, &st);
    fits_set_hdustruc(f, &st);
    // cfitsio applies neither PSCAL/PZERO nor BSCALE/BZERO here: the stored values are computed.
    fits_set_bscale(f, 1.0, 0.0, &st);
    const long n = Elements();
    std::vector<double> pv(params.size()), dv(static_cast<std::size_t>(n));
    for (int g = 0; g < groups; ++g) {
      for (std::size_t p = 0; p < params.size(); ++p) {
        int occurrence = 0;
        for (std::size_t q = 0; q < p; ++q) occurrence += params[q] == params[p];
        pv[p] = (param(g, params[p], occurrence) - Zero(p)) / Scale(p);
      }
      for (long e = 0; e < n; ++e) dv[std::size_t(e)] = (datum(g, e) - bzero) / bscale;
      fits_write_grppar_dbl(f, g + 1, 1, long(pv.size()), pv.data(), &st);
      fits_write_img_dbl(f, g + 1, 1, n, dv.data(), &st);
    }
    ASSERT_EQ(st, 0) << "writing groups";
    for (int k = 0; k < an_tables && (an.n_cols > 0 || telescopes > 0); ++k)
      uvfits::WriteFitsTable(f, an.n_cols > 0 ? an : DefaultAntennas(telescopes), "AIPS AN", &st);
    if (fq.n_cols > 0) uvfits::WriteFitsTable(f, fq, "AIPS FQ", &st);
    if (su.n_cols > 0) uvfits::WriteFitsTable(f, su, "AIPS SU", &st);
    fits_close_file(f, &st);
    ASSERT_EQ(st, 0) << "closing";
  }

  static AUVXTable DefaultAntennas(int n) {
    AUVXTable t("AN", AUVXTable::toHash("AN", 0));
    const int c_name = t.AddColumn("ANNAME", "", "8A"), c_xyz = t.AddColumn("STABXYZ", "METERS", "3D");
    const int c_no = t.AddColumn("NOSTA", "", "1J");
    t.AddColumn("MNTSTA", "", "1J");
    for (int i = 0; i < n; ++i) {
      const int r = t.AddRow();
      t.SetChars(r, c_name, "T" + std::to_string(i + 1));
      for (int k = 0; k < 3; ++k) t.SetDouble(r, c_xyz, 1e6 * (i + 1) + k, k);
      t.SetInt(r, c_no, i + 1);
    }
    return t;
  }

 private:
  double Scale(std::size_t p) const { return p < pscal.size() ? pscal[p] : 1.0; }
  double Zero(std::size_t p) const { return p < pzero.size() ? pzero[p] : 0.0; }
};

// Replaces the header card of `key` (first occurrence) with `card`, padded to 80 characters.
inline bool PatchCard(std::string& bytes, const std::string& key, const std::string& card) {
  for (std::size_t at = 0; at + 80 <= bytes.size() && at < 2880 * 20; at += 80) {
    const std::string name = bytes.substr(at, 8);
    std::string k = key;
    k.resize(8, ' ');
    if (name == k) {
      std::string c = card;
      c.resize(80, ' ');
      bytes.replace(at, 80, c);
      return true;
    }
  }
  return false;
}

// Groups and visibilities of two UVX files: equal record by record, the times (absolute: the
// files may count them from different reference days) within `time_tol` seconds.
// With `uvw_rel_tol` > 0, u, v, w may differ by that fraction of the baseline's length (a round trip
// through another frame rounds them twice to float).
inline void ExpectSameGroups(const std::string& a_path, const std::string& b_path, double time_tol,
                             double uvw_rel_tol = 0) {
  AUVXFile a, b;
  ASSERT_TRUE(a.Open(a_path, AUVXFile::modeRead)) << a.Error();
  ASSERT_TRUE(b.Open(b_path, AUVXFile::modeRead)) << b.Error();
  ASSERT_EQ(a.Groups(), b.Groups());
  ASSERT_EQ(a.RecordBytes(), b.RecordBytes());
  const double start_a = a.Header().time + (a.Header().jd0 - b.Header().jd0) * 86400.0, start_b = b.Header().time;
  AUVXGroup ga, gb;
  AUVXVisibility va(a), vb(b);
  int bad = 0;
  for (std::int64_t i = 0; i < a.Groups() && bad < 5; ++i) {
    ASSERT_TRUE(a.SeekUVGroup(i) && ga.load(a) && va.load(a));
    ASSERT_TRUE(b.SeekUVGroup(i) && gb.load(b) && vb.load(b));
    const double length = std::sqrt(double(ga.u) * ga.u + double(ga.v) * ga.v + double(ga.w) * ga.w);
    const double du = std::fabs(double(ga.u) - gb.u), dv = std::fabs(double(ga.v) - gb.v), dw = std::fabs(double(ga.w) - gb.w);
    const bool same_uvw = std::max({du, dv, dw}) <= uvw_rel_tol * length;
    const bool same = ga.tel1 == gb.tel1 && ga.tel2 == gb.tel2 && ga.freq_id == gb.freq_id && same_uvw &&
                      std::fabs((start_a + ga.time) - (start_b + gb.time)) <= time_tol &&
                      std::memcmp(&va.entries[0], &vb.entries[0], std::size_t(va.Bytes())) == 0;
    if (!same) ++bad;
    EXPECT_TRUE(same) << "group " << i << ": u " << ga.u << " / " << gb.u << ", " << int(ga.tel1) << "-" << int(ga.tel2) << " / " << int(gb.tel1) << "-"
                      << int(gb.tel2) << ", t " << start_a + ga.time << " / " << start_b + gb.time;
  }
}

// Overwrites every visibility of a UVX file with SampleEntry values (non-zero, distinct).
inline void FillSampleVisibilities(const std::string& path) {
  AUVXFile f;
  ASSERT_TRUE(f.Open(path, AUVXFile::modeUpdate)) << f.Error();
  AUVXVisibility v(f);
  AUVXHeader h = f.Header();  // the extremes follow the data, as every writer keeps them
  for (std::int64_t g = 0; g < f.Groups(); ++g) {
    for (int e = 0; e < v.Count(); ++e) v.entries[e] = SampleEntry(int(g), e);
    ASSERT_TRUE(f.SeekUVVis(g) && v.store(f));
    v.check(h.extremes);
  }
  ASSERT_TRUE(f.Write(h));
  ASSERT_TRUE(f.Close()) << f.Error();
}

// A Python 3 that has astropy and numpy (Debian's python3-astropy installs for /usr/bin/python3,
// which a PATH with another Python first would hide); empty when there is none.
inline std::string PythonWithAstropy() {
  for (const char* py : {"/usr/bin/python3", "python3"}) {
    if (RunShell(std::string(py) + " -c 'import astropy.io.fits, numpy'").status == 0) return py;
  }
  return {};
}

inline bool NoFileLeft(const std::string& path) {
  return !std::filesystem::exists(path) && !std::filesystem::exists(path + ".part");
}
