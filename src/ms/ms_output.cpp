#include "ms/ms_output.h"

#include <filesystem>
#include <system_error>

namespace ms {

namespace fs = std::filesystem;

DirectoryOutput::DirectoryOutput(std::string path) : path_(std::move(path)) {
  while (path_.size() > 1 && path_.back() == '/') path_.pop_back();
  part_ = path_ + ".part";
}

DirectoryOutput::~DirectoryOutput() {
  if (done_) return;
  std::error_code ec;
  fs::remove_all(part_, ec);
}

int DirectoryOutput::Prepare(std::string& error) {
  std::error_code ec;
  fs::remove_all(part_, ec);
  if (ec) return error = "cannot remove " + part_ + ": " + ec.message(), 0;
  return 1;
}

int DirectoryOutput::Commit(std::string& error) {
  std::error_code ec;
  const std::string aside = path_ + ".replaced";
  const bool had_old = fs::exists(fs::symlink_status(path_, ec));
  if (had_old) {
    fs::remove_all(aside, ec);
    fs::rename(path_, aside, ec);
    if (ec) return error = "cannot move the older " + path_ + " aside: " + ec.message(), 0;
  }
  fs::rename(part_, path_, ec);
  if (ec) {
    std::error_code back;
    if (had_old) fs::rename(aside, path_, back);
    return error = "cannot rename " + part_ + " to " + path_ + ": " + ec.message(), 0;
  }
  done_ = true;
  if (had_old) fs::remove_all(aside, ec);
  return 1;
}

bool LooksLikeMS(const std::string& path) {
  std::string p = path;
  while (p.size() > 1 && p.back() == '/') p.pop_back();
  std::error_code ec;
  if (fs::is_directory(p, ec)) return true;
  return p.size() > 3 && (p.ends_with(".ms") || p.ends_with(".MS"));
}

}  // namespace ms
