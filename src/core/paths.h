#pragma once
// Program folders and path pieces.

#include <string>

// Folder of the running executable, ending with '/'.
std::string getExePath();
// Folder part of a path, ending with '/'; empty when the path names no folder.
std::string getfPath(const std::string& path);
// File name part of a path (after the last '/').
std::string getfName(const std::string& path);
// The path with its extension (from the last '.' of the file name) replaced by `ext` (with dot).
std::string replaceExtension(const std::string& path, const std::string& ext);

// The base folder holding the catalogues and the settings file, ending with '/':
//  1. `override` when not empty (the --base option);
//  2. the environment variable QVLMODEL_HOME when set;
//  3. the executable's folder when it is writable;
//  4. $XDG_DATA_HOME/qvlmodel (or ~/.local/share/qvlmodel), created on first use and seeded with
//     the catalogues shipped next to the executable.
std::string BaseFolder(const std::string& override = {});
