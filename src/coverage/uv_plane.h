#pragma once
// AMUVPlane: the UV-plane computation of task 1. Samples every time interval of an observation
// with its time step, computes each telescope's (u, v, w) towards the source and writes one
// 32-byte UV-point record (uv_point.h) per pair of telescopes that both see the source into a
// temporary ".$uv" file beside the output UVX file.

#include <cstdint>
#include <string>

#include "core/containers.h"
#include "core/runtime.h"
#include "observation/observation.h"
#include "uvx/uvx_header.h"

inline constexpr const char* kBeginProgress = "Begin progess";
inline constexpr const char* kCalculateUVPlane = "Calculate UV-Plane...";
inline constexpr const char* kCantOpenOrbitFile = "Can`t open orbit fule: ";
inline constexpr const char* kUVTempExt = ".$uv";

// Choices beyond the classic computation, both off by default.
struct AMUVPlaneOptions {
  // Leave out the samples in which the Earth hides the source from an orbiting telescope
  // (EarthBlocks: the half-line test). Off: orbiting telescopes always count as seeing it.
  bool earth_blocking = false;
  // Apply each ground station's AZmin/AZmax as well as its zenith-angle limits.
  bool azimuth_limits = false;
};

class AMUVPlane {
 public:
  enum Status {
    kNotRun = 0,
    kDone,         // a UV-point file with at least one point was written
    kNoTempFile,   // the temporary file could not be created (no message)
    kOrbitFailed,  // an orbit file could not be opened ("Can`t open orbit fule: " + path) or is
                   // damaged ("Orbit file " + path + ": " + the reason)
    kStopped,      // the stop flag was set; the temporary file is deleted
    kNoPoints,     // no pair saw the source; file deleted, message 304 + "(count)"
    kTooManyTelescopes,  // more than 255 telescopes: the record's telescope numbers are bytes
    kWriteFailed,  // a write to the temporary file failed; the file is deleted
    kBadTimeStep,  // the time step is not a positive number ("Invalid time step.")
    kTooManySamples,  // the sampling exceeds the limits of CheckTimeSampling (its reason shown)
  };

  AMUVPlane() = default;
  AMUVPlane(const AMUVPlane&) = delete;
  AMUVPlane& operator=(const AMUVPlane&) = delete;
  // Removes the temporary file unless KeepUVFile() was called.
  ~AMUVPlane();

  // Runs the computation for `obs` (its intervals already checked and sorted by CheckForCreate).
  // Orbit-file paths are used as given. Non-zero when a UV-point file with at least one record
  // was written; Status() tells why not otherwise.
  int Calculate(const AMObservation& obs, ProgressSink* progress, StopFlag* stop, MessageSink* messages,
                const AMUVPlaneOptions& options = {});

  Status GetStatus() const { return status_; }
  const std::string& UVPath() const { return uv_path_; }
  std::int32_t Points() const { return header_.groups; }
  const AUVXHeader& Header() const { return header_; }
  // Samples taken, and per telescope the number of samples in which it saw the source.
  std::int64_t Samples() const { return samples_; }
  const AArray<std::int64_t>& SeenSamples() const { return seen_; }
  // Per telescope, the samples in which the Earth hid the source from it (orbiting telescopes) or
  // the source lay outside its azimuth limits while within its zenith limits (ground stations);
  // counted whether or not the options leave those samples out.
  const AArray<std::int64_t>& BlockedSamples() const { return blocked_; }

  // Deletes the temporary file now (the normal end of task 1, whatever its outcome).
  void RemoveUVFile();
  // Leaves the temporary file on disk when this object goes away.
  void KeepUVFile() { keep_ = true; }

 private:
  Status Fail(Status s);
  Status status_ = kNotRun;
  std::string uv_path_;
  bool keep_ = false;
  AUVXHeader header_;
  std::int64_t samples_ = 0;
  AArray<std::int64_t> seen_;
  AArray<std::int64_t> blocked_;
};

// Temporary path for an output UVX path: its folder + GetNameAsDT() + ".$uv".
std::string MakeUVTempPath(const std::string& output_path);

// Reads the header image of a UV-point file and checks that the file holds the records it
// declares; non-zero on success.
int ReadUVHeader(const std::string& uv_path, AUVXHeader& header);
