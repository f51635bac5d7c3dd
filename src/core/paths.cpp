#include "core/paths.h"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {
std::string WithSlash(std::string folder) {
  if (!folder.empty() && folder.back() != '/') folder.push_back('/');
  return folder;
}
}  // namespace

std::string getExePath() {
  std::error_code ec;
  const fs::path exe = fs::read_symlink("/proc/self/exe", ec);
  if (ec) return "./";
  return WithSlash(exe.parent_path().string());
}

std::string getfPath(const std::string& path) {
  const auto slash = path.find_last_of('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

std::string getfName(const std::string& path) {
  const auto slash = path.find_last_of('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string replaceExtension(const std::string& path, const std::string& ext) {
  const std::string name = getfName(path);
  const auto dot = name.find_last_of('.');
  const std::string stem = dot == std::string::npos ? name : name.substr(0, dot);
  return getfPath(path) + stem + ext;
}

std::string BaseFolder(const std::string& override) {
  if (!override.empty()) return WithSlash(override);
  if (const char* home = std::getenv("QVLMODEL_HOME"); home && *home) return WithSlash(home);
  const std::string exeDir = getExePath();
  if (access(exeDir.c_str(), W_OK) == 0) return exeDir;

  fs::path data;
  if (const char* xdg = std::getenv("XDG_DATA_HOME"); xdg && *xdg) data = xdg;
  else if (const char* home = std::getenv("HOME"); home && *home) data = fs::path(home) / ".local/share";
  else data = fs::temp_directory_path();
  const fs::path folder = data / "qvlmodel";
  std::error_code ec;
  fs::create_directories(folder, ec);
  for (const char* name : {"Telescopes.dat", "Sources.dat"}) {
    const fs::path target = folder / name;
    if (!fs::exists(target, ec)) fs::copy_file(fs::path(exeDir) / name, target, ec);
  }
  return WithSlash(folder.string());
}
