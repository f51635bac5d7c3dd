// Filling the visibilities of a UVX file from maps (model kinds 1 and 2).
//
// Groups are read in file order and gathered into batches of up to kBatchPoints UV points (all of
// one map). The UV points of a batch are summed together by the map's engine (map_engine.h), which
// spreads them over the threads, and the groups' visibilities are written back in place.

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>

#include "model/map_engine.h"
#include "model/map_model.h"
#include "model/model_run.h"
#include "uvx/fast_read.h"
#include "uvx/fq_table.h"
#include "uvx/uvx_frame.h"

namespace {

constexpr std::size_t kBatchPoints = 65536;
constexpr std::size_t kBatchGroups = 16384;
constexpr std::int64_t kBatchBytes = std::int64_t(64) << 20;  // records held at once

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

// Which map serves a group, and how map k is made ready.
struct MapSource {
  std::function<int(const AUVXGroup&)> index;
  // Makes map k ready: points `map` at its pixels (valid until the next call) and sets `range`.
  std::function<int(int, const AMatrix<float>*& map, TMinMax& range, std::string*)> load;
  int maps = 1;
};

class MapFiller {
 public:
  MapFiller(AUVXFile& file, bool add, bool fast) : file_(file), add_(add), fast_(fast) {}
  // Sums the map on the axes of the J2000 phase centre; 0 when the file has no phase centre.
  int UseJ2000Axes(std::string* error) {
    to_j2000_ = UVXFrameRotation(file_);
    return to_j2000_ ? 1 : Fail(error, "the input has no SU table: the phase centre of a map on J2000 axes is unknown");
  }

  int Run(const MapSource& source, const AMapSumOptions& options, ProgressSink* progress, StopFlag* stop,
          std::string* error);

 private:
  int Init(const AMapSumOptions& options, std::string* error);
  int PrepareMaps(const AMatrix<float>& pixels, const TMinMax& range, std::int64_t points,
                  const AMapSumOptions& options, std::string* error);
  int Flush(std::string* error);

  AUVXFile& file_;
  bool add_, fast_;
  int nif_ = 0, nch_ = 0, npol_ = 0;
  std::vector<double> freq_;  // [set-up][IF][channel], Hz
  std::vector<AUVXGroup> groups_;
  std::vector<AUVXVisibility> vis_;
  std::vector<std::int64_t> index_;
  std::vector<int> set_;  // index of each batch group's frequency set-up
  std::vector<int> sel_;  // identifiers of the set-ups, in FQ-table order
  double uv_max_ = 0;     // longest |u| or |v| of the file, wavelengths (0: unknown)
  std::size_t batch_groups_ = 0;
  std::size_t used_ = 0, points_ = 0;
  std::int64_t* stored_ = nullptr;  // AMapSumOptions::groups_stored
  std::vector<double> u_, v_, re_, im_;
  AUVXMinMax extremes_;
  // The prepared map: one, or with spectral scaling one per (set-up, IF) row of the factors.
  std::vector<std::unique_ptr<AMapEvaluator>> maps_;
  bool spectral_ = false;
  AMatrix<float> factors_;
  std::unique_ptr<AUVWFrameRotation> to_j2000_;
};

int MapFiller::Init(const AMapSumOptions& options, std::string* error) {
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
  const AUVXMinMax& uvw = file_.Header().extremes;
  const double f_max = freq_.empty() ? 0.0 : *std::max_element(freq_.begin(), freq_.end());
  uv_max_ = uvw.has_uvw() ? std::max({std::fabs(uvw.u_min), std::fabs(uvw.u_max), std::fabs(uvw.v_min),
                                      std::fabs(uvw.v_max)}) * std::fabs(f_max)
                          : 0.0;
  if (!std::isfinite(uv_max_)) uv_max_ = 0;
  batch_groups_ = std::size_t(std::clamp<std::int64_t>(kBatchBytes / std::max<std::int64_t>(file_.RecordBytes(), 1), 1,
                                                       std::int64_t(kBatchGroups)));
  // Spectral scaling: per (set-up, IF) row r and set pixel c (row-major order) a factor, as for
  // the components of a component model.
  spectral_ = options.spectral_index && options.spectral_index->rows > 1;
  if (spectral_) {
    BuildSpectralFactors(*options.spectral_index, fq, nif_, factors_);
    const std::uint64_t rows = std::uint64_t(fq.GetFreqSels()) * std::uint64_t(std::max(nif_, 1));
    if (factors_.rows < rows)
      return Fail(error, "the spectral-index map has " + std::to_string(factors_.rows) + " rows; this file needs " +
                             std::to_string(rows) + " (set-ups x IFs)");
  }
  groups_.resize(batch_groups_);
  vis_.resize(batch_groups_);
  index_.resize(batch_groups_);
  set_.resize(batch_groups_);
  extremes_.init();
  return 1;
}

int MapFiller::PrepareMaps(const AMatrix<float>& pixels, const TMinMax& range, std::int64_t points,
                           const AMapSumOptions& options, std::string* error) {
  const std::size_t rows = spectral_ ? sel_.size() * std::size_t(nif_) : 1;
  maps_.resize(rows);
  if (!spectral_) {
    if (!maps_[0]) maps_[0] = std::make_unique<AMapEvaluator>();
    return maps_[0]->Prepare(pixels, range, points, uv_max_, options, error);
  }
  std::uint64_t set = 0;
  for (std::uint64_t i = 0; i < pixels.Elements(); ++i) set += pixels.data[i] != 0;
  if (factors_.cols < set)
    return Fail(error, "the spectral-index map has " + std::to_string(factors_.cols) + " columns; this map has " +
                           std::to_string(set) + " set pixels (one column each, row by row)");
  AMatrix<float> scaled(pixels.rows, pixels.cols);
  for (std::size_t r = 0; r < rows; ++r) {
    std::uint32_t c = 0;
    for (std::uint64_t i = 0; i < pixels.Elements(); ++i)
      scaled.data[i] = pixels.data[i] != 0 ? pixels.data[i] * factors_(std::uint32_t(r), c++) : 0.0f;
    if (!maps_[r]) maps_[r] = std::make_unique<AMapEvaluator>();
    if (!maps_[r]->Prepare(scaled, range, points / std::int64_t(rows), uv_max_, options, error)) return 0;
  }
  return 1;
}

int MapFiller::Flush(std::string* error) {
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
  if (!spectral_) {
    maps_[0]->Eval(u_.data(), v_.data(), points_, re_.data(), im_.data());
  } else {  // each (set-up, IF) row through its own scaled map
    std::vector<std::vector<std::size_t>> of_row(maps_.size());
    for (std::size_t b = 0; b < used_; ++b)
      for (int k = 0; k < nif_; ++k)
        for (std::size_t j = 0; j < per_group / std::size_t(nif_); ++j)
          of_row[std::size_t(set_[b]) * nif_ + std::size_t(k)].push_back(b * per_group + std::size_t(k) * (per_group / nif_) + j);
    std::vector<double> u, v, re, im;
    for (std::size_t r = 0; r < maps_.size(); ++r) {
      const std::vector<std::size_t>& idx = of_row[r];
      if (idx.empty()) continue;
      u.resize(idx.size()), v.resize(idx.size()), re.resize(idx.size()), im.resize(idx.size());
      for (std::size_t i = 0; i < idx.size(); ++i) u[i] = u_[idx[i]], v[i] = v_[idx[i]];
      maps_[r]->Eval(u.data(), v.data(), idx.size(), re.data(), im.data());
      for (std::size_t i = 0; i < idx.size(); ++i) re_[idx[i]] = re[i], im_[idx[i]] = im[i];
    }
  }
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
    if (stored_) ++*stored_;
  }
  used_ = 0;
  points_ = 0;
  return 1;
}

int MapFiller::Run(const MapSource& source, const AMapSumOptions& options, ProgressSink* progress, StopFlag* stop,
                   std::string* error) {
  if (!Init(options, error)) return 0;
  stored_ = options.groups_stored;
  const std::size_t per_group = std::size_t(nif_) * (fast_ ? 1 : nch_);
  // The UV points one map serves, for the engine's cost model.
  const std::int64_t points = file_.Groups() * std::int64_t(per_group) / std::max(source.maps, 1);
  if (options.report) {
    *options.report = AMapEngineReport();
    options.report->accuracy = options.accuracy;
  }
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
        if (!Flush(error)) return 0;
        std::swap(groups_[0], groups_[at]);
        std::swap(vis_[0], vis_[at]);
        std::swap(index_[0], index_[at]);
        std::swap(set_[0], set_[at]);
      }
      const AMatrix<float>* pixels = nullptr;
      TMinMax range;
      if (!source.load(k, pixels, range, error) || !PrepareMaps(*pixels, range, points, options, error)) return 0;
      if (options.report) maps_[0]->Report(*options.report, options.accuracy);
      current = k;
    }
    ++used_;
    points_ += per_group;
    if (options.report) options.report->points += std::int64_t(per_group);
    if (used_ == batch_groups_ || points_ + per_group > kBatchPoints)
      if (!Flush(error)) return 0;
  }
  if (used_ > 0 && !Flush(error)) return 0;
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
                  ProgressSink* progress, StopFlag* stop, std::string* error, const AMapSumOptions& options,
                  bool map_on_j2000) {
  const std::string why = CheckMap(map, range);
  if (!why.empty()) return Fail(error, why);
  MapSource source;
  source.index = [](const AUVXGroup&) { return 0; };
  source.load = [&](int, const AMatrix<float>*& pixels, TMinMax& r, std::string*) {
    pixels = &map;
    r = range;
    return 1;
  };
  MapFiller filler(file, add, fast);
  if (map_on_j2000 && !filler.UseJ2000Axes(error)) return 0;
  return filler.Run(source, options, progress, stop, error);
}

int ApplyMapSeries(AUVXFile& file, const std::vector<std::string>& map_paths, double time_step_s, bool add,
                   bool fast, ProgressSink* progress, StopFlag* stop, std::string* error,
                   const AMapSumOptions& options) {
  if (map_paths.empty()) return Fail(error, "no maps in the series");
  if (!(time_step_s > 0) || !std::isfinite(time_step_s))
    return Fail(error, "the time step of a map series must be a positive number of seconds");
  const int maps = int(map_paths.size());
  MapSource source;
  source.index = [&](const AUVXGroup& g) { return MapSeriesIndex(g.time, time_step_s, maps); };
  source.maps = maps;
  AMatrix<float> held;
  source.load = [&](int k, const AMatrix<float>*& map, TMinMax& range, std::string* err) {
    std::string unit;
    const std::string& path = map_paths[std::size_t(k)];
    if (!LoadMapAny(path, held, range, unit, err)) return 0;
    const std::string why = CheckMap(held, range);
    if (!why.empty()) return Fail(err, path + ": " + why);
    map = &held;
    return 1;
  };
  MapFiller filler(file, add, fast);
  return filler.Run(source, options, progress, stop, error);
}
