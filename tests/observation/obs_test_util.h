#pragma once
// Shared helpers of the observation tests: a byte builder, a sample observation and a unique
// temporary folder.

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <random>
#include <string>

#include "observation/observation.h"

// Appends little-endian values and text lines to a byte string, independently of the writer.
struct ByteBuilder {
  std::string bytes;
  template <class T>
  void Put(T value) {
    bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
  }
  void Line(const std::string& text) {
    bytes += text;
    bytes += '\n';
  }
};

// An observation with every part filled: 2 frequency IDs x 2 IFs, 2 intervals, 2 polarizations,
// a ground and an orbital telescope.
inline AMObservation SampleObservation() {
  AMObservation obs(std::string("/tmp/"));
  obs.source_name = "3C273";
  obs.ra_time_s = 45000.5;
  obs.dec_arcsec = -1234.25;
  obs.day = 15;
  obs.month = 3;
  obs.year = 2024;
  obs.freq.table.Resize(2, 2);
  obs.freq.table(0, 0) = {0.0, 1.0e6};
  obs.freq.table(0, 1) = {16.0e6, 1.0e6};
  obs.freq.table(1, 0) = {-8.0e6, 0.5e6};
  obs.freq.table(1, 1) = {0.0, 0.5e6};
  obs.freq.freq_ids = AArray<int>();
  obs.freq.freq_ids.Add(1);
  obs.freq.freq_ids.Add(2);
  obs.freq.n_if = 2;
  obs.freq.n_channels = 16;
  obs.freq.ref_freq_hz = 4.99e9;
  obs.time_step_s = 60.0;
  obs.intervals.Add(AMTimeItem{0.0, 3600.0, 1, 0});
  obs.intervals.Add(AMTimeItem{7200.0, 10800.5, 2, 0});
  obs.polarizations = AArray<std::int16_t>();
  obs.polarizations.Add(-1);
  obs.polarizations.Add(-2);
  AMTlscItem g;
  g.name = "VLBA_SC";
  g.id_name = "SC";
  const double gp[8] = {2607861.476, 5488096.343, 1932748.638, 25, 0, 360, 0, 80};
  std::copy(gp, gp + 8, g.params);
  g.kind = kTlscGround;
  AMTlscItem o;
  o.name = "SpaceHEO";
  o.id_name = "HE";
  const double op[8] = {180000, 0.95, 51.5, 120, 280, 2460000.5, 0, 0};
  std::copy(op, op + 8, o.params);
  o.kind = kTlscOrbital;
  o.use_orbit_file = 1;
  o.orbit_file = "orbits/heo.org";
  obs.telescopes.Add(g);
  obs.telescopes.Add(o);
  obs.output_path = "out/3C273_mdl.uvx";
  return obs;
}

// A fresh folder under /tmp removed at the end of the test.
class TempFolder {
 public:
  TempFolder() {
    std::random_device rd;
    path_ = std::filesystem::temp_directory_path() / ("qvl-obs-test-" + std::to_string(rd()) + std::to_string(rd()));
    std::filesystem::create_directories(path_);
  }
  ~TempFolder() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  std::string Path(const std::string& name) const { return (path_ / name).string(); }
  std::string Folder() const { return path_.string() + "/"; }

 private:
  std::filesystem::path path_;
};
