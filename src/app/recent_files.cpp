#include "app/recent_files.h"

#include <algorithm>

#include "app/ini_file.h"
#include "app/settings_store.h"

namespace {

std::string FileKey(std::string_view page, int i) { return std::string(page) + " FILE" + std::to_string(i); }

}  // namespace

std::string RecentSection() { return SettingsSection("%s-RECENT"); }

std::vector<std::string> LoadRecentFiles(const std::string& settings_path, std::string_view page) {
  AIniFile ini;
  ini.Load(settings_path);
  std::vector<std::string> files;
  for (int i = 0; i < kRecentFilesMax; ++i) {
    std::string f = ini.GetProfileString(RecentSection(), FileKey(page, i), "");
    if (!f.empty() && std::find(files.begin(), files.end(), f) == files.end()) files.push_back(std::move(f));
  }
  return files;
}

int AddRecentFile(const std::string& settings_path, std::string_view page, const std::string& path) {
  if (path.empty()) return 0;
  std::vector<std::string> files = LoadRecentFiles(settings_path, page);
  files.erase(std::remove(files.begin(), files.end(), path), files.end());
  files.insert(files.begin(), path);
  if (int(files.size()) > kRecentFilesMax) files.resize(kRecentFilesMax);
  AIniFile ini;
  ini.Load(settings_path);
  for (int i = 0; i < kRecentFilesMax; ++i)
    if (i < int(files.size()) || ini.HasKey(RecentSection(), FileKey(page, i)))
      ini.WriteProfileString(RecentSection(), FileKey(page, i), i < int(files.size()) ? files[std::size_t(i)] : "");
  return ini.Save(settings_path);
}

std::string LoadLastDir(const std::string& settings_path, std::string_view kind) {
  AIniFile ini;
  ini.Load(settings_path);
  return ini.GetProfileString(RecentSection(), "DIR " + std::string(kind), "");
}

int StoreLastDir(const std::string& settings_path, std::string_view kind, const std::string& dir) {
  AIniFile ini;
  ini.Load(settings_path);
  if (ini.GetProfileString(RecentSection(), "DIR " + std::string(kind), "") == dir) return 1;
  ini.WriteProfileString(RecentSection(), "DIR " + std::string(kind), dir);
  return ini.Save(settings_path);
}
