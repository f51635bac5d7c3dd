#pragma once
// AWork2UVX: the copy-and-process loop shared by the tasks that turn one UVX file into another of
// the same shape. The base owns reading, writing, extremes, progress, the stop flag and carrying
// the tables over; a task overrides only ProcessVisibility.
//
// Run: Init(); then for every group in file order: IsCancel() (stop -> 0), read the group and its
// visibility, ProcessVisibility, write both to the output, fold them into the output's extremes,
// advance the progress. Afterwards the output header (counts, extremes) is written and every table
// of the input (AN, SU, FQ, BL, PS, ...) is added to the output.
//
// The caller opens `in` (modeRead) and `out` (modeCreate) first. After a Run that returns 0 the
// output must be removed: RunOrRemoveOutput does exactly that.
//
// A task whose ProcessVisibility is a pure function of (group, visibility) and safe to call from
// several threads at once returns true from IsPure(); Run then processes blocks of groups with TBB,
// producing the same bytes as the one-at-a-time run. Stateful operations (random generators) keep
// the default false and are called in file order on the calling thread.

#include <cstdint>

#include "core/runtime.h"
#include "uvx/uvx_file.h"
#include "uvx/uvx_records.h"

class AWork2UVX {
 public:
  AWork2UVX(AUVXFile* in, AUVXFile* out, ProgressSink* progress, StopFlag* stop);
  virtual ~AWork2UVX();

  // Non-zero on success; 0 on failure or when stopped.
  int Run();

  AUVXFile* Input() const { return in_; }
  AUVXFile* Output() const { return out_; }
  const AUVXMinMax& Extremes() const { return extremes_; }
  std::int64_t GroupsDone() const { return done_; }
  // Groups per block of the block-wise pass (0 = chosen from the record size, ~8 MB per block).
  void SetBlockGroups(int groups) { block_groups_ = groups; }
  // Allows or forbids the parallel pass of a pure operation (allowed by default).
  void SetParallel(bool allowed) { parallel_allowed_ = allowed; }

 protected:
  virtual int Init();
  virtual int IsCancel();
  // The change of one visibility; returns non-zero to go on, 0 to fail the run.
  virtual int ProcessVisibility(AUVXGroup& group, AUVXVisibility& vis);
  virtual bool IsPure() const { return false; }

 private:
  int RunBlocks(bool parallel);
  int Finish();

  AUVXFile* in_;
  AUVXFile* out_;
  ProgressSink* progress_;
  StopFlag* stop_;
  AUVXMinMax extremes_;
  std::int64_t done_ = 0;
  int block_groups_ = 0;
  bool parallel_allowed_ = true;
};

// Runs the work; when Run returns 0, discards (closes and deletes) the output file. Returns Run's
// result. On success the output stays open for the caller to Close.
int RunOrRemoveOutput(AWork2UVX& work);
