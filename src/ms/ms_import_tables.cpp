#include "ms/ms_import_tables.h"

#include <erfa.h>

#include <cctype>
#include <cmath>
#include <memory>

#include "core/astro_time.h"
#include "core/containers.h"
#include "uvx/fq_table.h"
#include "uvx/uvfits_tables.h"

namespace ms {

namespace {

constexpr double kRadToDeg = 57.295779513082320876798;

std::string Lower(std::string s) {
  for (char& c : s) c = char(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

}  // namespace

int MountCode(const Antenna& a) {
  const std::string m = Lower(a.mount), type = Lower(a.type);
  if (m == "orbiting" || type == "space-based") return 2;
  if (m == "equatorial") return 1;
  if (m == "x-y") return 3;
  if (m == "alt-az+nasmyth-r") return 4;
  if (m == "alt-az+nasmyth-l") return 5;
  return 0;
}

AUVXTable ImportFqTable(const std::vector<const SpectralWindow*>& windows, double ref_freq_hz, int n_chan) {
  const int n_if = int(windows.size());
  AMatrix<AUVXFqTblItem> m(1, std::uint32_t(n_if));
  for (int i = 0; i < n_if; ++i) m(0, std::uint32_t(i)) = {windows[std::size_t(i)]->chan_freq[0] - ref_freq_hz,
                                                         windows[std::size_t(i)]->chan_width[0]};
  AArray<int> ids;
  ids.Add(1);
  std::unique_ptr<AUVXTable> made(MakeFqTable(m, ids, n_if, n_chan));
  AUVXTable fq = *made;
  const int c_total = fq.FindColumn("TOTAL BANDWIDTH"), c_side = fq.FindColumn("SIDEBAND");
  for (int i = 0; i < n_if; ++i) {
    const SpectralWindow& w = *windows[std::size_t(i)];
    const double total = w.total_bandwidth > 0 ? w.total_bandwidth : n_chan * std::fabs(w.chan_width[0]);
    fq.SetFloat(0, c_total, float(total), i);
    fq.SetInt(0, c_side, w.net_sideband < 0 || (w.net_sideband == 0 && w.chan_width[0] < 0) ? -1 : 1, i);
  }
  return fq;
}

AUVXTable ImportSourceTable(const Field& field, int n_if, double ref_freq_hz) {
  AUVXTable empty("SU", AUVXTable::toHash("SU", 0));
  AUVXTable su = uvfits::WithColumns(empty, uvfits::SourceColumns(n_if));
  const int r = su.AddRow();
  double ra_deg = std::fmod(field.ra_rad * kRadToDeg, 360.0);
  if (ra_deg < 0) ra_deg += 360.0;
  const double dec_deg = field.dec_rad * kRadToDeg;
  su.SetInt(r, su.FindColumn("ID. NO."), 1);
  su.SetChars(r, su.FindColumn("SOURCE"), field.name.substr(0, 16));
  su.SetChars(r, su.FindColumn("CALCODE"), "    ");
  for (const char* c : {"RAEPO", "RAAPP"}) su.SetDouble(r, su.FindColumn(c), ra_deg);
  for (const char* c : {"DECEPO", "DECAPP"}) su.SetDouble(r, su.FindColumn(c), dec_deg);
  su.SetDouble(r, su.FindColumn("EPOCH"), 2000.0);
  for (int i = 0; i < n_if; ++i) su.SetDouble(r, su.FindColumn("RESTFREQ"), ref_freq_hz, i);
  su.AddKeywordInt("NO_IF", n_if);
  return su;
}

AUVXTable ImportAntennaTable(const ReadDescription& info, double jd0, double ref_freq_hz,
                             const std::vector<std::string>& receptors) {
  AUVXTable t("AN", AUVXTable::toHash("AN", 0));
  const int c_name = t.AddColumn("ANNAME", "", "8A");
  const int c_xyz = t.AddColumn("STABXYZ", "METERS", "3D");
  t.AddColumn("ORBPARM", "", "0D");
  const int c_nosta = t.AddColumn("NOSTA", "", "1J");
  const int c_mnt = t.AddColumn("MNTSTA", "", "1J");
  t.AddColumn("STAXOF", "METERS", "1E");
  const int c_polta = t.AddColumn("POLTYA", "", "1A");
  t.AddColumn("POLAA", "DEGREES", "1E");
  t.AddColumn("POLCALA", "", "2E");
  const int c_poltb = t.AddColumn("POLTYB", "", "1A");
  t.AddColumn("POLAB", "DEGREES", "1E");
  t.AddColumn("POLCALB", "", "2E");
  const int c_diam = t.AddColumn("DIAMETER", "METERS", "1E");
  const std::string feed_a = receptors.size() > 0 ? receptors[0].substr(0, 1) : "R";
  const std::string feed_b = receptors.size() > 1 ? receptors[1].substr(0, 1) : "L";
  for (std::size_t i = 0; i < info.antennas.size(); ++i) {
    const Antenna& a = info.antennas[i];
    const int r = t.AddRow();
    const int mount = MountCode(a);
    t.SetChars(r, c_name, a.name.substr(0, 8));
    for (int k = 0; k < 3; ++k) t.SetDouble(r, c_xyz, mount == 2 ? 0.0 : a.xyz[k], k);
    t.SetInt(r, c_nosta, int(i) + 1);
    t.SetInt(r, c_mnt, mount);
    t.SetChars(r, c_polta, feed_a);
    t.SetChars(r, c_poltb, feed_b);
    t.SetFloat(r, c_diam, float(a.dish_diameter));
  }
  for (const char* k : {"ARRAYX", "ARRAYY", "ARRAYZ"}) t.AddKeywordReal(k, 0.0);
  double gst = std::fmod(GreenwichSiderealTime(jd0) * kRadToDeg, 360.0);
  t.AddKeywordReal("GSTIA0", gst < 0 ? gst + 360.0 : gst);
  t.AddKeywordReal("DEGPDY", kDegreesPerDay);
  t.AddKeywordReal("FREQ", ref_freq_hz);
  if (const auto date = CalendarFromJulianDay(jd0, "%Y-%m-%d")) t.AddKeyword("RDATE", kKeyDate, *date);
  int iy = 0, im = 0, id = 0;
  double fd = 0, iat_utc = 0;
  if (eraJd2cal(jd0, 0.0, &iy, &im, &id, &fd) != 0 || eraDat(iy, im, id, 0.0, &iat_utc) < 0) iat_utc = 0;
  for (const char* k : {"POLARX", "POLARY", "UT1UTC", "DATUTC"}) t.AddKeywordReal(k, 0.0);
  t.AddKeywordChar("TIMSYS", "UTC");
  t.AddKeywordChar("ARRNAM", (info.telescope.empty() ? std::string("VLBI") : info.telescope).substr(0, 8));
  t.AddKeywordInt("NUMORB", 0);
  t.AddKeywordInt("NOPCAL", 2);
  t.AddKeywordInt("FREQID", 1);
  t.AddKeywordReal("IATUTC", iat_utc);
  return t;
}

}  // namespace ms
