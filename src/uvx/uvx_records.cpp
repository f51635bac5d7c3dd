#include "uvx/uvx_records.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "uvx/le_bytes.h"
#include "uvx/uvx_file.h"

using uvx_bytes::Get;
using uvx_bytes::Put;

void AUVXMinMax::init() {
  constexpr double kHuge = std::numeric_limits<double>::max();
  u_min = v_min = w_min = time_min = amp_min = weight_min = kHuge;
  u_max = v_max = w_max = time_max = amp_max = weight_max = -kHuge;
}

void AUVXMinMax::merge(const AUVXMinMax& o) {
  u_min = std::min(u_min, o.u_min), u_max = std::max(u_max, o.u_max);
  v_min = std::min(v_min, o.v_min), v_max = std::max(v_max, o.v_max);
  w_min = std::min(w_min, o.w_min), w_max = std::max(w_max, o.w_max);
  time_min = std::min(time_min, o.time_min), time_max = std::max(time_max, o.time_max);
  amp_min = std::min(amp_min, o.amp_min), amp_max = std::max(amp_max, o.amp_max);
  weight_min = std::min(weight_min, o.weight_min), weight_max = std::max(weight_max, o.weight_max);
}

void AUVXGroup::ToBytes(unsigned char out[kBytes]) const {
  out[0] = lead;
  out[1] = tel1;
  out[2] = tel2;
  out[3] = static_cast<unsigned char>(freq_id);
  Put(out + 4, u);
  Put(out + 8, v);
  Put(out + 12, w);
  Put(out + 16, time);
}

void AUVXGroup::FromBytes(const unsigned char in[kBytes]) {
  lead = in[0];
  tel1 = in[1];
  tel2 = in[2];
  freq_id = static_cast<std::int8_t>(in[3]);
  u = Get<float>(in + 4);
  v = Get<float>(in + 8);
  w = Get<float>(in + 12);
  time = Get<double>(in + 16);
}

int AUVXGroup::load(AUVXFile& file) {
  unsigned char b[kBytes];
  if (!file.ReadBytes(b, kBytes)) return 0;
  FromBytes(b);
  return 1;
}

int AUVXGroup::store(AUVXFile& file) {
  unsigned char b[kBytes];
  ToBytes(b);
  return file.WriteBytes(b, kBytes);
}

void AUVXGroup::check(AUVXMinMax& mm) const {
  mm.u_min = std::min(mm.u_min, double{u}), mm.u_max = std::max(mm.u_max, double{u});
  mm.v_min = std::min(mm.v_min, double{v}), mm.v_max = std::max(mm.v_max, double{v});
  mm.w_min = std::min(mm.w_min, double{w}), mm.w_max = std::max(mm.w_max, double{w});
  mm.time_min = std::min(mm.time_min, time), mm.time_max = std::max(mm.time_max, time);
}

AUVXVisibility::AUVXVisibility(int n_if_, int n_channels_, int n_stokes_) {
  Resize(n_if_, n_channels_, n_stokes_);
}

AUVXVisibility::AUVXVisibility(AUVXFile& file) { Resize(file.NIF(), file.NChannels(), file.NStokes()); }

int AUVXVisibility::Resize(int nif, int nch, int nst) {
  if (nif < 0 || nch < 0 || nst < 0 || nif > AUVXFile::kMaxAxis || nch > AUVXFile::kMaxAxis ||
      nst > AUVXFile::kMaxAxis ||
      std::int64_t{nif} * nch * nst > AUVXFile::kMaxEntries)
    return 0;
  n_if = nif;
  n_channels = nch;
  n_stokes = nst;
  if (entries.GetSize() != Count()) entries.SetSize(Count());
  Zero();
  return 1;
}

void AUVXVisibility::Zero() {
  if (Count() > 0) std::memset(static_cast<void*>(entries.data), 0, std::size_t(Count()) * 12);
}

int AUVXVisibility::load(AUVXFile& file) {
  // A record of other counts would be misread.
  if (n_if != file.NIF() || n_channels != file.NChannels() || n_stokes != file.NStokes()) return 0;
  if (Count() == 0) return 1;
  return file.ReadBytes(entries.data, std::size_t(Count()) * 12);
}

int AUVXVisibility::store(AUVXFile& file) {
  // Fixes the layout of a new file, or checks the counts against the file's.
  if (!file.SetLayout(n_if, n_channels, n_stokes)) return 0;
  if (Count() == 0) return 1;
  return file.WriteBytes(entries.data, std::size_t(Count()) * 12);
}

void AUVXVisibility::check(AUVXMinMax& mm) const {
  // Squared amplitudes are compared; one square root per extreme at the end.
  const int n = Count();
  if (n == 0) return;
  double a2_min = std::numeric_limits<double>::max(), a2_max = 0;
  float w_min = std::numeric_limits<float>::max(), w_max = -std::numeric_limits<float>::max();
  const AUVXVisEntry* e = entries.data;
  for (int i = 0; i < n; ++i) {
    const double re = e[i].re, im = e[i].im;
    const double a2 = re * re + im * im;
    a2_min = std::min(a2_min, a2);
    a2_max = std::max(a2_max, a2);
    w_min = std::min(w_min, e[i].weight);
    w_max = std::max(w_max, e[i].weight);
  }
  mm.amp_min = std::min(mm.amp_min, std::sqrt(a2_min));
  mm.amp_max = std::max(mm.amp_max, std::sqrt(a2_max));
  mm.weight_min = std::min(mm.weight_min, double{w_min});
  mm.weight_max = std::max(mm.weight_max, double{w_max});
}

void AUVXVisExtremes::Fold(const unsigned char* vis, std::int64_t entries) {
  for (std::int64_t e = 0; e < entries; ++e) {
    float v[3];
    std::memcpy(v, vis + 12 * e, 12);
    const double sq = double(v[0]) * v[0] + double(v[1]) * v[1];
    if (sq < sq_min) sq_min = sq, lo[0] = v[0], lo[1] = v[1];
    if (sq > sq_max) sq_max = sq, hi[0] = v[0], hi[1] = v[1];
    w_min = std::min(w_min, double(v[2])), w_max = std::max(w_max, double(v[2]));
  }
}

void AUVXVisExtremes::Into(AUVXMinMax& mm) const {
  if (sq_max < 0) return;
  mm.amp_min = AUVXComplex(lo[0], lo[1]).ampl(), mm.amp_max = AUVXComplex(hi[0], hi[1]).ampl();
  mm.weight_min = w_min, mm.weight_max = w_max;
}

std::string AStokesItem::asShortString() const {
  static const char* const kPositive[] = {"I", "Q", "U", "V"};
  static const char* const kNegative[] = {"RR", "LL", "RL", "LR", "XX", "YY", "XY", "YX"};
  if (code >= 1 && code <= 4) return kPositive[code - 1];
  if (code <= -1 && code >= -8) return kNegative[-code - 1];
  std::string unknown = "?";  // appended, not "?" + ...: GCC 12 warns wrongly on that form
  unknown += std::to_string(code);
  return unknown;
}
