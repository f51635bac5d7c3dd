#include "model/model_run.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "uvx/uvx_file.h"

// The second test keeps "./a.uvx" and "a.uvx" from truncating the input while it is read.
std::string PartPath(const std::string& out_path) { return out_path + ".part"; }

int CommitPart(const std::string& part, const std::string& out_path) {
  std::error_code ec;
  std::filesystem::rename(part, out_path, ec);
  return ec ? 0 : 1;
}

bool SameFile(const std::string& a, const std::string& b) {
  if (a == b) return true;
  std::error_code ec;
  if (std::filesystem::equivalent(a, b, ec)) return true;
  const auto ca = std::filesystem::weakly_canonical(a, ec);
  if (ec) return false;
  const auto cb = std::filesystem::weakly_canonical(b, ec);
  return !ec && ca == cb;
}

namespace {

// Scratch arrays of one thread for the UV points of one group.
struct GroupScratch {
  std::vector<double> u, v, re, im;
  void Size(std::size_t n) {
    if (u.size() < n) {
      u.resize(n);
      v.resize(n);
      re.resize(n);
      im.resize(n);
    }
  }
};

}  // namespace

std::string DefaultModelOutput(const std::string& in_path) {
  std::string stem = in_path;
  if (stem.size() >= 4) {
    std::string ext = stem.substr(stem.size() - 4);
    std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    if (ext == ".uvx") stem.resize(stem.size() - 4);
  }
  return stem + "_mdl.uvx";
}

void BuildSpectralFactors(const AMatrix<float>& alpha, const AUVXFqTbl& fq, int n_if, AMatrix<float>& factors) {
  if (factors.rows != alpha.rows || factors.cols != alpha.cols) factors.Resize(alpha.rows, alpha.cols);
  const int pairs = fq.GetFreqSels() * std::max(n_if, 0);
  auto pair_freq = [&](int r) {
    const int s = n_if > 0 ? r / n_if : 0;
    const int k = n_if > 0 ? r % n_if : 0;
    return fq.GetFreq(s, k, 0);
  };
  for (std::uint32_t c = 0; c < alpha.cols; ++c) {
    double product = 1.0;
    for (std::uint32_t r = 0; r < alpha.rows; ++r) {
      if (r > 0 && int(r) < pairs) {
        const double f = pair_freq(int(r));
        const double f_prev = pair_freq(int(r) - 1);
        product *= std::pow(f / f_prev, double(alpha(r, c)));
      }
      factors(r, c) = static_cast<float>(product);
    }
  }
}

double LowestFrequency(const AUVXFqTbl& fq) {
  double lowest = 0;
  bool any = false;
  for (int s = 0; s < fq.GetFreqSels(); ++s)
    for (int k = 0; k < fq.NIF(); ++k)
      for (int j = 0; j < fq.NChannels(); ++j) {
        const double f = fq.GetFreq(s, k, j);
        if (!any || f < lowest) lowest = f;
        any = true;
      }
  return lowest;
}

AMP2Work::AMP2Work(const AMUVXWorkItem& item, const AMModelSource& model, ProgressSink* progress,
                   StopFlag* stop, MessageSink& messages)
    : item_(item), model_(model), progress_(progress), stop_(stop), messages_(messages) {}

int AMP2Work::Fail(const std::string& what) {
  error_ = what;
  return 0;
}

int AMP2Work::Prepare(const AUVXFqTbl& fq, int n_if, int n_channels) {
  fq_ = fq;
  n_if_ = n_if;
  n_channels_ = n_channels;
  if (fq_.GetFreqSels() < 1) return Fail("the file has no frequency set-up (FQ table)");
  if (fq_.NIF() < n_if_) return Fail("the FQ table describes fewer IFs than the visibilities hold");
  lowest_freq_hz_ = LowestFrequency(fq_);
  BuildSpectralFactors(item_.si_map, fq_, n_if_, factors_);

  const std::vector<APreparedComp> comps =
      model_.components ? model_.components->Prepare() : std::vector<APreparedComp>{};
  spectral_ = item_.use_mfs != 0 && item_.si_map.rows > 1;
  row_comps_.clear();
  if (!spectral_) {
    row_comps_.push_back(comps);
    return 1;
  }
  const std::uint64_t rows_needed = std::uint64_t(fq_.GetFreqSels()) * std::uint64_t(std::max(n_if_, 1));
  if (factors_.rows < rows_needed || factors_.cols < comps.size())
    return Fail("the spectral-index map has " + std::to_string(factors_.rows) + " rows and " +
                std::to_string(factors_.cols) + " columns; this file and model need at least " +
                std::to_string(rows_needed) + " rows (set-ups x IFs) and " + std::to_string(comps.size()) +
                " columns (components)");
  // The factors depend only on the row and the component: fold them into the fluxes once.
  row_comps_.resize(factors_.rows);
  for (std::uint32_t r = 0; r < factors_.rows; ++r) {
    row_comps_[r] = comps;
    for (std::size_t c = 0; c < comps.size(); ++c) row_comps_[r][c].flux *= double(factors_(r, std::uint32_t(c)));
  }
  return 1;
}

int AMP2Work::ComputeModel(const AUVXGroup& group, AUVXVisibility& vis) const {
  const int s = fq_.GetFreqSelNum(group.freq_id);
  if (s < 0) {
    unknown_setup_.store(group.freq_id, std::memory_order_relaxed);
    return 0;
  }
  thread_local GroupScratch scratch;
  const bool fast = item_.fast != 0;
  const int n_points = fast ? 1 : vis.n_channels;
  scratch.Size(std::size_t(std::max(n_points, 1)));
  const bool add = item_.add_type == 0;
  for (int k = 0; k < vis.n_if; ++k) {
    const std::vector<APreparedComp>& comps = spectral_ ? row_comps_[std::size_t(s * n_if_ + k)] : row_comps_[0];
    for (int j = 0; j < n_points; ++j) {
      const double f = fq_.GetFreq(s, k, j);
      scratch.u[std::size_t(j)] = double(group.u) * f;
      scratch.v[std::size_t(j)] = double(group.v) * f;
    }
    ModelVis(comps.data(), comps.size(), scratch.u.data(), scratch.v.data(), std::size_t(n_points),
             scratch.re.data(), scratch.im.data());
    for (int j = 0; j < vis.n_channels; ++j) {
      const double re = scratch.re[std::size_t(fast ? 0 : j)];
      const double im = scratch.im[std::size_t(fast ? 0 : j)];
      for (int p = 0; p < vis.n_stokes; ++p) {
        AUVXVisEntry& e = vis.Entry(k, j, p);
        if (add) {
          e.re = static_cast<float>(double(e.re) + re);
          e.im = static_cast<float>(double(e.im) + im);
        } else {
          e.re = static_cast<float>(re);
          e.im = static_cast<float>(im);
        }
      }
    }
  }
  return 1;
}

int AMP2Work::Run() {
  error_.clear();
  groups_done_ = 0;
  AUVXFile in;
  if (!in.Open(item_.in_path, AUVXFile::modeRead))
    return Fail("cannot open " + item_.in_path + ": " + in.Error());
  if (model_.kind != kModelComponents) {
    in.Close();
    return RunMaps();
  }
  if (!model_.components) return Fail("no source model given");

  // The source table is read as the desktop page does; a file without one is still modelled.
  (void)in.GetTable("SU");
  AUVXFqTbl fq;
  if (!fq.Init(in, -1)) return Fail(item_.in_path + ": the file has no FQ table");
  if (!Prepare(fq, in.NIF(), in.NChannels())) return 0;

  if (progress_) progress_->SetText("Fit model onto UV-Plane...");
  if (SameFile(item_.in_path, item_.out_path)) {
    in.Close();
    AUVXFile file;
    if (!file.Open(item_.in_path, AUVXFile::modeUpdate))
      return Fail("cannot open " + item_.in_path + " for writing: " + file.Error());
    return RunInPlace(file);
  }

  // Written beside the target and renamed when complete: an interrupted run leaves no partial file
  // under the output's name, and an older output survives a failed run.
  const std::string part = PartPath(item_.out_path);
  AUVXFile out;
  if (!out.Open(part, AUVXFile::modeCreate)) return Fail("cannot create " + item_.out_path + ": " + out.Error());
  AMCopyUVX copy(&in, &out, progress_, stop_);
  copy.work = this;
  if (!RunOrRemoveOutput(copy)) {
    groups_done_ = copy.GroupsDone();
    if (StopRequested(stop_)) return 0;
    const int bad = unknown_setup_.load();
    if (bad != kNoUnknownSetup)
      return Fail(item_.in_path + ": a group has frequency set-up " + std::to_string(bad) +
                  ", which the FQ table does not hold");
    return Fail("writing " + item_.out_path + " failed: " + out.Error());
  }
  groups_done_ = copy.GroupsDone();
  if (!out.Close() || !CommitPart(part, item_.out_path)) {
    std::error_code ec;
    std::filesystem::remove(part, ec);
    return Fail("writing " + item_.out_path + " failed: " + out.Error());
  }
  return 1;
}

// Update in place: block by block, read, compute, write back. A stop keeps what was written and
// leaves the header's extremes as they were.
int AMP2Work::RunInPlace(AUVXFile& file) {
  const std::int64_t groups = file.Groups();
  const std::int64_t rec = file.RecordBytes();
  const std::int64_t block = std::max<std::int64_t>(1, (std::int64_t{8} << 20) / std::max<std::int64_t>(rec, 1));
  std::vector<unsigned char> buf(std::size_t(std::min(block, std::max<std::int64_t>(groups, 1)) * rec));
  if (progress_) progress_->SetRange(0, groups);
  AUVXMinMax extremes;
  extremes.init();
  AUVXGroup g;
  AUVXVisibility v(file.NIF(), file.NChannels(), file.NStokes());
  const std::size_t vis_bytes = std::size_t(v.Count()) * 12;
  for (std::int64_t first = 0; first < groups;) {
    const std::int64_t n = std::min(block, groups - first);
    if (!file.ReadRecords(first, n, buf.data())) return Fail(item_.in_path + ": " + file.Error());
    for (std::int64_t k = 0; k < n; ++k) {
      if (StopRequested(stop_)) {
        file.WriteRecords(first, k, buf.data());
        file.Close();
        return 0;
      }
      unsigned char* p = buf.data() + k * rec;
      g.FromBytes(p);
      if (vis_bytes) std::memcpy(static_cast<void*>(v.entries.data), p + AUVXGroup::kBytes, vis_bytes);
      if (!ComputeModel(g, v)) {
        file.WriteRecords(first, k, buf.data());
        file.Close();
        return Fail(item_.in_path + ": group " + std::to_string(first + k) + " has frequency set-up " +
                    std::to_string(int(g.freq_id)) + ", which the FQ table does not hold");
      }
      if (vis_bytes) std::memcpy(p + AUVXGroup::kBytes, v.entries.data, vis_bytes);
      g.check(extremes);
      v.check(extremes);
      ++groups_done_;
      if (progress_ && (groups_done_ & 1023) == 0) progress_->SetPos(groups_done_);
    }
    if (!file.WriteRecords(first, n, buf.data())) return Fail(item_.in_path + ": " + file.Error());
    first += n;
  }
  AUVXHeader header = file.Header();
  header.extremes = extremes;
  if (!file.Write(header) || !file.Close()) return Fail("updating " + item_.in_path + " failed: " + file.Error());
  if (progress_) progress_->SetPos(groups);
  return 1;
}
