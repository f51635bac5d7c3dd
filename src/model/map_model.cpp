// Filling the visibilities of a UVX file from maps (model kinds 1 and 2).
//
// Groups are read in file order and gathered into batches of up to kBatchPoints UV points (all of
// one map). The UV points of a batch are summed together, the fast engine spreading them over the
// threads, and the groups' visibilities are written back in place.

#include <cmath>
#include <functional>
#include <memory>

#include "model/map_comps.h"
#include "model/map_model.h"
#include "uvx/fast_read.h"
#include "uvx/fq_table.h"
#include "uvx/uvx_frame.h"

namespace {

constexpr std::size_t kBatchPoints = 16384;
constexpr std::size_t kBatchGroups = 4096;

int Fail(std::string* error, const std::string& why) {
  if (error) *error = why;
  return 0;
}

std::string CheckMap(const AMatrix<float>& map, const TMinMax& range) {
  if (map.rows < 2 || map.cols < 2)
    return "a map model needs at least 2 rows and 2 columns (this map has " + std::to_string(map.rows) + " x " +
           std::to_string(map.cols) + ")";
  if (!std::isfinite(range.xmin) || !std::isfinite(range.xmax) || !std::isfinite(range.ymin) ||
      !std::isfinite(range.ymax))
    return "the map's axis ranges are not finite";
  return {};
}

// One map in the form the chosen engine sums.
class PreparedMap {
 public:
  explicit PreparedMap(MapEngine engine) : engine_(engine) {}
  void Prepare(const AMatrix<float>& map, const TMinMax& range) {
    if (engine_ == MapEngine::Reference) comps_.FromMap(map, range);
    else sum_.Build(map, range);
  }
  void Eval(const double* u, const double* v, std::size_t n, double* re, double* im) const {
    if (engine_ == MapEngine::Fast) return sum_.Sum(u, v, n, re, im);
    for (std::size_t i = 0; i < n; ++i) {
      const std::complex<float> s = comps_.VfromUV(u[i], v[i]);
      re[i] = s.real();
      im[i] = s.imag();
    }
  }

 private:
  MapEngine engine_;
  AMapComps comps_;
  AMapSum sum_;
};

// Which map serves a group, and how map k is made ready.
struct MapSource {
  std::function<int(const AUVXGroup&)> index;
  std::function<int(int, PreparedMap&, std::string*)> load;
};

class MapFiller {
 public:
  MapFiller(AUVXFile& file, bool add, bool fast) : file_(file), add_(add), fast_(fast) {}
  // Sums the map on the axes of the J2000 phase centre; 0 when the file has no phase centre.
  int UseJ2000Axes(std::string* error) {
    to_j2000_ = UVXFrameRotation(file_);
    return to_j2000_ ? 1 : Fail(error, "the input has no SU table: the phase centre of a map on J2000 axes is unknown");
  }

  int Run(const MapSource& source, MapEngine engine, ProgressSink* progress, StopFlag* stop, std::string* error);

 private:
  int Init(std::string* error);
  int Flush(const PreparedMap& map, std::string* error);

  AUVXFile& file_;
  bool add_, fast_;
  int nif_ = 0, nch_ = 0, npol_ = 0;
  std::vector<double> freq_;  // [set-up][IF][channel], Hz
  std::vector<AUVXGroup> groups_;
  std::vector<AUVXVisibility> vis_;
  std::vector<std::int64_t> index_;
  std::vector<int> set_;  // index of each batch group's frequency set-up
  std::vector<int> sel_;  // identifiers of the set-ups, in FQ-table order
  std::size_t used_ = 0, points_ = 0;
  std::vector<double> u_, v_, re_, im_;
  AUVXMinMax extremes_;
  std::unique_ptr<AUVWFrameRotation> to_j2000_;
};

int MapFiller::Init(std::string* error) {
  if (!file_.IsOpen() || file_.Mode() != AUVXFile::modeUpdate)
    return Fail(error, "the UVX file is not open for update");
  nif_ = file_.NIF();
  nch_ = file_.NChannels();
  npol_ = file_.NStokes();
  AUVXFqTbl fq;
  if (!fq.Init(file_, -1)) return Fail(error, file_.Path() + ": no usable FQ table");
  if (fq.NIF() < nif_) return Fail(error, file_.Path() + ": the FQ table describes fewer IFs than the data");
  freq_.resize(std::size_t(fq.GetFreqSels()) * nif_ * nch_);
  for (int s = 0; s < fq.GetFreqSels(); ++s)
    for (int k = 0; k < nif_; ++k)
      for (int j = 0; j < nch_; ++j) freq_[(std::size_t(s) * nif_ + k) * nch_ + j] = fq.GetFreq(s, k, j);
  sel_.clear();
  for (int s = 0; s < fq.GetFreqSels(); ++s) sel_.push_back(fq.GetFreqSelID(s));
  groups_.resize(kBatchGroups);
  vis_.resize(kBatchGroups);
  index_.resize(kBatchGroups);
  set_.resize(kBatchGroups);
  extremes_.init();
  return 1;
}

int MapFiller::Flush(const PreparedMap& map, std::string* error) {
  const std::size_t per_group = std::size_t(nif_) * (fast_ ? 1 : nch_);
  u_.resize(points_);
  v_.resize(points_);
  re_.resize(points_);
  im_.resize(points_);
  for (std::size_t b = 0; b < used_; ++b) {
    const double* f = freq_.data() + std::size_t(set_[b]) * nif_ * nch_;
    double* u = u_.data() + b * per_group;
    double* v = v_.data() + b * per_group;
    const AUVXGroup& g = groups_[b];
    double uvw[3] = {g.u, g.v, g.w};
    if (to_j2000_) {
      const double date[3] = {uvw[0], uvw[1], uvw[2]};
      to_j2000_->ToJ2000(file_.Header().time + g.time, date, uvw);
    }
    for (int k = 0; k < nif_; ++k)
      for (int j = 0; j < (fast_ ? 1 : nch_); ++j) {
        *u++ = uvw[0] * f[k * nch_ + j];
        *v++ = uvw[1] * f[k * nch_ + j];
      }
  }
  map.Eval(u_.data(), v_.data(), points_, re_.data(), im_.data());
  for (std::size_t b = 0; b < used_; ++b) {
    AUVXVisibility& vis = vis_[b];
    std::size_t point = b * per_group;
    for (int k = 0; k < nif_; ++k)
      for (int j = 0; j < nch_; ++j) {
        const std::size_t at = fast_ ? point + std::size_t(k) : point + std::size_t(k) * nch_ + std::size_t(j);
        const double vr = re_[at], vi = im_[at];
        for (int p = 0; p < npol_; ++p) {
          AUVXVisEntry& e = vis.Entry(k, j, p);
          e.re = add_ ? float(double(e.re) + vr) : float(vr);
          e.im = add_ ? float(double(e.im) + vi) : float(vi);
        }
      }
    groups_[b].check(extremes_);
    vis.check(extremes_);
    if (!file_.SeekUVVis(index_[b]) || !vis.store(file_))
      return Fail(error, file_.Path() + ": cannot write group " + std::to_string(index_[b]) +
                             (file_.Error().empty() ? std::string() : ": " + file_.Error()));
  }
  used_ = 0;
  points_ = 0;
  return 1;
}

int MapFiller::Run(const MapSource& source, MapEngine engine, ProgressSink* progress, StopFlag* stop,
                   std::string* error) {
  if (!Init(error)) return 0;
  const std::size_t per_group = std::size_t(nif_) * (fast_ ? 1 : nch_);
  PreparedMap map(engine);
  int current = -1;
  AUVXFastRead reader(&file_, progress);
  for (;;) {
    if (StopRequested(stop)) return Fail(error, "stopped");
    int status = 0;
    if (!reader.GetUVGVis(groups_[used_], vis_[used_], status)) {
      if (status == -1) break;
      return Fail(error, file_.Path() + ": cannot read group " + std::to_string(reader.Next()));
    }
    const AUVXGroup& g = groups_[used_];
    int s = 0;
    while (s < int(sel_.size()) && sel_[std::size_t(s)] != g.freq_id) ++s;
    if (s == int(sel_.size()))
      return Fail(error, file_.Path() + ": group " + std::to_string(status) + " has frequency set-up id " +
                             std::to_string(int(g.freq_id)) + ", which the FQ table does not hold");
    set_[used_] = s;
    index_[used_] = status;
    const int k = source.index(g);
    if (k != current) {
      if (used_ > 0) {
        // The batch so far belongs to the previous map; the new group moves to the front.
        const std::size_t at = used_;
        if (!Flush(map, error)) return 0;
        std::swap(groups_[0], groups_[at]);
        std::swap(vis_[0], vis_[at]);
        std::swap(index_[0], index_[at]);
        std::swap(set_[0], set_[at]);
      }
      if (!source.load(k, map, error)) return 0;
      current = k;
    }
    ++used_;
    points_ += per_group;
    if (used_ == kBatchGroups || points_ + per_group > kBatchPoints)
      if (!Flush(map, error)) return 0;
  }
  if (used_ > 0 && !Flush(map, error)) return 0;
  if (file_.Groups() > 0) {
    AUVXHeader header = file_.Header();
    header.extremes = extremes_;
    if (!file_.Write(header)) return Fail(error, file_.Path() + ": cannot write the header");
  }
  return 1;
}

}  // namespace

int MapSeriesIndex(double time_s, double time_step_s, int maps) {
  if (maps <= 1 || !(time_s >= 0) || !(time_step_s > 0)) return 0;
  const double k = std::floor(time_s / time_step_s);
  return k >= double(maps - 1) ? maps - 1 : int(k);
}

int ApplyMapModel(AUVXFile& file, const AMatrix<float>& map, const TMinMax& range, bool add, bool fast,
                  ProgressSink* progress, StopFlag* stop, std::string* error, MapEngine engine,
                  bool map_on_j2000) {
  const std::string why = CheckMap(map, range);
  if (!why.empty()) return Fail(error, why);
  MapSource source;
  source.index = [](const AUVXGroup&) { return 0; };
  source.load = [&](int, PreparedMap& prepared, std::string*) {
    prepared.Prepare(map, range);
    return 1;
  };
  MapFiller filler(file, add, fast);
  if (map_on_j2000 && !filler.UseJ2000Axes(error)) return 0;
  return filler.Run(source, engine, progress, stop, error);
}

int ApplyMapSeries(AUVXFile& file, const std::vector<std::string>& map_paths, double time_step_s, bool add,
                   bool fast, ProgressSink* progress, StopFlag* stop, std::string* error, MapEngine engine) {
  if (map_paths.empty()) return Fail(error, "no maps in the series");
  if (!(time_step_s > 0) || !std::isfinite(time_step_s))
    return Fail(error, "the time step of a map series must be a positive number of seconds");
  const int maps = int(map_paths.size());
  MapSource source;
  source.index = [&](const AUVXGroup& g) { return MapSeriesIndex(g.time, time_step_s, maps); };
  source.load = [&](int k, PreparedMap& prepared, std::string* err) {
    AMatrix<float> map;
    TMinMax range;
    std::string unit;
    const std::string& path = map_paths[std::size_t(k)];
    if (!LoadMapAny(path, map, range, unit, err)) return 0;
    const std::string why = CheckMap(map, range);
    if (!why.empty()) return Fail(err, path + ": " + why);
    prepared.Prepare(map, range);
    return 1;
  };
  MapFiller filler(file, add, fast);
  return filler.Run(source, engine, progress, stop, error);
}
