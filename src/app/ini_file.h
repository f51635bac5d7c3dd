#pragma once
// AIniFile: an INI settings file read and written with the semantics of the classic profile
// functions.
//
//  - Sections "[NAME]" and keys "KEY=value" are matched without regard to letter case.
//  - A missing key yields the caller's default. Integers are read like the profile functions do:
//    an optional sign and the leading digits ("12abc" is 12, "abc" is 0); a missing key gives the
//    default. Doubles are stored as text and read back with atof by the callers.
//  - Values are trimmed of surrounding blanks; a value enclosed in double quotes loses them.
//  - Writing a key changes its line in place; a new key goes to the end of its section, a new
//    section to the end of the file. Comment lines (";" or "#"), blank lines and every other
//    section are kept as they stand.
//  - The first occurrence of a section or key wins, as with the profile functions.
//
// Save writes the whole file beside the target and renames it: the file is complete or absent.

#include <cstdint>
#include <istream>
#include <string>
#include <string_view>
#include <vector>

class AIniFile {
 public:
  AIniFile() = default;

  // Replaces the contents with the file's; a missing or unreadable file gives an empty profile
  // (returns 0 then, non-zero when the file was read).
  int Load(const std::string& path);
  void Parse(std::istream& in);
  // Non-zero on success.
  int Save(const std::string& path) const;
  std::string Text() const;

  std::string GetProfileString(std::string_view section, std::string_view key, std::string_view def) const;
  std::int32_t GetProfileInt(std::string_view section, std::string_view key, std::int32_t def) const;
  void WriteProfileString(std::string_view section, std::string_view key, std::string_view value);
  void WriteProfileInt(std::string_view section, std::string_view key, std::int32_t value);

  bool HasKey(std::string_view section, std::string_view key) const;

  // The section headers and key lines in file order, with their 1-based line numbers: a header
  // has its section name and an empty key; a key line the section it stands in (empty before the
  // first header), its key and its value as GetProfileString returns it.
  struct Entry {
    int line = 0;
    std::string section;
    std::string key;
    std::string value;
  };
  std::vector<Entry> Entries() const;

 private:
  struct Line {
    std::string text;     // the line as read or written, without the line end
    std::string section;  // section header: its name; otherwise empty
    std::string key;      // key line: its key as written; otherwise empty
  };
  // Index of the section's header line, or -1.
  int FindSection(std::string_view section) const;
  // Index of the key's line inside the section that starts at `header`, or -1.
  int FindKey(int header, std::string_view key) const;
  // One past the last line belonging to the section that starts at `header`.
  int SectionEnd(int header) const;
  static std::string ValueOf(const std::string& line);

  std::vector<Line> lines_;
};
