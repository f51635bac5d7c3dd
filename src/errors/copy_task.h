#pragma once
// The file side of a copy task (errors, noise): the input opened for reading, the output written
// under a temporary name beside its final name and renamed only when the copy has succeeded, so
// that the output file is complete or absent and an existing file of that name survives a failed
// or stopped run.

#include <cstdint>
#include <string>

#include "core/runtime.h"
#include "uvx/uvx_file.h"
#include "uvx/work2uvx.h"

// What a finished copy task did.
struct AMCopyStats {
  std::int64_t groups = 0;
  std::int64_t unchanged_missing = 0;  // records left unchanged for a telescope not in the list
  std::string out_path;
};

class AMCopyTaskFiles {
 public:
  AMCopyTaskFiles() = default;
  ~AMCopyTaskFiles();  // an output still open here is removed
  AMCopyTaskFiles(const AMCopyTaskFiles&) = delete;
  AMCopyTaskFiles& operator=(const AMCopyTaskFiles&) = delete;

  // Opens the input; 0 with *error when it cannot be read.
  int OpenInput(const std::string& in_path, std::string* error);
  // Creates the temporary output; 0 with *error when the output names the input or cannot be made.
  int OpenOutput(const std::string& out_path, std::string* error);
  // Runs the copy (built on In() and Out()). Success: the output is closed and renamed to its
  // final name. Failure or stop: the output is removed and *error says why. Non-zero on success.
  int Run(AWork2UVX& work, StopFlag* stop, std::string* error);

  AUVXFile& In() { return in_; }
  AUVXFile& Out() { return out_; }
  static std::string TempPath(const std::string& out_path) { return out_path + ".part"; }

 private:
  AUVXFile in_, out_;
  std::string in_path_, out_path_;
};

// `in` with `suffix` put before its ".uvx" extension (any letter case), or `in` + suffix + ".uvx"
// when it has no such extension.
std::string InsertBeforeUvx(const std::string& in, const std::string& suffix);
