#include "imaging/image_points.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>

#include "uvx/uvx_records.h"

namespace {

constexpr std::size_t kChunkPoints = 1 << 18;
constexpr std::int64_t kBlockBytes = std::int64_t(8) << 20;

int Fail(std::string* error, const std::string& why) {
  if (error) *error = why;
  return 0;
}

// AIPS polarization codes.
constexpr int kRR = -1, kLL = -2, kXX = -5, kYY = -6;

}  // namespace

const char* ImageStokesName(AImageStokes stokes) {
  switch (stokes) {
    case AImageStokes::I: return "I";
    case AImageStokes::RR: return "RR";
    case AImageStokes::LL: return "LL";
    case AImageStokes::XX: return "XX";
    case AImageStokes::YY: return "YY";
  }
  return "I";
}

int ParseImageStokes(const std::string& text, AImageStokes& stokes) {
  std::string t = text;
  std::transform(t.begin(), t.end(), t.begin(), [](unsigned char c) { return char(std::toupper(c)); });
  for (AImageStokes s : {AImageStokes::I, AImageStokes::RR, AImageStokes::LL, AImageStokes::XX, AImageStokes::YY})
    if (t == ImageStokesName(s)) {
      stokes = s;
      return 1;
    }
  return 0;
}

void AImageChunk::clear() {
  u.clear();
  v.clear();
  re.clear();
  im.clear();
  weight.clear();
}

int AImagePoints::Open(const std::string& path, AImageStokes stokes, ProgressSink* progress, StopFlag* stop,
                       std::string* error) {
  source_ = AImageSource();
  source_.path = path;
  if (!file_.Open(path, AUVXFile::modeRead)) return Fail(error, "cannot open " + path + ": " + file_.Error());
  const AUVXHeader& h = file_.Header();
  nif_ = file_.NIF();
  nch_ = file_.NChannels();
  npol_ = file_.NStokes();
  source_.object = h.Object();
  source_.jd0 = h.jd0;
  source_.ref_freq_hz = h.ref_freq_hz;
  source_.groups = file_.Groups();
  AUVXFqTbl fq;
  if (!fq.Init(file_, -1)) return Fail(error, path + ": no usable FQ table");
  if (fq.NIF() < nif_) return Fail(error, path + ": the FQ table describes fewer IFs than the data");
  freq_.clear();
  sel_.clear();
  for (int s = 0; s < fq.GetFreqSels(); ++s) {
    sel_.push_back(fq.GetFreqSelID(s));
    for (int k = 0; k < nif_; ++k)
      for (int j = 0; j < nch_; ++j) freq_.push_back(fq.GetFreq(s, k, j));
  }
  if (const AUVXTable* su = file_.GetTable("SU")) {
    const int c_ra = su->FindColumn("RAEPO"), c_dec = su->FindColumn("DECEPO");
    if (su->n_rows > 0 && c_ra >= 0) {
      source_.ra_deg = su->GetNumber(0, c_ra);
      source_.dec_deg = c_dec >= 0 ? su->GetNumber(0, c_dec) : 0.0;
      source_.has_position = std::isfinite(source_.ra_deg) && std::isfinite(source_.dec_deg);
    }
  }
  to_j2000_ = UVXFrameRotation(file_);
  source_.j2000_axes = to_j2000_ != nullptr;
  // The products that make the requested polarization.
  auto find = [&](int code) {
    for (int p = 0; p < std::min<int>(npol_, h.n_pol); ++p)
      if (h.pol[p] == code) return p;
    return -1;
  };
  pol_a_ = pol_b_ = -1;
  switch (stokes) {
    case AImageStokes::I:
      if (find(kRR) >= 0 && find(kLL) >= 0) pol_a_ = find(kRR), pol_b_ = find(kLL);
      else if (find(kXX) >= 0 && find(kYY) >= 0) pol_a_ = find(kXX), pol_b_ = find(kYY);
      else if (find(kRR) >= 0 && find(kXX) < 0 && find(kYY) < 0) pol_a_ = find(kRR);
      else if (find(kLL) >= 0 && find(kXX) < 0 && find(kYY) < 0) pol_a_ = find(kLL);
      else if (find(kXX) >= 0) pol_a_ = find(kXX);
      else if (find(kYY) >= 0) pol_a_ = find(kYY);
      break;
    case AImageStokes::RR: pol_a_ = find(kRR); break;
    case AImageStokes::LL: pol_a_ = find(kLL); break;
    case AImageStokes::XX: pol_a_ = find(kXX); break;
    case AImageStokes::YY: pol_a_ = find(kYY); break;
  }
  if (pol_a_ < 0)
    return Fail(error, path + ": the file holds no polarization product for Stokes " + ImageStokesName(stokes));
  // First pass: whether any weight is positive, then counts and extent of the usable points.
  counting_ = true;
  any_positive_ = any_zero_ = false;
  if (!Pass({}, progress, stop, error)) return 0;
  counting_ = false;
  source_.unit_weights = !any_positive_ && any_zero_;
  double uv_max = 0, uv_min = HUGE_VAL;
  std::int64_t points = 0;
  if (!Pass(
          [&](const AImageChunk& c) {
            points += std::int64_t(c.size());
            for (std::size_t i = 0; i < c.size(); ++i) {
              const double r = std::hypot(c.u[i], c.v[i]);
              uv_max = std::max(uv_max, r);
              if (r > 0) uv_min = std::min(uv_min, r);
            }
          },
          progress, stop, error))
    return 0;
  source_.points = points;
  source_.uv_max = uv_max;
  source_.uv_min = std::isfinite(uv_min) ? uv_min : 0.0;
  return 1;
}

int AImagePoints::Scan(const std::function<void(const AImageChunk&)>& use, ProgressSink* progress, StopFlag* stop,
                       std::string* error) {
  return Pass(use, progress, stop, error);
}

int AImagePoints::Pass(const std::function<void(const AImageChunk&)>& use, ProgressSink* progress, StopFlag* stop,
                       std::string* error) {
  const std::int64_t groups = file_.Groups(), rec = file_.RecordBytes();
  const std::int64_t block = std::max<std::int64_t>(1, kBlockBytes / std::max<std::int64_t>(rec, 1));
  std::vector<unsigned char> buf(std::size_t(std::min(block, std::max<std::int64_t>(groups, 1)) * rec));
  if (progress) progress->SetRange(0, groups);
  AImageChunk chunk;
  AUVXGroup g;
  std::vector<float> entries(std::size_t(3) * nif_ * nch_ * npol_);
  const bool unit = source_.unit_weights;
  for (std::int64_t first = 0; first < groups; first += block) {
    if (StopRequested(stop)) return Fail(error, "stopped");
    const std::int64_t n = std::min(block, groups - first);
    if (!file_.ReadRecords(first, n, buf.data())) return Fail(error, source_.path + ": " + file_.Error());
    for (std::int64_t k = 0; k < n; ++k) {
      const unsigned char* p = buf.data() + k * rec;
      g.FromBytes(p);
      std::memcpy(entries.data(), p + AUVXGroup::kBytes, entries.size() * sizeof(float));
      const float* e = entries.data();  // re, im, weight triples
      int s = 0;
      while (s < int(sel_.size()) && sel_[std::size_t(s)] != g.freq_id) ++s;
      if (s == int(sel_.size()))
        return Fail(error, source_.path + ": group " + std::to_string(first + k) + " has frequency set-up id " +
                               std::to_string(int(g.freq_id)) + ", which the FQ table does not hold");
      const double* f = freq_.data() + std::size_t(s) * nif_ * nch_;
      double uvw[3] = {g.u, g.v, g.w};
      if (to_j2000_ && !counting_) {
        const double date[3] = {uvw[0], uvw[1], uvw[2]};
        to_j2000_->ToJ2000(file_.Header().time + g.time, date, uvw);
      }
      for (int i = 0; i < nif_; ++i)
        for (int j = 0; j < nch_; ++j) {
          const float* a = e + 3 * ((std::size_t(nch_) * i + j) * npol_ + std::size_t(pol_a_));
          float b_re = 0, b_im = 0, b_w = 0;
          if (pol_b_ >= 0) {
            const float* b = e + 3 * ((std::size_t(nch_) * i + j) * npol_ + std::size_t(pol_b_));
            b_re = b[0], b_im = b[1], b_w = b[2];
          }
          if (counting_) {
            any_positive_ |= a[2] > 0 || b_w > 0;
            any_zero_ |= a[2] == 0 || (pol_b_ >= 0 && b_w == 0);
            continue;
          }
          double wa = unit ? 1.0 : double(a[2]), wb = unit ? 1.0 : double(b_w);
          double re = a[0], im = a[1], w = wa;
          if (pol_b_ >= 0) {
            if (!(wb > 0)) continue;
            re = 0.5 * (re + double(b_re));
            im = 0.5 * (im + double(b_im));
            w = 4 * wa * wb / (wa + wb);
          }
          if (!(wa > 0) || !std::isfinite(re) || !std::isfinite(im) || !std::isfinite(w)) continue;
          chunk.u.push_back(uvw[0] * f[i * nch_ + j]);
          chunk.v.push_back(uvw[1] * f[i * nch_ + j]);
          chunk.re.push_back(re);
          chunk.im.push_back(im);
          chunk.weight.push_back(w);
        }
      if (chunk.size() >= kChunkPoints) {
        if (use) use(chunk);
        chunk.clear();
      }
    }
    if (progress) progress->SetPos(first + n);
  }
  if (chunk.size() > 0 && use) use(chunk);
  return 1;
}
