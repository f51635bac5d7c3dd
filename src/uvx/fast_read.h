#pragma once
// AUVXFastRead: a sequential pass over the groups of an open file, with progress.

#include <cstdint>

#include "core/runtime.h"
#include "uvx/uvx_records.h"

class AUVXFile;

class AUVXFastRead {
 public:
  AUVXFastRead(AUVXFile* file, ProgressSink* progress);
  virtual ~AUVXFastRead();

  // Reads the next group and its visibility (resized to the file's counts). Returns non-zero when
  // a group was read; `status` is then its index. At the end returns 0 with status -1; on a read
  // error returns 0 with status -2.
  int GetUVGVis(AUVXGroup& group, AUVXVisibility& vis, int& status);
  std::int64_t Next() const { return next_; }

 private:
  AUVXFile* file_;
  ProgressSink* progress_;
  std::int64_t next_ = 0;
  std::int64_t groups_ = 0;
  std::int64_t step_ = 1;
};
