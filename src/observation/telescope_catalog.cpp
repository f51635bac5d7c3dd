#include "observation/telescope_catalog.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <system_error>

#include "core/file.h"
#include "core/messages.h"
#include "core/text.h"

namespace {

// Reads one line cut to the catalogue buffer (127 bytes kept, the rest skipped), without the
// line feed and a carriage return before it.
bool ReadCatalogLine(std::istream& in, std::string& line) {
  if (!std::getline(in, line)) return false;
  if (!line.empty() && line.back() == '\r') line.pop_back();
  if (line.size() > kCatalogLineBytes - 1) line.resize(kCatalogLineBytes - 1);
  return true;
}

bool IsCommentLine(const std::string& line) { return trim(line).empty() || line.front() == ';'; }

int CompareUpper(const std::string& a, const std::string& b) {
  const int c = toUpper(a).compare(toUpper(b));
  return c < 0 ? -1 : (c > 0 ? 1 : 0);
}

}  // namespace

int CompareTlscInfo(const AMTlscInfoItem& a, const AMTlscInfoItem& b) {
  int c = CompareUpper(a.name, b.name);
  if (c == 0) c = CompareUpper(a.id_name, b.id_name);
  return -c;  // +1 when a sorts first
}

int CompareTlscInfoForSort(const AMTlscInfoItem& a, const AMTlscInfoItem& b) { return -CompareTlscInfo(a, b); }

void SortTlscCatalog(AMTlscCatalog& catalog) {
  if (catalog.count > 1)
    std::stable_sort(catalog.begin(), catalog.end(), [](const AMTlscInfoItem& a, const AMTlscInfoItem& b) {
      return CompareTlscInfoForSort(a, b) < 0;
    });
}

std::string FormatTelescopeLine(int line_number, const AMTlscInfoItem& item) {
  char numbers[16 * 40];
  const double* p = item.params;
  std::snprintf(numbers, sizeof numbers, "\t%.15g\t%.15g\t%.15g\t%.15g\t%.15g\t%.15g\t%.15g\t%.15g\t%d", p[0], p[1],
                p[2], p[3], p[4], p[5], p[6], p[7], item.ground ? 0 : 1);
  return std::to_string(line_number) + " " + item.id_name + " " + item.name + numbers;
}

int ParseTelescopeLine(std::string_view line, AMTlscInfoItem& item) {
  item = AMTlscInfoItem{};
  item.ground = 0;  // cleared; set from the kind code when it is read
  const std::string text(line);
  int number = 0, kind = 0;
  std::string id(text.size() + 1, '\0'), name(text.size() + 1, '\0');
  double* p = item.params;
  const int n = std::sscanf(text.c_str(), "%d %s %s %lf %lf %lf %lf %lf %lf %lf %lf %d", &number, id.data(),
                            name.data(), &p[0], &p[1], &p[2], &p[3], &p[4], &p[5], &p[6], &p[7], &kind);
  if (n >= 2) item.id_name = id.c_str();
  if (n >= 3) item.name = name.c_str();
  if (n >= 12) item.ground = kind ? 0 : 1;
  item.extra = 0;
  return n < 0 ? 0 : n;
}

int FirstNonFiniteParameter(const AMTlscInfoItem& item, int fields) {
  for (int k = 0; k < tlsc::kParamCount && 3 + k < fields; ++k)
    if (!std::isfinite(item.params[k])) return k;
  return -1;
}

int ReadTelescopes(std::istream& in, AMTlscCatalog& catalog, std::string* refused) {
  std::string line;
  long number = 0, skipped = 0;
  while (ReadCatalogLine(in, line)) {
    ++number;
    if (IsCommentLine(line)) continue;
    AMTlscInfoItem item;
    const int fields = ParseTelescopeLine(line, item);
    const int bad = FirstNonFiniteParameter(item, fields);
    if (bad >= 0 || catalog.GetSize() >= kMaxCatalogEntries) {
      if (refused && skipped++ == 0)
        *refused = "line " + std::to_string(number) + ": " +
                   (bad >= 0 ? "parameter " + std::to_string(bad + 1) + " is not a finite number"
                             : std::string("more entries than a catalogue holds"));
      continue;
    }
    GrowWithCount(catalog);
    catalog.Add(item);
  }
  if (refused && skipped > 1) *refused += " (" + std::to_string(skipped) + " lines left out)";
  return 1;
}

void WriteTelescopes(std::ostream& out, const AMTlscCatalog& catalog) {
  for (int i = 0; i < catalog.count; ++i) out << FormatTelescopeLine(i + 1, catalog[i]) << '\n';
}

int LoadTelescopeFile(const std::string& path, AMTlscCatalog& catalog, std::string* refused) {
  catalog = AMTlscCatalog();  // RemoveAll keeps the capacity without storage: start afresh
  std::ifstream in(path);
  if (!in) return 0;
  return ReadTelescopes(in, catalog, refused);
}

int SaveTelescopeFile(const std::string& path, const AMTlscCatalog& catalog, MessageSink* messages,
                      const std::string& leading) {
  const std::string temp = path + ".part";
  AFileRemover remover(temp);
  bool ok = false;
  {
    std::ofstream out(temp, std::ios::trunc);
    if (out) {
      out << leading;
      WriteTelescopes(out, catalog);
      out.flush();
      ok = static_cast<bool>(out);
    }
  }
  if (ok) {
    std::error_code ec;
    std::filesystem::rename(temp, path, ec);
    ok = !ec;
  }
  if (!ok) {
    if (messages) messages->Show(kErrTelescopeFile);
    return 0;
  }
  remover.Keep();
  return 1;
}

std::string LeadingComments(const std::string& path) {
  std::ifstream in(path);
  std::string block, line;
  while (std::getline(in, line)) {
    std::string shown = line;
    if (!shown.empty() && shown.back() == '\r') shown.pop_back();
    if (!IsCommentLine(shown)) break;
    block += shown + '\n';
  }
  return block;
}

std::vector<std::string> DuplicateTelescopeIds(const AMTlscCatalog& catalog) {
  std::map<std::string, std::vector<int>> by_id;  // ordered: the report lists identifiers alphabetically
  for (int i = 0; i < catalog.count; ++i) by_id[toUpper(catalog[i].id_name)].push_back(i);
  std::vector<std::string> out;
  for (const auto& [id, rows] : by_id) {
    if (rows.size() < 2) continue;
    std::string text = "ID " + catalog[rows[0]].id_name + ":";
    for (std::size_t k = 0; k < rows.size(); ++k) text += (k ? ", " : " ") + catalog[rows[k]].name;
    out.push_back(text);
  }
  return out;
}

int FindTlscInsertPosition(const AMTlscCatalog& catalog, const AMTlscInfoItem& item, bool& found) {
  found = false;
  int low = 0, high = catalog.count - 1;
  while (low <= high) {
    const int mid = (low + high) / 2;
    const int c = CompareTlscInfo(item, catalog[mid]);
    if (c == 0) {
      found = true;
      return mid;
    }
    if (c > 0) high = mid - 1;  // item sorts before mid
    else low = mid + 1;
  }
  return low;
}

AMInsertOutcome InsertTelescope(AMTlscCatalog& catalog, const AMTlscInfoItem& item, MessageSink* messages) {
  bool found = false;
  const int at = FindTlscInsertPosition(catalog, item, found);
  if (found) {
    const Answer a = messages ? messages->Ask(msg::kTelescopeExists, Buttons::YesNo, Answer::No) : Answer::No;
    if (a != Answer::Yes) return {AMInsertResult::Declined, -1};
    catalog[at] = item;
    return {AMInsertResult::Overwritten, at};
  }
  catalog.InsertAt(at, item);
  return {AMInsertResult::Inserted, at};
}

int FindTelescope(const AMTlscCatalog& catalog, std::string_view name, std::string_view id_name) {
  const std::string n = toUpper(name), id = toUpper(id_name);
  for (int i = 0; i < catalog.count; ++i)
    if (toUpper(catalog[i].name) == n && (id.empty() || toUpper(catalog[i].id_name) == id)) return i;
  return -1;
}

std::string NormalizeTelescopeName(std::string_view text) {
  std::string s(trim(text));
  for (char& c : s)
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f') c = '_';
  return s;
}

AMTlscCheck ValidateTelescope(AMTlscInfoItem& item, MessageSink* messages) {
  auto fail = [messages](const char* text, int field) {
    if (messages) messages->Show(text);
    return AMTlscCheck{0, text, field};
  };
  item.name = NormalizeTelescopeName(item.name);
  if (item.name.empty()) return fail(kTelescopeNameEmpty, 0);
  item.id_name = NormalizeTelescopeName(item.id_name);
  if (item.id_name.empty()) return fail(kTelescopeIdEmpty, 1);
  const double* p = item.params;
  if (!item.IsGround()) {
    const double a = p[tlsc::kSemimajorKm], e = p[tlsc::kEccentricity];
    if (a != 0 && !(a > 0)) return fail(kInvalidSemimajorAxis, 2 + tlsc::kSemimajorKm);
    if (!(e <= 1.0 && e >= 0.0)) return fail(kInvalidEccentricity, 2 + tlsc::kEccentricity);
    if (!(a * (1.0 - e) >= kMinPericentreKm)) return fail(kPericentreTooLow, 2 + tlsc::kSemimajorKm);
  } else {
    if (!(p[tlsc::kAzMin] < p[tlsc::kAzMax])) return fail(kAzLimits, 2 + tlsc::kAzMin);
    if (!(p[tlsc::kZMin] < p[tlsc::kZMax])) return fail(kZLimits, 2 + tlsc::kZMin);
  }
  return {};
}
