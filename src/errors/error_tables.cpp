#include "errors/error_tables.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <unordered_map>
#include <vector>

#include "core/text.h"
#include "uvx/uvx_lists.h"

namespace {

std::vector<std::string> SplitTabs(const std::string& line) {
  std::vector<std::string> fields;
  std::size_t from = 0;
  while (true) {
    const std::size_t tab = line.find('\t', from);
    fields.emplace_back(trim(std::string_view(line).substr(from, tab == std::string::npos ? std::string::npos : tab - from)));
    if (tab == std::string::npos) break;
    from = tab + 1;
  }
  return fields;
}

bool Skipped(const std::string& line) {
  const std::string_view t = trim(line);
  return t.empty() || t.front() == '#';
}

// Text from the file, escaped, in double quotes.
std::string Quote(const std::string& s) { return "\"" + EscapeText(s, 80) + "\""; }

// Reads the header and the data lines of a table; column positions of `wanted` (-1 when missing).
class TableReader {
 public:
  TableReader(std::istream& in, std::string* error) : in_(in), error_(error) {}

  // Reads the header line; 0 when there is none or a heading repeats. The headings go into a
  // hash map by their upper-case text, so a header of many columns is checked in linear time.
  int Header() {
    std::string line;
    while (Next(line))
      if (!Skipped(line)) {
        header_ = SplitTabs(line);
        columns_.reserve(header_.size());
        for (std::size_t i = 0; i < header_.size(); ++i) {
          if (header_[i].empty()) continue;
          if (!columns_.emplace(toUpper(header_[i]), int(i)).second)
            return Fail("line " + std::to_string(line_no_) + ": column " + Quote(header_[i]) + " appears twice");
        }
        return 1;
      }
    return Fail("no header line");
  }
  int Find(const std::string& heading) const {
    const auto it = columns_.find(toUpper(heading));
    return it == columns_.end() ? -1 : it->second;
  }
  int CountPrefix(const std::string& prefix) const {
    int n = 0;
    for (const std::string& h : header_)
      if (toUpper(h).rfind(toUpper(prefix), 0) == 0) ++n;
    return n;
  }
  int Require(const std::string& heading, int* col) {
    *col = Find(heading);
    return *col >= 0 ? 1 : Fail("header: column " + Quote(heading) + " missing");
  }
  // The next data line's fields; 0 at the end.
  bool Row(std::vector<std::string>& fields) {
    std::string line;
    while (Next(line))
      if (!Skipped(line)) {
        fields = SplitTabs(line);
        return true;
      }
    return false;
  }
  int Field(const std::vector<std::string>& fields, int col, std::string* text) {
    if (col >= int(fields.size())) return FailAt(col, "missing");
    *text = fields[std::size_t(col)];
    return 1;
  }
  int Number(const std::vector<std::string>& fields, int col, double* value) {
    std::string text;
    if (!Field(fields, col, &text)) return 0;
    if (text.empty()) return FailAt(col, "empty");
    errno = 0;
    char* end = nullptr;
    const double v = std::strtod(text.c_str(), &end);
    if (end != text.c_str() + text.size() || errno == ERANGE || !std::isfinite(v))
      return FailAt(col, "not a number: " + Quote(text));
    *value = v;
    return 1;
  }
  int Id(const std::vector<std::string>& fields, int col, int* value) {
    std::string text;
    if (!Field(fields, col, &text)) return 0;
    errno = 0;
    char* end = nullptr;
    const long v = text.empty() ? -1 : std::strtol(text.c_str(), &end, 10);
    if (text.empty() || end != text.c_str() + text.size() || errno == ERANGE || v < 0 || v > 255)
      return FailAt(col, "not a telescope number 0..255: " + Quote(text));
    *value = int(v);
    return 1;
  }
  // Fields past the header must be empty.
  int NoExtra(const std::vector<std::string>& fields) {
    for (std::size_t i = header_.size(); i < fields.size(); ++i)
      if (!fields[i].empty())
        return Fail("line " + std::to_string(line_no_) + ": more fields than the header has columns");
    return 1;
  }
  int FailAt(int col, const std::string& what) {
    return Fail("line " + std::to_string(line_no_) + ", column " + Quote(header_[std::size_t(col)]) + ": " + what);
  }
  int Fail(const std::string& what) {
    if (error_) *error_ = what;
    return 0;
  }
  int LineNo() const { return line_no_; }

 private:
  bool Next(std::string& line) {
    if (!std::getline(in_, line)) return false;
    ++line_no_;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return true;
  }
  std::istream& in_;
  std::string* error_;
  std::vector<std::string> header_;
  std::unordered_map<std::string, int> columns_;  // upper-case heading -> column
  int line_no_ = 0;
};

std::string CleanName(const std::string& name) {
  std::string s = name;
  std::replace_if(s.begin(), s.end(), [](char c) { return c == '\t' || c == '\n' || c == '\r'; }, ' ');
  return s;
}

int LoadAntennas(AUVXFile& file, AUVXAntenns& ants, std::string* error) {
  AUVXTable* an = file.GetTable("AN");
  if (!an || !ants.Load(*an)) {
    if (error) *error = file.Path() + ": the file has no usable telescope table (AN)";
    return 0;
  }
  return 1;
}

template <class Reader>
int LoadFile(const std::string& path, std::string* error, Reader&& read) {
  std::ifstream in(path);
  if (!in) {
    if (error) *error = path + ": cannot open the file";
    return 0;
  }
  std::string why;
  if (read(in, &why)) return 1;
  if (error) *error = path + ": " + why;
  return 0;
}

}  // namespace

int ReadErrorsTable(std::istream& in, AMTlscErrors& tlscs, std::string* error) {
  TableReader r(in, error);
  int c_name, c_id, c_val[7];
  if (!r.Header() || !r.Require("Name", &c_name) || !r.Require("ID", &c_id)) return 0;
  for (int k = 0; k < 7; ++k)
    if (!r.Require(kErrColumns[k], &c_val[k])) return 0;
  AMTlscErrors result;
  std::vector<std::string> f;
  while (r.Row(f)) {
    AMTlscErrItem t;
    double v[7];
    if (!r.Field(f, c_name, &t.name) || !r.Id(f, c_id, &t.id)) return 0;
    for (int k = 0; k < 7; ++k)
      if (!r.Number(f, c_val[k], &v[k])) return 0;
    if (!r.NoExtra(f)) return 0;
    if (v[0] < 0) return r.FailAt(c_val[0], "must be >= 0");
    if (v[1] < 0) return r.FailAt(c_val[1], "must be >= 0");
    t.phase_err_deg = v[0];
    t.ampl_err_db = v[1];
    t.phase0_deg = v[2];
    t.fringe_rate = v[3];
    t.delay = v[4];
    t.fringe_acc = v[5];
    t.delay_acc = v[6];
    GrowWithCount(result);
    result.Add(t);
  }
  if (in.bad()) return r.Fail("read error");
  tlscs = result;
  return 1;
}

int ReadSefdTable(std::istream& in, AObjArray<AMSfdItem>& items, int* n_if, std::string* error) {
  TableReader r(in, error);
  int c_name, c_id;
  if (!r.Header() || !r.Require("Name", &c_name) || !r.Require("ID", &c_id)) return 0;
  // Every "SEFD IF<k>" heading counts; together they must be IF1 .. IFn.
  std::vector<int> c_sefd;
  for (int k = 1; r.Find("SEFD IF" + std::to_string(k)) >= 0; ++k) c_sefd.push_back(r.Find("SEFD IF" + std::to_string(k)));
  if (r.CountPrefix("SEFD IF") != int(c_sefd.size()))
    return r.Fail("header: column \"SEFD IF" + std::to_string(c_sefd.size() + 1) + "\" missing");
  if (c_sefd.empty()) return r.Fail("header: column \"SEFD IF1\" missing");
  AObjArray<AMSfdItem> result;
  std::vector<std::string> f;
  while (r.Row(f)) {
    AMSfdItem t;
    if (!r.Field(f, c_name, &t.name) || !r.Id(f, c_id, &t.id)) return 0;
    for (int col : c_sefd) {
      double v;
      if (!r.Number(f, col, &v)) return 0;
      if (v < 0) return r.FailAt(col, "an SEFD must be >= 0");
      GrowWithCount(t.sefd);
      t.sefd.Add(v);
    }
    if (!r.NoExtra(f)) return 0;
    GrowWithCount(result);
    result.Add(t);
  }
  if (in.bad()) return r.Fail("read error");
  items = result;
  if (n_if) *n_if = int(c_sefd.size());
  return 1;
}

int LoadErrorsTable(const std::string& path, AMTlscErrors& tlscs, std::string* error) {
  return LoadFile(path, error, [&](std::istream& in, std::string* why) { return ReadErrorsTable(in, tlscs, why); });
}

int LoadSefdTable(const std::string& path, AObjArray<AMSfdItem>& items, int* n_if, std::string* error) {
  return LoadFile(path, error, [&](std::istream& in, std::string* why) { return ReadSefdTable(in, items, n_if, why); });
}

void WriteErrorsTable(std::ostream& out, const AMTlscErrors& tlscs) {
  out << "Name\tID";
  for (const char* h : kErrColumns) out << '\t' << h;
  out << '\n';
  for (const AMTlscErrItem& t : tlscs) {
    out << CleanName(t.name) << '\t' << t.id;
    for (double v : {t.phase_err_deg, t.ampl_err_db, t.phase0_deg, t.fringe_rate, t.delay, t.fringe_acc, t.delay_acc})
      out << '\t' << valToStr(v);
    out << '\n';
  }
}

void WriteSefdTable(std::ostream& out, const AObjArray<AMSfdItem>& items, int n_if) {
  out << "Name\tID";
  for (int k = 1; k <= n_if; ++k) out << "\tSEFD IF" << k;
  out << '\n';
  for (const AMSfdItem& t : items) {
    out << CleanName(t.name) << '\t' << t.id;
    for (int k = 0; k < n_if; ++k) out << '\t' << valToStr(k < t.sefd.GetSize() ? t.sefd[k] : 0.0);
    out << '\n';
  }
}

int MakeErrorsTemplate(AUVXFile& file, AMTlscErrors& tlscs, std::string* error) {
  AUVXAntenns ants;
  if (!LoadAntennas(file, ants, error)) return 0;
  AMTlscErrors result;
  for (const AUVXTlscItem& a : ants) {
    AMTlscErrItem t;
    t.name = a.Name();
    t.id = a.number;
    result.Add(t);
  }
  tlscs = result;
  return 1;
}

int MakeSefdTemplate(AUVXFile& file, AObjArray<AMSfdItem>& items, int* n_if, std::string* error) {
  AUVXAntenns ants;
  if (!LoadAntennas(file, ants, error)) return 0;
  const int n = std::max(file.NIF(), 1);
  AObjArray<AMSfdItem> result;
  for (const AUVXTlscItem& a : ants) {
    AMSfdItem t;
    t.name = a.Name();
    t.id = a.number;
    for (int k = 0; k < n; ++k) t.sefd.Add(0.0);
    result.Add(t);
  }
  items = result;
  if (n_if) *n_if = n;
  return 1;
}
