#include "app/ini_file.h"

#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace {

std::string_view Trim(std::string_view s) {
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.front()))) s.remove_prefix(1);
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.back()))) s.remove_suffix(1);
  return s;
}

bool EqualNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (std::toupper(static_cast<unsigned char>(a[i])) != std::toupper(static_cast<unsigned char>(b[i])))
      return false;
  return true;
}

}  // namespace

void AIniFile::Parse(std::istream& in) {
  lines_.clear();
  std::string text;
  while (std::getline(in, text)) {
    if (!text.empty() && text.back() == '\r') text.pop_back();
    Line line{text, {}, {}};
    const std::string_view t = Trim(text);
    if (!t.empty() && t.front() == '[') {
      const auto close = t.find(']');
      line.section = std::string(Trim(t.substr(1, close == std::string_view::npos ? t.size() - 1 : close - 1)));
    } else if (!t.empty() && t.front() != ';' && t.front() != '#') {
      const auto eq = t.find('=');
      if (eq != std::string_view::npos) line.key = std::string(Trim(t.substr(0, eq)));
    }
    lines_.push_back(std::move(line));
  }
}

int AIniFile::Load(const std::string& path) {
  lines_.clear();
  std::ifstream in(path, std::ios::binary);
  if (!in) return 0;
  Parse(in);
  return 1;
}

std::string AIniFile::Text() const {
  std::string out;
  for (const Line& l : lines_) {
    out += l.text;
    out += '\n';
  }
  return out;
}

int AIniFile::Save(const std::string& path) const {
  const std::string temp = path + ".tmp";
  {
    std::ofstream out(temp, std::ios::binary | std::ios::trunc);
    if (!out) return 0;
    const std::string text = Text();
    out.write(text.data(), std::streamsize(text.size()));
    out.close();
    if (!out) {
      std::error_code ec;
      std::filesystem::remove(temp, ec);
      return 0;
    }
  }
  std::error_code ec;
  std::filesystem::rename(temp, path, ec);
  if (ec) {
    std::filesystem::remove(temp, ec);
    return 0;
  }
  return 1;
}

int AIniFile::FindSection(std::string_view section) const {
  for (std::size_t i = 0; i < lines_.size(); ++i)
    if (!lines_[i].section.empty() && EqualNoCase(lines_[i].section, section)) return int(i);
  return -1;
}

int AIniFile::SectionEnd(int header) const {
  std::size_t i = std::size_t(header) + 1;
  while (i < lines_.size() && lines_[i].section.empty()) ++i;
  return int(i);
}

int AIniFile::FindKey(int header, std::string_view key) const {
  const int end = SectionEnd(header);
  for (int i = header + 1; i < end; ++i)
    if (!lines_[std::size_t(i)].key.empty() && EqualNoCase(lines_[std::size_t(i)].key, key)) return i;
  return -1;
}

std::string AIniFile::ValueOf(const std::string& line) {
  std::string_view v = Trim(std::string_view(line).substr(line.find('=') + 1));
  if (v.size() >= 2 && v.front() == '"' && v.back() == '"') v = v.substr(1, v.size() - 2);
  return std::string(v);
}

bool AIniFile::HasKey(std::string_view section, std::string_view key) const {
  const int h = FindSection(section);
  return h >= 0 && FindKey(h, key) >= 0;
}

std::string AIniFile::GetProfileString(std::string_view section, std::string_view key, std::string_view def) const {
  const int h = FindSection(section);
  const int k = h >= 0 ? FindKey(h, key) : -1;
  return k >= 0 ? ValueOf(lines_[std::size_t(k)].text) : std::string(def);
}

std::int32_t AIniFile::GetProfileInt(std::string_view section, std::string_view key, std::int32_t def) const {
  const int h = FindSection(section);
  const int k = h >= 0 ? FindKey(h, key) : -1;
  if (k < 0) return def;
  const std::string v = ValueOf(lines_[std::size_t(k)].text);
  std::size_t i = 0;
  bool negative = false;
  if (i < v.size() && (v[i] == '-' || v[i] == '+')) negative = v[i++] == '-';
  std::int64_t value = 0;
  for (; i < v.size() && std::isdigit(static_cast<unsigned char>(v[i])); ++i) {
    value = value * 10 + (v[i] - '0');
    if (value > std::int64_t{1} << 32) break;  // wraps like a 32-bit accumulator would
  }
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(negative ? -value : value));
}

void AIniFile::WriteProfileString(std::string_view section, std::string_view key, std::string_view value) {
  std::string text = std::string(key) + "=" + std::string(value);
  int h = FindSection(section);
  if (h < 0) {
    if (!lines_.empty() && !Trim(lines_.back().text).empty()) lines_.push_back({"", {}, {}});
    lines_.push_back({"[" + std::string(section) + "]", std::string(section), {}});
    lines_.push_back({std::move(text), {}, std::string(key)});
    return;
  }
  const int k = FindKey(h, key);
  if (k >= 0) {
    lines_[std::size_t(k)].text = std::move(text);
    return;
  }
  // After the section's last non-blank line, so a blank separator line stays between sections.
  int at = SectionEnd(h);
  while (at > h + 1 && Trim(lines_[std::size_t(at - 1)].text).empty()) --at;
  lines_.insert(lines_.begin() + at, Line{std::move(text), {}, std::string(key)});
}

void AIniFile::WriteProfileInt(std::string_view section, std::string_view key, std::int32_t value) {
  WriteProfileString(section, key, std::to_string(value));
}

std::vector<AIniFile::Entry> AIniFile::Entries() const {
  std::vector<Entry> out;
  std::string section;
  for (std::size_t i = 0; i < lines_.size(); ++i) {
    const Line& l = lines_[i];
    if (!l.section.empty()) {
      section = l.section;
      out.push_back({int(i + 1), section, {}, {}});
    } else if (!l.key.empty()) {
      out.push_back({int(i + 1), section, l.key, ValueOf(l.text)});
    }
  }
  return out;
}
