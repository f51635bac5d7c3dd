#include "observation/obs_limits.h"

#include <cmath>
#include <cstdio>

#include "core/astro_time.h"
#include "core/text.h"
#include "observation/telescope_catalog.h"

namespace {

std::string TelescopeLabel(const AMObservation& obs, int index) {
  const AMTlscItem& t = obs.telescopes[index];
  return "telescope " + std::to_string(index + 1) + " (" + EscapeText(t.name, 40) + " " + EscapeText(t.id_name, 16) +
         ")";
}

// A count held in a double: all digits while they are exact, else three significant ones.
std::string CountText(double n) { return toStr(n, n < 1e15 ? "%.0f" : "%.3g"); }

std::string DateText(const AMObservation& obs) {
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d", obs.year, obs.month, obs.day);
  return text;
}

}  // namespace

std::string FirstNonFiniteValue(const AMObservation& obs) {
  if (!std::isfinite(obs.ra_time_s)) return "right ascension";
  if (!std::isfinite(obs.dec_arcsec)) return "declination";
  if (!std::isfinite(obs.time_step_s)) return "time step";
  const AMFreqSetup& f = obs.freq;
  if (!std::isfinite(f.ref_freq_hz)) return "reference frequency";
  for (std::uint64_t i = 0; i < f.table.Elements(); ++i)
    if (!std::isfinite(f.table.data[i].if_offset_hz) || !std::isfinite(f.table.data[i].ch_width_hz))
      return "frequency set-up row " + std::to_string(i / std::max(f.table.cols, 1u) + 1) + " IF " +
             std::to_string(i % std::max(f.table.cols, 1u) + 1);
  for (int i = 0; i < obs.intervals.GetSize(); ++i)
    if (!std::isfinite(obs.intervals[i].start) || !std::isfinite(obs.intervals[i].stop))
      return "time interval " + std::to_string(i + 1);
  for (int i = 0; i < obs.telescopes.GetSize(); ++i)
    for (int k = 0; k < tlsc::kParamCount; ++k)
      if (!std::isfinite(obs.telescopes[i].params[k]))
        return "telescope " + std::to_string(i + 1) + " parameter " + std::to_string(k + 1);
  return {};
}

double CountTimeSamples(const AMObservation& obs) {
  double samples = 0;
  const double step = obs.time_step_s;
  for (const AMTimeItem& t : obs.intervals)
    if (t.stop >= t.start) samples += std::floor((t.stop - t.start) / step) + 1.0;
  return samples;
}

std::string CheckTimeSampling(const AMObservation& obs) {
  const double step = obs.time_step_s;
  if (!(step >= kMinTimeStepS) || !std::isfinite(step))
    return "time step " + valToStr(step) + " s is below the shortest step of " + valToStr(kMinTimeStepS) + " s";
  for (int i = 0; i < obs.intervals.GetSize(); ++i) {
    const AMTimeItem& t = obs.intervals[i];
    for (double v : {t.start, t.stop})
      if (!(std::fabs(v) <= kMaxIntervalTimeS))
        return "time interval " + std::to_string(i + 1) + ": time " + valToStr(v) + " s lies more than " +
               CountText(kMaxIntervalTimeS) + " s (366 days) from 0h of the observation date";
  }
  const double samples = CountTimeSamples(obs);
  if (!(samples <= kMaxTimeSamples))
    return "the intervals give " + CountText(samples) + " time samples at a step of " + valToStr(step) +
           " s; at most " + CountText(kMaxTimeSamples) + " are taken";
  return {};
}

std::string CheckObservationDate(const AMObservation& obs) {
  if (obs.year < 1 || obs.year > 9999 || obs.month < 1 || obs.month > 12 || obs.day < 1 || obs.day > 31)
    return "the observation date " + DateText(obs) + " is not a calendar date";
  const auto back = CalendarFromJulianDay(JulianDay(obs.day, obs.month, obs.year));
  if (obs.year < 1900 || !back)
    return "the observation date " + DateText(obs) + " is before 1900: its antenna table cannot hold it";
  if (back->day != obs.day || back->month != obs.month || back->year != obs.year)
    return "the observation date " + DateText(obs) + " is not a calendar date";
  return {};
}

std::string CheckObservationTelescope(const AMObservation& obs, int index) {
  const AMTlscItem& t = obs.telescopes[index];
  AMTlscInfoItem entry;
  entry.name = t.name;
  entry.id_name = t.id_name;
  for (int k = 0; k < tlsc::kParamCount; ++k) entry.params[k] = t.params[k];
  entry.ground = t.IsGround() ? kTlscGround : kTlscOrbital;
  const AMTlscCheck check = ValidateTelescope(entry);
  if (check.ok) return {};
  // The elements of an orbital telescope that reads its positions from an orbit file are not used.
  const bool elements = check.field >= 2;
  if (elements && t.IsOrbital() && t.use_orbit_file) return {};
  return TelescopeLabel(obs, index) + ": " + check.message;
}

std::string CheckTask1Limits(const AMObservation& obs) {
  if (std::string where = FirstNonFiniteValue(obs); !where.empty()) return where + " is not a finite number";
  if (std::string why = CheckObservationDate(obs); !why.empty()) return why;
  for (int i = 0; i < obs.telescopes.GetSize(); ++i)
    if (std::string why = CheckObservationTelescope(obs, i); !why.empty()) return why;
  return CheckTimeSampling(obs);
}
