#include "coverage/uv_plane.h"

#include <cmath>
#include <fstream>
#include <vector>

#include "core/astro_time.h"
#include "core/file.h"
#include "core/messages.h"
#include "core/paths.h"
#include "core/text.h"
#include "coverage/frame_of_date.h"
#include "coverage/orbit_table.h"
#include "coverage/uv_point.h"
#include "observation/obs_limits.h"

namespace {

constexpr const char* kTooManyTelescopesText = "Too many telescopes: a UV plane takes at most 255.";
constexpr const char* kBadTimeStepText = "Invalid time step.";
constexpr std::size_t kFlushBytes = std::size_t{1} << 20;

enum class PositionSource { kGround, kOrbitFile, kElements };

// What the sample loop needs of one telescope, prepared once.
struct TelescopeSetup {
  PositionSource source = PositionSource::kGround;
  AMXYZ itrf;              // ground: (X, -Y, Z)
  double zmin_deg = 0, zmax_deg = 180;
  double az_min_deg = 0, az_max_deg = 360;
  const double* params = nullptr;
  AMOrbTXYZArray* table = nullptr;
};

void WriteText(char* field, std::size_t size, const char* text) {
  std::memset(field, 0, size);
  std::strncpy(field, text, size - 1);
}

}  // namespace

std::string MakeUVTempPath(const std::string& output_path) {
  return getfPath(output_path) + GetNameAsDT() + kUVTempExt;
}

AMUVPlane::~AMUVPlane() {
  if (!keep_) RemoveUVFile();
}

void AMUVPlane::RemoveUVFile() {
  if (!uv_path_.empty()) RemoveFile(uv_path_);
  uv_path_.clear();
}

AMUVPlane::Status AMUVPlane::Fail(Status s) {
  status_ = s;
  return s;
}

int AMUVPlane::Calculate(const AMObservation& obs, ProgressSink* progress, StopFlag* stop, MessageSink* messages,
                         const AMUVPlaneOptions& options) {
  RemoveUVFile();
  status_ = kNotRun;
  samples_ = 0;
  header_ = AUVXHeader();
  const int n = obs.telescopes.GetSize();
  seen_.SetSize(n);
  blocked_.SetSize(n);
  for (int i = 0; i < n; ++i) seen_[i] = blocked_[i] = 0;

  if (progress) progress->SetText(kBeginProgress);
  if (n > 255) {
    if (messages) messages->Show(kTooManyTelescopesText);
    Fail(kTooManyTelescopes);
    return 0;
  }
  const double step = obs.time_step_s;
  if (!(step > 0) || !std::isfinite(step)) {
    if (messages) messages->Show(kBadTimeStepText);
    Fail(kBadTimeStep);
    return 0;
  }
  // A sampling that would not end, or would fill the disk, is refused before the file is made.
  if (const std::string why = CheckTimeSampling(obs); !why.empty()) {
    if (messages) messages->Show(why);
    Fail(kTooManySamples);
    return 0;
  }

  // 1. The temporary file beside the output.
  const std::string path = MakeUVTempPath(obs.output_path);
  AFile file;
  if (!file.Open(path, AFile::modeWrite | AFile::modeBinary)) {
    Fail(kNoTempFile);
    return 0;
  }
  AFileRemover remover(path);  // every early end below leaves no temporary file

  // 2-3. Reference day and orbit tables.
  const double jd0 = JulianDay(obs.day, obs.month, obs.year);
  std::vector<AMOrbTXYZArray> tables(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) {
    const AMTlscItem& tl = obs.telescopes[i];
    if (!tl.use_orbit_file) continue;
    std::ifstream in(tl.orbit_file, std::ios::binary);
    if (!in) {
      if (messages) messages->Show(std::string(kCantOpenOrbitFile) + tl.orbit_file);
      Fail(kOrbitFailed);
      return 0;
    }
    std::string why;
    if (!ReadOrbitFile(in, jd0, tables[static_cast<std::size_t>(i)], &why)) {
      if (messages) messages->Show("Orbit file " + tl.orbit_file + ": " + why);
      Fail(kOrbitFailed);
      return 0;
    }
  }
  std::vector<TelescopeSetup> setup(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) {
    const AMTlscItem& tl = obs.telescopes[i];
    TelescopeSetup& s = setup[static_cast<std::size_t>(i)];
    s.params = tl.params;
    if (tl.IsGround()) {
      s.source = PositionSource::kGround;
      s.itrf = {tl.params[tlsc::kX], -tl.params[tlsc::kY], tl.params[tlsc::kZ]};
      s.zmin_deg = tl.params[tlsc::kZMin];
      s.zmax_deg = tl.params[tlsc::kZMax];
      s.az_min_deg = tl.params[tlsc::kAzMin];
      s.az_max_deg = tl.params[tlsc::kAzMax];
    } else if (tl.use_orbit_file) {
      s.source = PositionSource::kOrbitFile;
      s.table = &tables[static_cast<std::size_t>(i)];
    } else {
      s.source = PositionSource::kElements;
    }
  }

  // 4. Source direction.
  const double ra_rad = obs.ra_time_s * kRaTimeToRad;
  const double dec_rad = obs.dec_arcsec * kDecArcsecToRad;

  // 5. Placeholder header, progress range.
  header_.groups = 0;
  header_.epoch = 2000.0;
  header_.jd0 = jd0;
  header_.one = 1;
  WriteText(header_.flux_unit, sizeof header_.flux_unit, "Jy");
  WriteText(header_.observer, sizeof header_.observer, "QVL User");
  WriteText(header_.origin, sizeof header_.origin, "QVLMODEL");
  header_.SetObject(obs.source_name);
  header_.extremes.init();
  const int n_pol = std::min(obs.polarizations.GetSize(), int{AUVXHeader::kMaxPol});
  header_.n_pol = static_cast<std::int16_t>(n_pol);
  for (int k = 0; k < n_pol; ++k) header_.pol[k] = obs.polarizations[k];
  header_.n_if = obs.freq.n_if;
  header_.n_channels = obs.freq.n_channels;
  header_.ref_freq_hz = obs.freq.ref_freq_hz;
  header_.time_step_s = step;
  unsigned char image[AUVXHeader::kImageBytes];
  header_.ToImage(image);
  if (!file.Write(image, sizeof image)) {
    Fail(kWriteFailed);
    return 0;
  }
  const int n_intervals = obs.intervals.GetSize();
  const double first_start = n_intervals > 0 ? obs.intervals[0].start : 0.0;
  if (progress) {
    const double last_stop = n_intervals > 0 ? obs.intervals[n_intervals - 1].stop : 0.0;
    progress->SetRange(0, static_cast<std::int64_t>(last_stop - first_start));
    progress->SetText(kCalculateUVPlane);
  }

  // 6. The samples.
  std::vector<AMXYZ> uvw(static_cast<std::size_t>(n));
  std::vector<unsigned char> visible(static_cast<std::size_t>(n));
  std::vector<unsigned char> out;
  out.reserve(kFlushBytes + static_cast<std::size_t>(n) * static_cast<std::size_t>(n) * kUVPointBytes);
  std::int64_t count = 0;
  bool first_record = true;
  double t_last = -1.0;
  ASampleFrame frame;
  ASampleFrameSeries frames(jd0, ra_rad, dec_rad);
  AUVXMinMax& mm = header_.extremes;

  for (int k = 0; k < n_intervals; ++k) {
    const AMTimeItem& iv = obs.intervals[k];
    for (double t = iv.start; t <= iv.stop; t += step) {
      if (StopRequested(stop)) {
        file.Close();
        Fail(kStopped);
        return 0;
      }
      if (!(t - t_last >= step)) continue;
      if (progress) progress->SetPos(static_cast<std::int64_t>(t - first_start));
      frames.Frame(t, frame);
      ++samples_;

      for (int i = 0; i < n; ++i) {
        TelescopeSetup& s = setup[static_cast<std::size_t>(i)];
        AMXYZ& r = uvw[static_cast<std::size_t>(i)];
        int seen = 0;
        switch (s.source) {
          case PositionSource::kGround:
            seen = GroundUVW(frame, s.itrf, AMXYZ{}, s.zmin_deg, s.zmax_deg, r);
            if (seen && !AzimuthWithin(GroundAzimuthDeg(frame, s.itrf), s.az_min_deg, s.az_max_deg)) {
              ++blocked_[i];
              if (options.azimuth_limits) seen = 0;
            }
            break;
          case PositionSource::kOrbitFile:
          case PositionSource::kElements: {
            AMXYZ gcrs;
            if (s.source == PositionSource::kOrbitFile) {
              double xyz[3];
              // A time the table does not reach gives no position: the telescope is left out.
              seen = s.table->Interpolate(static_cast<std::int64_t>(t), xyz);
              gcrs = {xyz[0], xyz[1], xyz[2]};
            } else {
              const AMXYZ km = TwoBodyPositionKm(s.params, frame.jd_utc);
              gcrs = {km.x * 1000.0, km.y * 1000.0, km.z * 1000.0};
              seen = 1;
            }
            if (seen) r = InertialUVW(frame, gcrs);
            if (seen && EarthBlocks(frame, gcrs)) {
              ++blocked_[i];
              if (options.earth_blocking) seen = 0;
            }
            break;
          }
        }
        visible[static_cast<std::size_t>(i)] = static_cast<unsigned char>(seen);
        seen_[i] += seen;
      }

      AMUVPoint p;
      p.time = t;
      p.freq_id = static_cast<std::int16_t>(iv.freq_id);
      for (int i = 0; i < n; ++i) {
        if (!visible[static_cast<std::size_t>(i)]) continue;
        const AMXYZ& a = uvw[static_cast<std::size_t>(i)];
        for (int j = i + 1; j < n; ++j) {
          if (!visible[static_cast<std::size_t>(j)]) continue;
          const AMXYZ& b = uvw[static_cast<std::size_t>(j)];
          p.u = static_cast<float>(a.x - b.x);
          p.v = static_cast<float>(a.y - b.y);
          p.w = static_cast<float>(a.z - b.z);
          p.tel1 = static_cast<std::uint8_t>(i + 1);
          p.tel2 = static_cast<std::uint8_t>(j + 1);
          const std::size_t at = out.size();
          out.resize(at + kUVPointBytes);
          PackUVPoint(p, out.data() + at);
          mm.u_min = std::min(mm.u_min, double{p.u});
          mm.u_max = std::max(mm.u_max, double{p.u});
          mm.v_min = std::min(mm.v_min, double{p.v});
          mm.v_max = std::max(mm.v_max, double{p.v});
          mm.w_min = std::min(mm.w_min, double{p.w});
          mm.w_max = std::max(mm.w_max, double{p.w});
          if (first_record) {
            header_.time = t;
            first_record = false;
          }
          ++count;
        }
      }
      if (out.size() >= kFlushBytes) {
        if (!file.Write(out.data(), out.size())) {
          Fail(kWriteFailed);
          return 0;
        }
        out.clear();
      }
      t_last = t;
    }
  }
  if (!out.empty() && !file.Write(out.data(), out.size())) {
    Fail(kWriteFailed);
    return 0;
  }

  // 9. Final header.
  if (count > std::int64_t{0x7fffffff}) {
    Fail(kWriteFailed);
    return 0;
  }
  header_.groups = static_cast<std::int32_t>(count);
  header_.ToImage(image);
  if (!file.Seek(0) || !file.Write(image, sizeof image) || !file.Flush()) {
    Fail(kWriteFailed);
    return 0;
  }
  file.Close();

  // 10. No point: message 304 with the count.
  if (count < 1) {
    if (messages) messages->Show(std::string(msg::kTooFewUvPoints) + toStr(static_cast<int>(count), "(%d)"));
    Fail(kNoPoints);
    return 0;
  }
  remover.Keep();
  uv_path_ = path;
  status_ = kDone;
  return 1;
}

int ReadUVHeader(const std::string& uv_path, AUVXHeader& header) {
  AFile file;
  if (!file.Open(uv_path, AFile::modeRead | AFile::modeBinary)) return 0;
  const std::int64_t length = file.Length();
  if (length < AUVXHeader::kImageBytes) return 0;
  unsigned char image[AUVXHeader::kImageBytes];
  if (!file.Read(image, sizeof image)) return 0;
  AUVXHeader h;
  if (!h.FromImage(image) || h.groups < 0) return 0;
  if ((length - AUVXHeader::kImageBytes) / kUVPointBytes < h.groups) return 0;
  header = h;
  return 1;
}
