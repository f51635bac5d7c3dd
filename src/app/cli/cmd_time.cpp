// qvlmodel time: Julian day and Greenwich mean sidereal time of a date, and the date of a JD.
#include <cmath>
#include <cstdio>
#include <numbers>
#include <nlohmann/json.hpp>

#include "app/cli/commands.h"
#include "core/astro_time.h"
#include "core/text.h"

namespace {

struct TimeArgs {
  std::string date;
  std::string time_of_day;
  double jd = NAN;
  bool json = false;
};

int RunTime(const TimeArgs& args) {
  nlohmann::json out;
  if (!args.date.empty()) {
    const auto date = ParseIsoDate(args.date);
    if (!date) {
      std::fprintf(stderr, "qvlmodel time: invalid date '%s' (expected YYYY-MM-DD)\n", args.date.c_str());
      return 2;
    }
    double seconds = 0;
    if (!args.time_of_day.empty() && (!strToTime(args.time_of_day, seconds) || seconds >= 86400.0)) {
      std::fprintf(stderr, "qvlmodel time: invalid time of day '%s' (expected HH:MM:SS.s)\n",
                   args.time_of_day.c_str());
      return 2;
    }
    const double jd0 = JulianDay(date->day, date->month, date->year);
    const double jd = jd0 + seconds / 86400.0;
    const double gmst = GreenwichSiderealTime(jd);
    const double reduced = std::fmod(gmst, 2.0 * std::numbers::pi);
    const double gmstSeconds = reduced / (2.0 * std::numbers::pi) * 86400.0;
    out["date"] = args.date;
    out["time"] = timeToStr(seconds);
    out["julian_day_0h"] = jd0;
    out["julian_day"] = jd;
    out["gmst_rad"] = reduced;
    out["gmst"] = timeToStr(gmstSeconds);
    out["gst_0h_deg"] = std::fmod(GreenwichSiderealTime(jd0), 2.0 * std::numbers::pi) * 180.0 / std::numbers::pi;
    if (!args.json) {
      std::printf("Date:             %s %s UT\n", args.date.c_str(), timeToStr(seconds).c_str());
      std::printf("Julian day:       %.6f  (0h UT: %.1f)\n", jd, jd0);
      std::printf("GMST:             %.9f rad  (%s)\n", reduced, timeToStr(gmstSeconds).c_str());
    }
  }
  if (!std::isnan(args.jd)) {
    const auto date = CalendarFromJulianDay(args.jd, "%Y-%m-%d");
    if (!date) {
      std::fprintf(stderr, "qvlmodel time: Julian day %s has no date from 1900 on\n", valToStr(args.jd).c_str());
      return 2;
    }
    const double frac = args.jd + 0.5 - std::floor(args.jd + 0.5);
    out["from_jd"] = {{"julian_day", args.jd}, {"date", *date}, {"time", timeToStr(frac * 86400.0)}};
    if (!args.json)
      std::printf("JD %s:  %s %s UT\n", valToStr(args.jd).c_str(), date->c_str(), timeToStr(frac * 86400.0).c_str());
  }
  if (args.json) std::printf("%s\n", out.dump(2).c_str());
  return 0;
}

}  // namespace

void AddTimeCommand(CLI::App& app, CliContext& ctx) {
  auto args = std::make_shared<TimeArgs>();
  CLI::App* cmd = app.add_subcommand("time", "Julian day and sidereal time of a date; date of a Julian day");
  cmd->add_option("date", args->date, "Date as YYYY-MM-DD");
  cmd->add_option("time", args->time_of_day, "Time of day (UT) as HH:MM:SS.s");
  cmd->add_option("--jd", args->jd, "Convert this Julian day back to a date");
  cmd->add_flag("--json", args->json, "Print the results as JSON");
  cmd->callback([args, &ctx] {
    if (args->date.empty() && std::isnan(args->jd))
      throw CLI::ValidationError("time", "give a date (YYYY-MM-DD) or --jd JD");
    ctx.exit_code = RunTime(*args);
  });
}
