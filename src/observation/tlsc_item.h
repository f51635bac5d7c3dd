#pragma once
// Telescope records: AMTlscInfoItem (an entry of the catalogue "Telescopes.dat") and AMTlscItem
// (a telescope selected into an observation, copied from a catalogue entry).
//
// The eight parameters, by kind:
//   index  ground telescope            orbital telescope
//   0      X [m]                       semimajor axis [km]
//   1      Y [m] (see below)           eccentricity
//   2      Z [m]                       inclination [deg]
//   3      dish diameter D [m]         right ascension of the ascending node [deg]
//   4      AZmin [deg]                 argument of perigee [deg]
//   5      AZmax [deg]                 initial zero epoch [JD]
//   6      Zmin [deg] (zenith angle)   mean anomaly at the zero epoch [deg]
//   7      Zmax [deg] (zenith angle)   not used
// X, Y, Z are geocentric Cartesian coordinates with Y counted toward 90 deg WEST (the opposite
// sign of ITRF); the position routine is handed (X, -Y, Z), which is the Earth-fixed ITRF vector.

#include <cstdint>
#include <string>

// Kind codes kept in memory and in the .obs file (`ground` of AMTlscInfoItem, `kind` of
// AMTlscItem). The catalogue file stores the negation (0 ground, 1 orbital).
inline constexpr std::int32_t kTlscGround = 1;
inline constexpr std::int32_t kTlscOrbital = 0;

// Parameter indices, named for readability.
namespace tlsc {
inline constexpr int kX = 0, kY = 1, kZ = 2, kDiameter = 3, kAzMin = 4, kAzMax = 5, kZMin = 6, kZMax = 7;
inline constexpr int kSemimajorKm = 0, kEccentricity = 1, kInclinationDeg = 2, kNodeDeg = 3,
                     kPerigeeArgDeg = 4, kEpochJd = 5, kMeanAnomalyDeg = 6, kUnused = 7;
inline constexpr int kParamCount = 8;
}  // namespace tlsc

// One entry of the telescope catalogue.
struct AMTlscInfoItem {
  std::string name;                     // no blanks
  std::string id_name;                  // short identifier, no blanks
  double params[tlsc::kParamCount] = {};
  std::int32_t ground = kTlscGround;    // 1 ground, 0 orbital
  std::int32_t extra = 0;               // set to 0 on reading

  bool IsGround() const { return ground != 0; }
};

// One telescope of an observation.
struct AMTlscItem {
  std::string name;
  std::string id_name;
  double params[tlsc::kParamCount] = {};
  std::int32_t kind = kTlscGround;      // kTlscGround or kTlscOrbital
  std::int32_t use_orbit_file = 0;      // non-zero: positions come from `orbit_file`
  std::string orbit_file;               // default extension "org"

  bool IsGround() const { return kind != kTlscOrbital; }
  bool IsOrbital() const { return kind == kTlscOrbital; }

  AMTlscItem() = default;
  // The copy made when a catalogue entry is added to an observation.
  explicit AMTlscItem(const AMTlscInfoItem& info);
};

// Default extension of orbit files (without the dot).
inline constexpr const char* kOrbitFileExt = "org";
