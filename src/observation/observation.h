#pragma once
// AMObservation: everything task 1 needs to lay down a UV coverage, and its ".obs" file.
//
// .obs layout (binary, little-endian, no header):
//   source name + byte 10 | double ra_time_s | double dec_arcsec | int32 day, month, year |
//   frequency block (see freq_setup.h) | double time_step_s |
//   int32 N, N x AMTimeItem (24 bytes) only when N >= 1 |
//   int32 M, M x int16 polarization code only when M >= 1 |
//   int32 K, K x { 8 doubles, name + 10, ID name + 10, int32 kind, int32 use_orbit_file,
//                  orbit file + 10 } |
//   output UVX path + 10
// Text lines are read with a 32-byte buffer for the source name and 128 bytes for the others
// (at most 31 / 127 bytes kept; the rest of a longer line is skipped). The writer does not cut.

#include <cstdint>
#include <string>

#include "core/containers.h"
#include "observation/freq_setup.h"
#include "observation/time_item.h"
#include "observation/tlsc_item.h"

inline constexpr std::size_t kSourceNameLineBytes = 32;
inline constexpr std::size_t kObsLineBytes = 128;
inline constexpr const char* kObsFileFilter = "QVL observation parameters file (*.OBS)|*.obs|All files (*.*)|*.*||";

class AMObservation {
 public:
  // Defaults: source "Model" at (0, 0), today's local date, the default frequency set-up, no
  // intervals with a 20 s step, one polarization (-1, RR), no telescopes, output
  // BaseFolder() + "Model_mdl.uvx".
  AMObservation();
  // Same, with the output file placed in `base_folder` (ending with '/').
  explicit AMObservation(const std::string& base_folder);
  AMObservation(const AMObservation&) = default;
  AMObservation& operator=(const AMObservation&) = default;

  // Whole-object binary persistence; 1 on success, 0 at the first failed read or write or on an
  // impossible count. A failed Load leaves this object partly filled: load into a fresh object
  // (or use LoadObservation below). Instantiated for AFile and AMemoryFile.
  template <class Stream>
  int Load(Stream& s);
  template <class Stream>
  int Store(Stream& s) const;

  std::string source_name = "Model";
  double ra_time_s = 0;   // seconds of time, 0..86400
  double dec_arcsec = 0;  // arc-seconds
  std::int32_t day = 1, month = 1, year = 2000;
  AMFreqSetup freq;
  AArray<AMTimeItem> intervals;
  double time_step_s = 20.0;
  AArray<std::int16_t> polarizations;
  AObjArray<AMTlscItem> telescopes;
  std::string output_path;
  // Choices of the UV-plane computation beyond the classic one, kept by the JSON form (and the
  // settings file) only, not by the .obs layout above: leave out the samples in which the Earth
  // hides the source from an orbiting telescope; apply the ground stations' azimuth limits.
  bool earth_blocking = false;
  bool azimuth_limits = false;
};

// Loads into a fresh object and assigns it to `target` only on success; non-zero on success.
// An observation holding a value that is not a finite number is refused as damaged.
template <class Stream>
int LoadObservation(Stream& s, AMObservation& target);
// File conveniences. SaveObservationFile writes beside the target and renames on success, so the
// file is complete or unchanged.
int LoadObservationFile(const std::string& path, AMObservation& target);
int SaveObservationFile(const std::string& path, const AMObservation& obs);

// Output path as the program uses it: an absolute path stays; a relative one is taken relative
// to the folder of the observation file (`obs_path`; the current folder when it has none).
std::string ResolveOutputPath(const std::string& obs_path, const std::string& output_path);

// Default output name for a source: folder + name + "_mdl.uvx".
std::string DefaultOutputPath(const std::string& folder, const std::string& source_name);

// ---- Checks ---------------------------------------------------------------------------------

// Right ascension accepted by the field: 0 <= ra <= 86400 s. Declination: |dec| <= 648000".
bool IsValidRightAscension(double ra_time_s);
bool IsValidDeclination(double dec_arcsec);
// Field parsers: parse with strToTime / strToAngle and apply the range; non-zero on success,
// `value` untouched on failure.
int ParseRightAscensionField(const std::string& text, double& ra_time_s);
int ParseDeclinationField(const std::string& text, double& dec_arcsec);

inline constexpr const char* kInvalidRightAscension = "Invalid Right ascension.";
inline constexpr const char* kInvalidDeclination = "Invalid Declination.";

// What a failed Create check points at, so that a page can select it: the telescope list, the
// interval table (with `row` and `column`), the polarization list, or a coordinate field.
enum class AMCreateField { None, Telescopes, Intervals, Polarizations, RightAscension, Declination };

// Outcome of the Create checks. `id` is the message number (300 .. 306; 0 for the coordinate
// messages, which have none). `row` and `column` locate the failing cell of the interval table
// (0-based; column 0 start, 1 stop, 2 frequency ID), -1 when the failure is elsewhere.
struct AMCreateCheck {
  int ok = 1;
  const char* message = nullptr;  // the fixed text shown to the user
  int row = -1;
  int column = -1;
  int id = 0;
  AMCreateField field = AMCreateField::None;
};

// The coordinate texts as typed on a page. When handed to CheckForCreate they are parsed at the
// coordinate step (ParseRightAscensionField / ParseDeclinationField) and, when accepted, become
// the observation's values; a text that is refused fails the check.
struct AMSourceFieldTexts {
  std::string ra_text;
  std::string dec_text;
};

// The checks run before a UV plane is created, in order, stopping at the first failure:
// 300 fewer than 2 telescopes, 301 no interval, 306 no polarization, then the intervals are
// sorted in place, 302 a frequency ID outside 1..number of frequency IDs (row, column 2),
// 303 stop before start (row, column 1), then right ascension and declination (the typed texts
// when `fields` is given, otherwise the stored values).
// The failing message is also shown through `messages` when given. The command line (configure,
// obs check) and the desktop page both run this one function.
AMCreateCheck CheckForCreate(AMObservation& obs, MessageSink* messages = nullptr,
                             const AMSourceFieldTexts* fields = nullptr);

// ---- Change test ------------------------------------------------------------------------------

// The copy of the time step and intervals taken at the last open or save.
class AMObsChangeTracker {
 public:
  void Take(const AMObservation& obs);
  // Modified when `modified_flag` is set or the step, the interval count or any interval's
  // start, stop or frequency ID differs from the copy.
  bool IsModified(const AMObservation& obs, bool modified_flag) const;
  // Keeps the copy in the same order as the observation after CheckForCreate sorted it.
  void SortCopy() { SortTimeItems(intervals_); }

 private:
  double step_ = 20.0;
  AArray<AMTimeItem> intervals_;
};
