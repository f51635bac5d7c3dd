#include "uvx/vis_sampler.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

constexpr std::int64_t kChunkBytes = std::int64_t{4} << 20;  // sequential scans read this much at once
constexpr std::size_t kOneReadSpan = 4096;  // group and entry closer than this: one read

// A fixed pseudo-random sequence (splitmix64): the offset of the group read inside each block.
std::uint64_t Mix(std::uint64_t x) {
  x += 0x9e3779b97f4a7c15ULL;
  x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9ULL;
  x = (x ^ (x >> 27)) * 0x94d049bb133111ebULL;
  return x ^ (x >> 31);
}

void Advance(ProgressSink* progress, std::int64_t done, std::int64_t total) {
  const std::int64_t step = std::max<std::int64_t>(1, total / 256);
  if (progress && (done % step == 0 || done == total)) progress->SetPos(done);
}

}  // namespace

double AUVXVisPoint::UVDistance() const { return std::hypot(double{u_mlambda}, double{v_mlambda}); }

bool AUVXVisWindow::Holds(const AUVXVisPoint& p) const {
  if (p.time_s < time_min_s || p.time_s > time_max_s) return false;
  if (HasUV()) {
    const double d = p.UVDistance();
    if (d < uv_min_mlambda || d > uv_max_mlambda) return false;
  }
  if (HasBaseline() && !((p.tel1 == tel1 && p.tel2 == tel2) || (p.tel1 == tel2 && p.tel2 == tel1))) return false;
  return true;
}

std::int64_t SampleStride(std::int64_t groups, std::int64_t max_points) {
  if (groups <= 0) return 1;
  max_points = std::max<std::int64_t>(1, max_points);
  return std::max<std::int64_t>(1, (groups + max_points - 1) / max_points);
}

std::int64_t SampledGroup(std::int64_t first, std::int64_t last, std::int64_t block, std::int64_t stride) {
  const std::int64_t start = first + block * stride;
  const std::int64_t len = std::min(stride, last - start);
  if (len <= 1) return start;
  return start + std::int64_t(Mix(std::uint64_t(block)) % std::uint64_t(len));
}

int AUVXVisSampler::Open(const std::string& path) {
  error_.clear();
  time_ordered_ = true;
  antennas_.SetSize(0);
  fq_ = AUVXFqTbl();
  if (!file_.Open(path, AUVXFile::modeRead)) {
    error_ = file_.Error();
    return 0;
  }
  fq_.Init(file_, -1);  // without an FQ table the header's reference frequency is used
  if (const AUVXTable* an = file_.GetTable("AN")) antennas_.Load(*an);
  return 1;
}

std::string AUVXVisSampler::TelescopeName(int number) const {
  const AUVXTlscItem* t = antennas_.FindNumber(number);
  std::string name = t ? t->Name() : std::string();
  while (!name.empty() && name.back() == ' ') name.pop_back();
  return name.empty() ? std::to_string(number) : name;
}

std::string AUVXVisSampler::StokesName(int s) const {
  if (s < 0 || s >= NStokes()) return "?";
  return AStokesItem(Header().pol[s]).asShortString();
}

bool AUVXVisSampler::Valid(const AUVXVisChoice& c) const {
  return c.if_index >= 0 && c.if_index < NIF() && c.channel >= 0 && c.channel < NChannels() && c.stokes >= 0 &&
         c.stokes < NStokes();
}

double AUVXVisSampler::FreqHz(int freq_id, const AUVXVisChoice& c) const {
  int sel = fq_.GetFreqSelNum(freq_id);
  if (sel < 0 && fq_.GetFreqSels() > 0) sel = 0;  // an unknown set-up: the first one's frequencies
  if (sel >= 0 && c.if_index < fq_.NIF()) return fq_.GetFreq(sel, c.if_index, c.channel);
  return Header().ref_freq_hz;
}

void AUVXVisSampler::PointFrom(const unsigned char* group, const unsigned char* entry, std::int64_t g,
                               const AUVXVisChoice& c, AUVXVisPoint& p) const {
  AUVXGroup grp;
  grp.FromBytes(group);
  AUVXVisEntry e;
  std::memcpy(&e, entry, sizeof e);
  const double mlambda_per_s = FreqHz(grp.freq_id, c) * 1e-6;
  p.group = g;
  p.time_s = Header().time + grp.time;
  p.u_mlambda = float(double{grp.u} * mlambda_per_s);
  p.v_mlambda = float(double{grp.v} * mlambda_per_s);
  const AUVXComplex z(e);
  p.amp = float(z.ampl());
  p.phase_rad = float(z.phase());
  p.weight = e.weight;
  p.tel1 = grp.tel1;
  p.tel2 = grp.tel2;
}

int AUVXVisSampler::ReadPoint(std::int64_t g, const AUVXVisChoice& c, AUVXVisPoint& p) {
  if (!IsOpen() || !Valid(c) || g < 0 || g >= Groups()) return 0;
  const std::int64_t at = AUVXFile::kDataOffset + g * file_.RecordBytes();
  const std::size_t entry_off =
      AUVXGroup::kBytes + 12 * std::size_t((std::int64_t{NChannels()} * c.if_index + c.channel) * NStokes() + c.stokes);
  unsigned char buf[kOneReadSpan];
  if (entry_off + 12 <= kOneReadSpan) {
    if (!file_.ReadAt(at, buf, entry_off + 12)) return 0;
    PointFrom(buf, buf + entry_off, g, c, p);
  } else {
    if (!file_.ReadAt(at, buf, AUVXGroup::kBytes) || !file_.ReadAt(at + std::int64_t(entry_off), buf + 32, 12))
      return 0;
    PointFrom(buf, buf + 32, g, c, p);
  }
  return 1;
}

bool AUVXVisSampler::Keep(const AUVXVisPoint& p, AUVXVisSample& out) {
  if (!std::isfinite(p.time_s) || !std::isfinite(p.u_mlambda) || !std::isfinite(p.v_mlambda) ||
      !std::isfinite(p.amp)) {
    ++out.skipped;
    return false;
  }
  out.points.push_back(p);
  return true;
}

int AUVXVisSampler::ReadFail(AUVXVisSample& out, std::int64_t g) {
  error_ = "cannot read group " + std::to_string(g + 1) + " of " + file_.Path();
  out.complete = false;
  return 0;
}

int AUVXVisSampler::Strided(const AUVXVisChoice& c, std::int64_t first, std::int64_t last, std::int64_t max_points,
                            const AUVXVisWindow* window, AUVXVisSample& out, const StopFlag* stop,
                            ProgressSink* progress) {
  out.first = first;
  out.last = last;
  out.stride = SampleStride(last - first, max_points);
  const std::int64_t blocks = last > first ? (last - first + out.stride - 1) / out.stride : 0;
  out.points.reserve(std::size_t(blocks));
  if (progress) progress->SetRange(0, blocks);
  double previous = -AUVXVisWindow::kInf;
  for (std::int64_t b = 0; b < blocks; ++b) {
    if (StopRequested(stop)) return 0;
    const std::int64_t g = SampledGroup(first, last, b, out.stride);
    AUVXVisPoint p;
    if (!ReadPoint(g, c, p)) return ReadFail(out, g);
    ++out.groups_read;
    if (p.time_s < previous) time_ordered_ = false;
    previous = p.time_s;
    if (!window || window->Holds(p)) Keep(p, out);
    Advance(progress, b + 1, blocks);
  }
  out.complete = true;
  return 1;
}

int AUVXVisSampler::Scan(const AUVXVisChoice& c, std::int64_t first, std::int64_t last, std::int64_t max_points,
                         const AUVXVisWindow& window, AUVXVisSample& out, const StopFlag* stop,
                         ProgressSink* progress) {
  out.first = first;
  out.last = last;
  out.stride = 1;
  max_points = std::max<std::int64_t>(1, max_points);
  const std::int64_t record = file_.RecordBytes();
  const std::int64_t per_chunk = std::max<std::int64_t>(1, kChunkBytes / record);
  const std::size_t entry_off =
      AUVXGroup::kBytes + 12 * std::size_t((std::int64_t{NChannels()} * c.if_index + c.channel) * NStokes() + c.stokes);
  std::vector<unsigned char> chunk(std::size_t(std::min(per_chunk, std::max<std::int64_t>(1, last - first)) * record));
  if (progress) progress->SetRange(0, last - first);
  std::int64_t matches = 0;
  for (std::int64_t g0 = first; g0 < last; g0 += per_chunk) {
    if (StopRequested(stop)) return 0;
    const std::int64_t n = std::min(per_chunk, last - g0);
    if (!file_.ReadRecords(g0, n, chunk.data())) return ReadFail(out, g0);
    out.groups_read += n;
    for (std::int64_t i = 0; i < n; ++i) {
      const unsigned char* rec = chunk.data() + i * record;
      AUVXVisPoint p;
      PointFrom(rec, rec + entry_off, g0 + i, c, p);
      if (!window.Holds(p)) continue;
      // Every keep_every-th point inside the window; when too many are kept, every other one goes
      // and the spacing doubles, so the kept points stay evenly spread over the range.
      if (matches++ % out.keep_every != 0) continue;
      if (!Keep(p, out)) continue;
      if (std::int64_t(out.points.size()) > max_points) {
        std::size_t w = 0;
        for (std::size_t r = 0; r < out.points.size(); r += 2) out.points[w++] = out.points[r];
        out.points.resize(w);
        out.keep_every *= 2;
      }
    }
    Advance(progress, g0 + n - first, last - first);
  }
  out.complete = true;
  return 1;
}

int AUVXVisSampler::LowerBound(double t, std::int64_t& index) {
  std::int64_t lo = 0, hi = Groups();
  unsigned char buf[AUVXGroup::kBytes];
  while (lo < hi) {
    const std::int64_t mid = lo + (hi - lo) / 2;
    if (!file_.ReadAt(AUVXFile::kDataOffset + mid * file_.RecordBytes(), buf, sizeof buf)) return 0;
    AUVXGroup grp;
    grp.FromBytes(buf);
    if (Header().time + grp.time < t)
      lo = mid + 1;
    else
      hi = mid;
  }
  index = lo;
  return 1;
}

int AUVXVisSampler::Sample(const AUVXVisChoice& choice, std::int64_t max_points, AUVXVisSample& out,
                           const StopFlag* stop, ProgressSink* progress) {
  out = AUVXVisSample();
  if (!IsOpen() || !Valid(choice)) {
    error_ = IsOpen() ? "no such IF, channel or Stokes parameter" : "no file open";
    return 0;
  }
  time_ordered_ = true;
  return Strided(choice, 0, Groups(), max_points, nullptr, out, stop, progress);
}

int AUVXVisSampler::Refine(const AUVXVisChoice& choice, const AUVXVisWindow& window, std::int64_t max_points,
                           AUVXVisSample& out, const StopFlag* stop, ProgressSink* progress) {
  out = AUVXVisSample();
  if (!IsOpen() || !Valid(choice)) {
    error_ = IsOpen() ? "no such IF, channel or Stokes parameter" : "no file open";
    return 0;
  }
  std::int64_t first = 0, last = Groups();
  if (window.HasTime() && time_ordered_) {
    // The first group at or after the window's start and the first one after its end.
    if (window.time_min_s > -AUVXVisWindow::kInf && !LowerBound(window.time_min_s, first)) return ReadFail(out, 0);
    if (window.time_max_s < AUVXVisWindow::kInf &&
        !LowerBound(std::nextafter(window.time_max_s, AUVXVisWindow::kInf), last))
      return ReadFail(out, 0);
    last = std::max(first, last);
  }
  if (window.HasUV() || window.HasBaseline()) return Scan(choice, first, last, max_points, window, out, stop, progress);
  return Strided(choice, first, last, max_points, &window, out, stop, progress);
}
