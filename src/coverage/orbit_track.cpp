#include "coverage/orbit_track.h"

#include <cmath>
#include <fstream>

#include "core/astro_time.h"
#include "coverage/frame_of_date.h"
#include "coverage/orbit_table.h"
#include "coverage/uv_plane.h"

namespace {

constexpr double kDaysPerSecond = 1.157407407e-05;  // the UV plane's rounded constant

void Project(AMOrbitSample& s, const ASourceSinCos& src) {
  const AMXYZ& r = s.r_m;
  s.east_km = (src.cos_ra * r.y - src.sin_ra * r.x) / 1000.0;
  s.north_km = (src.cos_dec * r.z - src.sin_dec * (src.cos_ra * r.x + src.sin_ra * r.y)) / 1000.0;
}

void Count(AMOrbitTrack& track) {
  track.visible = track.blocked = track.no_position = 0;
  for (const AMOrbitSample& s : track.samples) {
    if (!s.has_position)
      ++track.no_position;
    else if (s.blocked)
      ++track.blocked;
    else
      ++track.visible;
  }
}

}  // namespace

double AMOrbitTrack::VisibleFraction() const {
  return samples.empty() ? 0.0 : double(visible) / double(samples.size());
}

double AMOrbitTrack::BlockedFraction() const {
  return samples.empty() ? 0.0 : double(blocked) / double(samples.size());
}

std::vector<AMTimeSpan> BlockedSpans(const AMOrbitTrack& track) {
  std::vector<AMTimeSpan> spans;
  bool open = false;
  for (const AMOrbitSample& s : track.samples) {
    const bool blocked = s.has_position && s.blocked;
    if (blocked && open)
      spans.back().stop_s = s.t_s;
    else if (blocked)
      spans.push_back({s.t_s, s.t_s});
    open = blocked;
  }
  return spans;
}

std::vector<double> OrbitSampleTimes(const AMObservation& obs, std::int64_t max_samples) {
  std::vector<double> times;
  double step = obs.time_step_s;
  if (!(step > 0) || !std::isfinite(step)) return times;
  AArray<AMTimeItem> intervals = obs.intervals;
  SortTimeItems(intervals);  // the order Create samples them in
  auto usable = [](const AMTimeItem& iv) {  // a damaged file may hold times that never end a loop
    return std::isfinite(iv.start) && std::isfinite(iv.stop) && iv.stop >= iv.start;
  };
  double bound = 0;  // samples without the one-step rule: an upper bound
  for (int k = 0; k < intervals.GetSize(); ++k)
    if (usable(intervals[k])) bound += std::floor((intervals[k].stop - intervals[k].start) / step) + 1;
  if (max_samples > 0 && bound > double(max_samples)) step *= std::ceil(bound / double(max_samples));
  double t_last = -1.0;
  for (int k = 0; k < intervals.GetSize(); ++k) {
    if (!usable(intervals[k])) continue;
    for (double t = intervals[k].start; t <= intervals[k].stop; t += step) {
      if (!(t - t_last >= step)) continue;
      times.push_back(t);
      t_last = t;
    }
  }
  return times;
}

void OblatenessElements(const AMTlscItem& telescope, double out[8]) {
  for (int k = 0; k < tlsc::kParamCount; ++k) out[k] = telescope.params[k];
  out[5] = telescope.params[tlsc::kMeanAnomalyDeg];
  out[6] = telescope.params[tlsc::kEpochJd];
}

std::vector<AMOrbitTrack> SampleOrbits(const AMObservation& obs, const std::string& folder, std::int64_t max_samples) {
  std::vector<AMOrbitTrack> tracks;
  const std::vector<double> times = OrbitSampleTimes(obs, max_samples);
  const double jd0 = JulianDay(obs.day, obs.month, obs.year);
  const ASourceSinCos src = MakeSourceSinCos(obs.ra_time_s * kRaTimeToRad, obs.dec_arcsec * kDecArcsecToRad);

  for (int i = 0; i < obs.telescopes.GetSize(); ++i) {
    const AMTlscItem& tl = obs.telescopes[i];
    if (!tl.IsOrbital()) continue;
    AMOrbitTrack track;
    track.telescope = i;
    track.name = tl.name;
    track.from_file = tl.use_orbit_file != 0;

    AMOrbTXYZArray table;
    double elements[8];
    if (track.from_file) {
      const std::string path = !folder.empty() && !tl.orbit_file.empty() && tl.orbit_file.front() != '/'
                                   ? folder + tl.orbit_file
                                   : tl.orbit_file;
      std::ifstream in(path, std::ios::binary);
      if (!in) {
        track.error = std::string(kCantOpenOrbitFile) + path;
        tracks.push_back(std::move(track));
        continue;
      }
      ReadOrbitFile(in, jd0, table);
    } else {
      OblatenessElements(tl, elements);
    }

    track.samples.reserve(times.size());
    for (const double t : times) {
      AMOrbitSample s;
      s.t_s = t;
      if (track.from_file) {
        double xyz[3];
        s.has_position = table.Interpolate(static_cast<std::int64_t>(t), xyz) != 0;
        if (s.has_position) s.r_m = {xyz[0], xyz[1], xyz[2]};
      } else {
        s.r_m = OblatenessPosition(elements, jd0 + t * kDaysPerSecond);
      }
      if (s.has_position) {
        s.blocked = !SeesPastEarth(s.r_m, src);
        Project(s, src);
      }
      track.samples.push_back(s);
    }
    Count(track);
    tracks.push_back(std::move(track));
  }
  return tracks;
}
