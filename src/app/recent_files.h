#pragma once
// The desktop program's own section of the settings file, "QVLMODEL-RECENT": the recent files of
// each page and the last folder of each kind of file. Keys (documented in docs/settings.md):
//
//   <PAGE> FILE0 .. <PAGE> FILE7   the page's recent files, newest first ("PROCESS1 FILE0")
//   DIR <KIND>                     the folder last used for files of that kind ("DIR UVX")
//
// The command line neither reads nor writes the section. Each change is written at once, loading
// the file first so that every other section stays as it stands.

#include <string>
#include <string_view>
#include <vector>

inline constexpr int kRecentFilesMax = 8;

// "QVLMODEL-RECENT".
std::string RecentSection();

// The page's recent files in the settings file, newest first (empty entries skipped).
std::vector<std::string> LoadRecentFiles(const std::string& settings_path, std::string_view page);
// Puts `path` first in the page's list (an existing entry moves up; at most kRecentFilesMax kept)
// and writes the file. Non-zero when the file was written.
int AddRecentFile(const std::string& settings_path, std::string_view page, const std::string& path);

// The folder last used for files of `kind` ("UVX", "OBS"), empty when none is kept.
std::string LoadLastDir(const std::string& settings_path, std::string_view kind);
int StoreLastDir(const std::string& settings_path, std::string_view kind, const std::string& dir);
