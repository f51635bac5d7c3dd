#include "uvx/fast_read.h"

#include <algorithm>

#include "uvx/uvx_file.h"

AUVXFastRead::AUVXFastRead(AUVXFile* file, ProgressSink* progress) : file_(file), progress_(progress) {
  groups_ = file_ && file_->IsOpen() ? file_->Groups() : 0;
  step_ = std::max<std::int64_t>(1, groups_ / 256);
  if (progress_) progress_->SetRange(0, groups_);
}

AUVXFastRead::~AUVXFastRead() = default;

int AUVXFastRead::GetUVGVis(AUVXGroup& group, AUVXVisibility& vis, int& status) {
  if (next_ >= groups_) {
    status = -1;
    if (progress_ && groups_ > 0) progress_->SetPos(groups_);
    return 0;
  }
  if (vis.n_if != file_->NIF() || vis.n_channels != file_->NChannels() || vis.n_stokes != file_->NStokes())
    vis.Resize(file_->NIF(), file_->NChannels(), file_->NStokes());
  // Positioning is arithmetic inside the file's buffer: no system call unless the buffer is empty.
  if (!file_->SeekUVGroup(next_) || !group.load(*file_) || !vis.load(*file_)) {
    status = -2;
    return 0;
  }
  status = static_cast<int>(next_);
  ++next_;
  if (progress_ && (next_ % step_ == 0 || next_ == groups_)) progress_->SetPos(next_);
  return 1;
}
