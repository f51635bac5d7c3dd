#include "uvx/uvx_header.h"

#include <algorithm>
#include <cstring>

#include "uvx/le_bytes.h"
#include "uvx/uvx_file.h"

using uvx_bytes::Get;
using uvx_bytes::Put;

namespace {

void SetText(char* field, std::size_t size, const std::string& text) {
  std::memset(field, 0, size);
  std::memcpy(field, text.data(), std::min(text.size(), size));
}

std::string GetText(const char* field, std::size_t size) {
  std::size_t n = 0;
  while (n < size && field[n]) ++n;
  return std::string(field, n);
}

}  // namespace

AUVXHeader::AUVXHeader() {
  SetText(flux_unit, sizeof flux_unit, "Jy");
  SetText(observer, sizeof observer, "QVL User");
  SetText(origin, sizeof origin, "QVLMODEL");
}

AUVXHeader::AUVXHeader(AUVXFile& file) : AUVXHeader() {
  if (file.IsOpen()) *this = file.Header();
}

std::string AUVXHeader::FluxUnit() const { return GetText(flux_unit, sizeof flux_unit); }
std::string AUVXHeader::Observer() const { return GetText(observer, sizeof observer); }
std::string AUVXHeader::Origin() const { return GetText(origin, sizeof origin); }
std::string AUVXHeader::Object() const { return GetText(object, sizeof object); }
void AUVXHeader::SetObject(const std::string& name) { SetText(object, sizeof object, name); }

void AUVXHeader::ToImage(unsigned char p[kImageBytes]) const {
  std::memset(p, 0, kImageBytes);
  Put(p + 0, groups);
  Put(p + 4, epoch);
  Put(p + 12, jd0);
  Put(p + 20, one);
  std::memcpy(p + 22, flux_unit, 8);
  std::memcpy(p + 30, observer, 16);
  std::memcpy(p + 46, origin, 16);
  const double uvw[6] = {extremes.u_min, extremes.u_max, extremes.v_min,
                         extremes.v_max, extremes.w_min, extremes.w_max};
  std::memcpy(p + 62, uvw, sizeof uvw);
  Put(p + 110, n_pol);
  std::memcpy(p + 112, pol, sizeof pol);
  Put(p + 128, n_if);
  Put(p + 132, n_channels);
  Put(p + 136, ref_freq_hz);
  Put(p + 144, time_step_s);
  Put(p + 152, time);
  Put(p + 160, extremes.time_min);
  Put(p + 168, extremes.time_max);
  Put(p + 176, extremes.amp_min);
  Put(p + 184, extremes.amp_max);
  Put(p + 192, extremes.weight_min);
  Put(p + 200, extremes.weight_max);
  std::memcpy(p + 208, object, 16);
}

int AUVXHeader::FromImage(const unsigned char p[kImageBytes]) {
  const auto g = Get<std::int32_t>(p + 0);
  const auto np = Get<std::int16_t>(p + 110);
  const auto nif = Get<std::int32_t>(p + 128);
  const auto nch = Get<std::int32_t>(p + 132);
  if (g < 0 || np < 0 || np > kMaxPol || nif < 0 || nch < 0) return 0;
  groups = g;
  epoch = Get<double>(p + 4);
  jd0 = Get<double>(p + 12);
  one = Get<std::int16_t>(p + 20);
  std::memcpy(flux_unit, p + 22, 8);
  std::memcpy(observer, p + 30, 16);
  std::memcpy(origin, p + 46, 16);
  double uvw[6];
  std::memcpy(uvw, p + 62, sizeof uvw);
  extremes.u_min = uvw[0], extremes.u_max = uvw[1], extremes.v_min = uvw[2];
  extremes.v_max = uvw[3], extremes.w_min = uvw[4], extremes.w_max = uvw[5];
  n_pol = np;
  std::memcpy(pol, p + 112, sizeof pol);
  n_if = nif;
  n_channels = nch;
  ref_freq_hz = Get<double>(p + 136);
  time_step_s = Get<double>(p + 144);
  time = Get<double>(p + 152);
  extremes.time_min = Get<double>(p + 160);
  extremes.time_max = Get<double>(p + 168);
  extremes.amp_min = Get<double>(p + 176);
  extremes.amp_max = Get<double>(p + 184);
  extremes.weight_min = Get<double>(p + 192);
  extremes.weight_max = Get<double>(p + 200);
  std::memcpy(object, p + 208, 16);
  return 1;
}
