#include "errors/tlsc_rows.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>

#include "core/text.h"
#include "errors/error_tables.h"
#include "uvx/uvx_file.h"

namespace {

ATableCellIssue Issue(int row, int column, const std::string& label, const std::string& heading,
                      const std::string& what) {
  return {row, column, label + ", " + heading + ": " + what};
}

// The last entry of `list` with this identifier and name, or -1.
template <class List>
int LastMatch(const List& list, int id, const std::string& name) {
  for (int k = list.GetSize() - 1; k >= 0; --k)
    if (list[k].id == id && list[k].name == name) return k;
  return -1;
}

template <class Make>
int RowsFromFile(const std::string& path, std::string* error, Make&& make) {
  AUVXFile file;
  if (!file.Open(path, AUVXFile::modeRead)) {
    if (error) *error = path + ": " + file.Error();
    return 0;
  }
  return make(file);
}

}  // namespace

std::string TlscRowLabel(const std::string& name, int id) {
  const std::string tag = toStr(id, "(#%d)");
  return name.empty() ? tag : name + " " + tag;
}

std::string SefdColumnTitle(int column) { return toStr(column + 1, "SEFD IF%d"); }

double ErrCell(const AMTlscErrItem& t, int column) {
  switch (column) {
    case 0: return t.phase_err_deg;
    case 1: return t.ampl_err_db;
    case 2: return t.phase0_deg;
    case 3: return t.fringe_rate;
    case 4: return t.delay;
    case 5: return t.fringe_acc;
    case 6: return t.delay_acc;
    default: return 0.0;
  }
}

void SetErrCell(AMTlscErrItem& t, int column, double value) {
  switch (column) {
    case 0: t.phase_err_deg = value; break;
    case 1: t.ampl_err_db = value; break;
    case 2: t.phase0_deg = value; break;
    case 3: t.fringe_rate = value; break;
    case 4: t.delay = value; break;
    case 5: t.fringe_acc = value; break;
    case 6: t.delay_acc = value; break;
    default: break;
  }
}

AMTlscErrors MergeErrorRows(const AMTlscErrors& from_file, const AMTlscErrors& current) {
  AMTlscErrors rows;
  for (const AMTlscErrItem& t : from_file) {
    const int k = LastMatch(current, t.id, t.name);
    rows.Add(k >= 0 ? current[k] : t);
  }
  return rows;
}

AObjArray<AMSfdItem> MergeSefdRows(const AObjArray<AMSfdItem>& from_file, int n_if,
                                   const AObjArray<AMSfdItem>& current) {
  AObjArray<AMSfdItem> rows;
  for (const AMSfdItem& t : from_file) {
    AMSfdItem row;
    row.name = t.name;
    row.id = t.id;
    const int k = LastMatch(current, t.id, t.name);
    for (int f = 0; f < n_if; ++f) row.sefd.Add(k >= 0 && f < current[k].sefd.GetSize() ? current[k].sefd[f] : 0.0);
    rows.Add(row);
  }
  return rows;
}

int ErrorRowsFromFile(const std::string& path, const AMTlscErrors& current, AMTlscErrors& rows, std::string* error) {
  return RowsFromFile(path, error, [&](AUVXFile& file) {
    AMTlscErrors from_file;
    if (!MakeErrorsTemplate(file, from_file, error)) return 0;
    rows = MergeErrorRows(from_file, current);
    return 1;
  });
}

int SefdRowsFromFile(const std::string& path, const AObjArray<AMSfdItem>& current, AObjArray<AMSfdItem>& rows,
                     int* n_if, std::string* error) {
  return RowsFromFile(path, error, [&](AUVXFile& file) {
    AObjArray<AMSfdItem> from_file;
    int n = 0;
    if (!MakeSefdTemplate(file, from_file, &n, error)) return 0;
    rows = MergeSefdRows(from_file, n, current);
    if (n_if) *n_if = n;
    return 1;
  });
}

int ParseCellNumber(const std::string& text, double* value, std::string* why) {
  const std::string t(trim(text));
  errno = 0;
  char* end = nullptr;
  const double v = t.empty() ? 0.0 : std::strtod(t.c_str(), &end);
  if (t.empty() || end != t.c_str() + t.size() || errno == ERANGE || !std::isfinite(v)) {
    if (why) *why = t.empty() ? "empty" : "not a number: \"" + EscapeText(t, 40) + "\"";
    return 0;
  }
  *value = v;
  return 1;
}

namespace {

// What is wrong with a value of errors column `column`, empty when nothing.
std::string ErrValueProblem(int column, double v) {
  if (!std::isfinite(v)) return "not a finite number";
  if ((column == 0 || column == 1) && v < 0) return "must be >= 0";
  return {};
}

std::string SefdValueProblem(double v) {
  if (!std::isfinite(v)) return "not a finite number";
  if (v < 0) return "an SEFD must be >= 0";
  return {};
}

}  // namespace

ATableCellIssue CheckErrorCells(const AMTlscErrors& rows) {
  for (int r = 0; r < rows.GetSize(); ++r)
    for (int c = 0; c < kErrCellColumns; ++c)
      if (std::string bad = ErrValueProblem(c, ErrCell(rows[r], c)); !bad.empty())
        return Issue(r, c, TlscRowLabel(rows[r].name, rows[r].id), kErrColumns[c], bad);
  return {};
}

ATableCellIssue CheckSefdCells(const AObjArray<AMSfdItem>& rows, int n_if) {
  for (int r = 0; r < rows.GetSize(); ++r) {
    const AMSfdItem& t = rows[r];
    for (int f = 0; f < n_if; ++f) {
      const std::string label = TlscRowLabel(t.name, t.id);
      if (f >= t.sefd.GetSize()) return Issue(r, f, label, SefdColumnTitle(f), "missing");
      if (std::string bad = SefdValueProblem(t.sefd[f]); !bad.empty()) return Issue(r, f, label, SefdColumnTitle(f), bad);
    }
  }
  return {};
}

ATableCellIssue CheckErrorCellText(const AMTlscErrors& rows, int row, int column, const std::string& text,
                                   double* value) {
  if (row < 0 || row >= rows.GetSize() || column < 0 || column >= kErrCellColumns) return {row, column, "no such cell"};
  const std::string label = TlscRowLabel(rows[row].name, rows[row].id);
  std::string why;
  double v = 0;
  if (!ParseCellNumber(text, &v, &why)) return Issue(row, column, label, kErrColumns[column], why);
  if (std::string bad = ErrValueProblem(column, v); !bad.empty()) return Issue(row, column, label, kErrColumns[column], bad);
  *value = v;
  return {};
}

ATableCellIssue CheckSefdCellText(const AObjArray<AMSfdItem>& rows, int row, int column, const std::string& text,
                                  double* value) {
  if (row < 0 || row >= rows.GetSize() || column < 0) return {row, column, "no such cell"};
  const std::string label = TlscRowLabel(rows[row].name, rows[row].id);
  std::string why;
  double v = 0;
  if (!ParseCellNumber(text, &v, &why)) return Issue(row, column, label, SefdColumnTitle(column), why);
  if (std::string bad = SefdValueProblem(v); !bad.empty()) return Issue(row, column, label, SefdColumnTitle(column), bad);
  *value = v;
  return {};
}

int FillSefdRows(AObjArray<AMSfdItem>& rows, int n_if, int from) {
  if (from < 0 || from >= rows.GetSize()) return 0;
  AArray<double> values;
  for (int f = 0; f < n_if; ++f) values.Add(f < rows[from].sefd.GetSize() ? rows[from].sefd[f] : 0.0);
  for (AMSfdItem& t : rows) t.sefd = values;
  return rows.GetSize();
}

int ParseIntervalTime(const std::string& text, double* seconds) {
  double v = 0;
  if (strToTime(text, v)) {
    *seconds = v;
    return 1;
  }
  std::string why;
  if (!ParseCellNumber(text, &v, &why)) return 0;
  *seconds = v;
  return 1;
}
