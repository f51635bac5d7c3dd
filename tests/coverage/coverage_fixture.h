#pragma once
// A temporary folder per test and a small observation of real VLBA/EVN stations.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "core/runtime.h"
#include "observation/observation.h"

class CoverageDir : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = std::filesystem::temp_directory_path() /
           ("qvl_cov_" + std::to_string(::getpid()) + "_" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::remove_all(dir_);
    std::filesystem::create_directories(dir_);
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }
  std::string Path(const std::string& name) const { return (dir_ / name).string(); }
  std::vector<std::string> Files() const {
    std::vector<std::string> out;
    for (const auto& e : std::filesystem::directory_iterator(dir_)) out.push_back(e.path().filename().string());
    return out;
  }
  std::filesystem::path dir_;
};

// A ground telescope as the catalogue keeps it: Y negated.
inline AMTlscItem Ground(const char* name, double x, double y_itrf, double z, double zmax_deg = 180.0) {
  AMTlscItem t;
  t.name = name;
  t.id_name = name;
  t.kind = kTlscGround;
  t.params[tlsc::kX] = x;
  t.params[tlsc::kY] = -y_itrf;
  t.params[tlsc::kZ] = z;
  t.params[tlsc::kDiameter] = 25;
  t.params[tlsc::kAzMin] = 0;
  t.params[tlsc::kAzMax] = 360;
  t.params[tlsc::kZMin] = 0;
  t.params[tlsc::kZMax] = zmax_deg;
  return t;
}

// 3C 273 on 15 March 2024, four telescopes that always count as seeing it (Zmax 180).
inline AMObservation SmallObservation(const std::string& folder) {
  AMObservation obs(folder + "/");
  obs.source_name = "3C273";
  obs.ra_time_s = 12 * 3600 + 29 * 60 + 6.6997;
  obs.dec_arcsec = 2 * 3600 + 3 * 60 + 8.598;
  obs.day = 15;
  obs.month = 3;
  obs.year = 2024;
  obs.time_step_s = 20.0;
  obs.telescopes.Add(Ground("MK", -5464074.944, -2495249.079, 2148296.797));
  obs.telescopes.Add(Ground("SC", 2607861.476, -5488096.343, 1932748.638));
  obs.telescopes.Add(Ground("EF", 4033921.036, 486929.425, 4900366.871));
  obs.telescopes.Add(Ground("PA", -4554231.500, 2816759.100, -3454036.300));
  obs.output_path = folder + "/out.uvx";
  return obs;
}
