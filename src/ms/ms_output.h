#pragma once
// A Measurement Set is a directory; like every file the program writes it is complete or absent:
// written as "<path>.part" and renamed when complete, removed on failure or stop.

#include <string>

namespace ms {

class DirectoryOutput {
 public:
  explicit DirectoryOutput(std::string path);
  ~DirectoryOutput();  // removes the ".part" directory unless Commit succeeded
  DirectoryOutput(const DirectoryOutput&) = delete;
  DirectoryOutput& operator=(const DirectoryOutput&) = delete;

  // Removes a ".part" left by an earlier run; non-zero on success.
  int Prepare(std::string& error);
  const std::string& Part() const { return part_; }
  // Puts the finished directory in place of `path`; an older output at `path` is replaced only
  // now (moved aside, then deleted). Non-zero on success.
  int Commit(std::string& error);

 private:
  std::string path_, part_;
  bool done_ = false;
};

// True when `path` names a Measurement Set for the command line: an existing directory, or a
// name ending in ".ms" or ".MS" (with or without a trailing slash).
bool LooksLikeMS(const std::string& path);

}  // namespace ms
