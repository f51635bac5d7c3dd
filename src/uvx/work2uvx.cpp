#include "uvx/work2uvx.h"

#include <tbb/blocked_range.h>
#include <tbb/combinable.h>
#include <tbb/parallel_for.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <vector>

namespace {

constexpr std::int64_t kBlockBytes = std::int64_t{8} << 20;

// Decodes the record at `p`, runs the operation, encodes it back and folds it into `mm`.
template <class Op>
int ProcessRecord(unsigned char* p, AUVXGroup& g, AUVXVisibility& v, AUVXMinMax& mm, Op&& op) {
  g.FromBytes(p);
  const std::size_t vis_bytes = std::size_t(v.Count()) * 12;
  if (vis_bytes) std::memcpy(static_cast<void*>(v.entries.data), p + AUVXGroup::kBytes, vis_bytes);
  if (!op(g, v)) return 0;
  g.ToBytes(p);
  if (vis_bytes) std::memcpy(p + AUVXGroup::kBytes, v.entries.data, vis_bytes);
  g.check(mm);
  v.check(mm);
  return 1;
}

}  // namespace

AWork2UVX::AWork2UVX(AUVXFile* in, AUVXFile* out, ProgressSink* progress, StopFlag* stop)
    : in_(in), out_(out), progress_(progress), stop_(stop) {}

AWork2UVX::~AWork2UVX() = default;

int AWork2UVX::Init() {
  if (!in_ || !out_ || !in_->IsOpen() || !out_->IsOpen() || out_->Mode() == AUVXFile::modeRead) return 0;
  if (!out_->SetLayout(in_->NIF(), in_->NChannels(), in_->NStokes())) return 0;
  extremes_.init();
  done_ = 0;
  if (progress_) {
    progress_->SetRange(0, in_->Groups());
    progress_->SetPos(0);
  }
  return 1;
}

int AWork2UVX::IsCancel() { return StopRequested(stop_) ? 1 : 0; }

int AWork2UVX::ProcessVisibility(AUVXGroup&, AUVXVisibility&) { return 1; }

int AWork2UVX::Run() {
  if (!Init()) return 0;
  if (!RunBlocks(parallel_allowed_ && IsPure())) return 0;
  return Finish();
}

int AWork2UVX::RunBlocks(bool parallel) {
  const std::int64_t groups = in_->Groups();
  const std::int64_t rec = in_->RecordBytes();
  const std::int64_t block =
      block_groups_ > 0 ? block_groups_ : std::max<std::int64_t>(1, kBlockBytes / std::max<std::int64_t>(rec, 1));
  std::vector<unsigned char> buf(std::size_t(std::min(block, std::max<std::int64_t>(groups, 1)) * rec));
  const std::int64_t progress_step = std::max<std::int64_t>(1, groups / 256);
  auto op = [this](AUVXGroup& g, AUVXVisibility& v) { return ProcessVisibility(g, v); };

  for (std::int64_t first = 0; first < groups;) {
    const std::int64_t n = std::min(block, groups - first);
    if (IsCancel()) return 0;
    if (!in_->ReadRecords(first, n, buf.data())) return 0;
    if (!parallel) {
      AUVXGroup g;
      AUVXVisibility v(in_->NIF(), in_->NChannels(), in_->NStokes());
      for (std::int64_t k = 0; k < n; ++k) {
        if (IsCancel()) return 0;
        if (!ProcessRecord(buf.data() + k * rec, g, v, extremes_, op)) return 0;
        ++done_;
        if (progress_ && done_ % progress_step == 0) progress_->SetPos(done_);
      }
    } else {
      std::atomic<int> failed{0};
      tbb::combinable<AUVXMinMax> local;
      tbb::parallel_for(tbb::blocked_range<std::int64_t>(0, n, 64), [&](const tbb::blocked_range<std::int64_t>& r) {
        AUVXGroup g;
        AUVXVisibility v(in_->NIF(), in_->NChannels(), in_->NStokes());
        AUVXMinMax& mm = local.local();
        for (std::int64_t k = r.begin(); k != r.end(); ++k) {
          if (failed.load(std::memory_order_relaxed) || IsCancel()) {
            failed = 1;
            return;
          }
          if (!ProcessRecord(buf.data() + k * rec, g, v, mm, op)) {
            failed = 1;
            return;
          }
        }
      });
      if (failed) return 0;
      local.combine_each([this](const AUVXMinMax& mm) { extremes_.merge(mm); });
      done_ += n;
      if (progress_) progress_->SetPos(done_);
    }
    if (!out_->WriteRecords(first, n, buf.data())) return 0;
    first += n;
  }
  return 1;
}

int AWork2UVX::Finish() {
  AUVXHeader header = in_->Header();
  header.groups = static_cast<std::int32_t>(in_->Groups());
  header.extremes = extremes_;
  if (!out_->Write(header)) return 0;
  for (int i = 0; i < in_->TableCount(); ++i) out_->AddTable(*in_->TableAt(i));
  if (progress_) progress_->SetPos(in_->Groups());
  return out_->Error().empty() ? 1 : 0;
}

int RunOrRemoveOutput(AWork2UVX& work) {
  const int ok = work.Run();
  if (!ok && work.Output()) work.Output()->Discard();
  return ok;
}
