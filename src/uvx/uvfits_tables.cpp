#include "uvx/uvfits_tables.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "core/astro_time.h"
#include "uvx/uvfits_common.h"

namespace uvfits {

namespace {

void ReplaceKeyword(AUVXTable& t, const AUVXTable& holder) {
  if (holder.keywords.GetSize() != 1) return;
  const AUVXKeyword& k = holder.keywords[0];
  for (int i = 0; i < t.keywords.GetSize(); ++i)
    if (std::strncmp(t.keywords[i].name, k.name, sizeof k.name) == 0) {
      t.keywords[i] = k;
      return;
    }
  t.keywords.Add(k);
}

// Keywords that describe the table's structure; cfitsio writes them from the columns.
bool IsStructural(const std::string& name) {
  static const char* const kExact[] = {"XTENSION", "BITPIX", "NAXIS", "NAXIS1", "NAXIS2", "PCOUNT",
                                       "GCOUNT", "TFIELDS", "EXTNAME", "EXTVER", "EXTLEVEL", "THEAP",
                                       "COMMENT", "HISTORY", "", "END", "CHECKSUM", "DATASUM"};
  for (const char* e : kExact)
    if (name == e) return true;
  static const char* const kIndexed[] = {"TTYPE", "TFORM", "TUNIT", "TDIM", "TNULL", "TSCAL", "TZERO", "TDISP"};
  for (const char* p : kIndexed) {
    const std::size_t n = std::strlen(p);
    if (name.size() > n && name.compare(0, n, p) == 0 &&
        std::all_of(name.begin() + long(n), name.end(), [](char c) { return std::isdigit(static_cast<unsigned char>(c)); }))
      return true;
  }
  return false;
}

// The text of a quoted FITS string value ('O''HARE' -> O'HARE).
std::string Unquoted(const char* value) {
  std::string out;
  const std::size_t n = std::strlen(value);
  for (std::size_t i = 1; i < n; ++i) {
    if (value[i] == '\'') {
      if (i + 1 < n && value[i + 1] == '\'') {
        out += '\'';
        ++i;
        continue;
      }
      break;
    }
    out += value[i];
  }
  return out;
}

std::string Fit(const std::string& text, std::size_t max) { return text.substr(0, std::min(text.size(), max)); }

void ReadKeywords(fitsfile* f, AUVXTable& out, int* status) {
  int count = 0, more = 0;
  if (fits_get_hdrspace(f, &count, &more, status)) return;
  for (int i = 1; i <= count; ++i) {
    char name[FLEN_KEYWORD] = {}, value[FLEN_VALUE] = {}, comment[FLEN_COMMENT] = {};
    if (fits_read_keyn(f, i, name, value, comment, status)) return;
    const std::string key = Normalized(name);
    if (IsStructural(key) || key.size() > 8 || !value[0]) continue;
    char type = 0;
    int st = 0;
    if (fits_get_keytype(value, &type, &st)) continue;
    if (type == 'C') {
      std::string s = Fit(Unquoted(value), 32);
      while (!s.empty() && s.back() == ' ') s.pop_back();
      out.AddKeyword(key.c_str(), ParseIsoDate(s) ? kKeyDate : kKeyChar, s.size() < 8 ? s + std::string(8 - s.size(), ' ') : s);
    } else if (type == 'I') {
      out.AddKeywordInt(key.c_str(), std::strtoll(value, nullptr, 10));
    } else if (type == 'F') {
      std::string v = value;
      std::replace(v.begin(), v.end(), 'D', 'E');  // Fortran exponents
      out.AddKeywordReal(key.c_str(), std::strtod(v.c_str(), nullptr));
    } else if (type == 'L') {
      out.AddKeywordChar(key.c_str(), Normalized(value));
    }
  }
}

}  // namespace

std::vector<ColumnSpec> AntennaColumns() {
  return {{"ANNAME", "", "8A"},       {"STABXYZ", "METERS", "3D"}, {"NOSTA", "", "1J"},        {"MNTSTA", "", "1J"},
          {"STAXOF", "METERS", "1E"}, {"POLTYA", "", "1A"},        {"POLAA", "DEGREES", "1E"}, {"POLTYB", "", "1A"},
          {"POLAB", "DEGREES", "1E"}};
}

std::vector<ColumnSpec> SourceColumns(int n_if) {
  const std::string nd = std::to_string(n_if) + "D";
  return {{"ID. NO.", "", "1J"},     {"SOURCE", "", "16A"},       {"QUAL", "", "1J"},
          {"CALCODE", "", "4A"},     {"RAEPO", "DEGREES", "1D"},  {"DECEPO", "DEGREES", "1D"},
          {"EPOCH", "YEARS", "1D"},  {"RAAPP", "DEGREES", "1D"},  {"DECAPP", "DEGREES", "1D"},
          {"LSRVEL", "M/SEC", nd},   {"RESTFREQ", "HZ", nd},      {"PMRA", "DEG/DAY", "1D"},
          {"PMDEC", "DEG/DAY", "1D"}};
}

AUVXTable WithColumns(const AUVXTable& src, const std::vector<ColumnSpec>& wanted) {
  AUVXTable out(src.name, src.type);
  for (const AUVXColumn& c : src.columns) out.AddColumn(c.name, c.unit, c.format);
  for (const ColumnSpec& w : wanted)
    if (out.FindColumn(w.name.c_str()) < 0) out.AddColumn(w.name.c_str(), w.unit.c_str(), w.format.c_str());
  const int src_len = src.row_length;
  for (int r = 0; r < src.n_rows; ++r) {
    const int row = out.AddRow();
    std::memcpy(out.Row(row), src.Row(r), std::size_t(src_len));  // new columns follow the old
  }
  out.keywords = src.keywords;
  return out;
}

void SetKeywordReal(AUVXTable& t, const char* name, double value) {
  AUVXTable holder;
  holder.AddKeywordReal(name, value);
  ReplaceKeyword(t, holder);
}

void SetKeywordInt(AUVXTable& t, const char* name, long long value) {
  AUVXTable holder;
  holder.AddKeywordInt(name, value);
  ReplaceKeyword(t, holder);
}

void SetKeywordChar(AUVXTable& t, const char* name, const std::string& value) {
  AUVXTable holder;
  holder.AddKeywordChar(name, value);
  ReplaceKeyword(t, holder);
}

double KeywordReal(const AUVXTable& t, const char* name, double fallback) {
  const AUVXKeyword* k = t.FindKeyword(name);
  return k ? k->AsReal() : fallback;
}

std::string KeywordText(const AUVXTable& t, const char* name) {
  const AUVXKeyword* k = t.FindKeyword(name);
  return k ? Normalized(k->value) : std::string();
}

void WriteFitsTable(fitsfile* f, const AUVXTable& t, const char* extname, int* status) {
  const int n = t.n_cols;
  std::vector<std::string> names(static_cast<std::size_t>(n), ""), forms(static_cast<std::size_t>(n), ""), units(static_cast<std::size_t>(n), "");
  std::vector<char*> pn(static_cast<std::size_t>(n)), pf(static_cast<std::size_t>(n)), pu(static_cast<std::size_t>(n));
  for (int c = 0; c < n; ++c) {
    names[std::size_t(c)] = t.columns[c].name;
    int repeat = 0;
    char letter = 0;
    AUVXTable::FormatWidth(t.columns[c].format, &repeat, &letter);
    forms[std::size_t(c)] = std::to_string(repeat) + letter;
    units[std::size_t(c)] = std::string(Normalized(t.columns[c].unit));
    pn[std::size_t(c)] = names[std::size_t(c)].data();
    pf[std::size_t(c)] = forms[std::size_t(c)].data();
    pu[std::size_t(c)] = units[std::size_t(c)].data();
  }
  if (fits_create_tbl(f, BINARY_TBL, t.n_rows, n, pn.data(), pf.data(), pu.data(), extname, status)) return;
  int one = 1;
  fits_write_key(f, TINT, "EXTVER", &one, "version of this table", status);
  const LONGLONG rows = t.n_rows;
  for (int c = 0; c < n && *status == 0 && rows > 0; ++c) {
    const int repeat = t.ColumnRepeat(c);
    if (repeat <= 0) continue;
    const std::size_t cells = std::size_t(rows) * std::size_t(repeat);
    switch (t.ColumnType(c)) {
      case 'A': {
        std::vector<std::string> text(static_cast<std::size_t>(rows));
        std::vector<char*> ptr(static_cast<std::size_t>(rows));
        for (int r = 0; r < rows; ++r) {
          text[std::size_t(r)] = t.GetChars(r, c);
          ptr[std::size_t(r)] = text[std::size_t(r)].data();
        }
        fits_write_col_str(f, c + 1, 1, 1, rows, ptr.data(), status);
        break;
      }
      case 'J': {
        std::vector<int> v(cells);
        for (int r = 0; r < rows; ++r)
          for (int e = 0; e < repeat; ++e) v[std::size_t(r) * std::size_t(repeat) + std::size_t(e)] = t.GetInt(r, c, e);
        fits_write_col(f, TINT, c + 1, 1, 1, LONGLONG(cells), v.data(), status);
        break;
      }
      case 'E': {
        std::vector<float> v(cells);
        for (int r = 0; r < rows; ++r)
          for (int e = 0; e < repeat; ++e) v[std::size_t(r) * std::size_t(repeat) + std::size_t(e)] = t.GetFloat(r, c, e);
        fits_write_col(f, TFLOAT, c + 1, 1, 1, LONGLONG(cells), v.data(), status);
        break;
      }
      default: {
        std::vector<double> v(cells);
        for (int r = 0; r < rows; ++r)
          for (int e = 0; e < repeat; ++e) v[std::size_t(r) * std::size_t(repeat) + std::size_t(e)] = t.GetDouble(r, c, e);
        fits_write_col(f, TDOUBLE, c + 1, 1, 1, LONGLONG(cells), v.data(), status);
        break;
      }
    }
  }
  for (const AUVXKeyword& k : t.keywords) {
    if (*status) break;
    if (k.kind == kKeyInt) {
      LONGLONG v = k.AsInt();
      fits_write_key(f, TLONGLONG, k.name, &v, nullptr, status);
    } else if (k.kind == kKeyReal) {
      fits_write_key_dbl(f, k.name, k.AsReal(), -17, nullptr, status);
    } else {
      std::string v = k.value;
      while (!v.empty() && v.back() == ' ') v.pop_back();
      fits_write_key_str(f, k.name, v.c_str(), nullptr, status);
    }
  }
}

int ReadFitsTable(fitsfile* f, AUVXTable& out, long long max_rows, std::string& error) {
  int status = 0, n_cols = 0;
  LONGLONG n_rows = 0;
  if (fits_get_num_rowsll(f, &n_rows, &status) || fits_get_num_cols(f, &n_cols, &status))
    return error = FitsError(status), 0;
  if (n_rows < 0 || n_rows > max_rows) return error = std::to_string(n_rows) + " rows (at most " + std::to_string(max_rows) + " accepted)", 0;
  if (n_cols > 4096) return error = std::to_string(n_cols) + " columns", 0;
  std::vector<int> fits_col;  // FITS column number of each UVX column
  for (int c = 1; c <= n_cols; ++c) {
    int type = 0;
    LONGLONG repeat = 0, width = 0;
    char key[FLEN_KEYWORD], name[FLEN_VALUE] = {}, unit[FLEN_VALUE] = {};
    if (fits_get_coltypell(f, c, &type, &repeat, &width, &status)) return error = FitsError(status), 0;
    std::snprintf(key, sizeof key, "TTYPE%d", c);
    fits_read_key(f, TSTRING, key, name, nullptr, &status);
    std::snprintf(key, sizeof key, "TUNIT%d", c);
    int st = 0;
    fits_read_key(f, TSTRING, key, unit, nullptr, &st);
    if (status) return error = FitsError(status), 0;
    char letter = 0;
    switch (type) {
      case TSTRING: letter = 'A'; break;
      case TBYTE: case TSHORT: case TLONG: case TINT: case TLONGLONG: letter = 'J'; break;
      case TFLOAT: letter = 'E'; break;
      case TDOUBLE: letter = 'D'; break;
      default: continue;  // logical, bit, complex, variable-length: not carried
    }
    if (repeat < 0 || repeat > 1000000) return error = "column " + std::string(name) + " has " + std::to_string(repeat) + " elements", 0;
    const std::string format = std::to_string(repeat) + letter;
    if (out.AddColumn(Fit(Normalized(name), 17).c_str(), Fit(Normalized(unit), 9).c_str(), format.c_str()) < 0)
      return error = "column " + std::string(name) + " does not fit a table", 0;
    fits_col.push_back(c);
  }
  if (std::int64_t(n_rows) * out.row_length > (std::int64_t{1} << 30)) return error = "table too large", 0;
  for (LONGLONG r = 0; r < n_rows; ++r) out.AddRow();
  for (int c = 0; c < out.n_cols && n_rows > 0; ++c) {
    const int repeat = out.ColumnRepeat(c), fc = fits_col[std::size_t(c)];
    if (repeat == 0) continue;
    const std::size_t cells = std::size_t(n_rows) * std::size_t(repeat);
    const char type = out.ColumnType(c);
    if (type == 'A') {
      std::vector<std::vector<char>> text(std::size_t(n_rows), std::vector<char>(std::size_t(repeat) + 1, 0));
      std::vector<char*> ptr(static_cast<std::size_t>(n_rows));
      for (std::size_t r = 0; r < ptr.size(); ++r) ptr[r] = text[r].data();
      if (fits_read_col_str(f, fc, 1, 1, n_rows, nullptr, ptr.data(), nullptr, &status)) break;
      for (int r = 0; r < n_rows; ++r) out.SetChars(r, c, ptr[std::size_t(r)]);
    } else if (type == 'J') {
      std::vector<LONGLONG> v(cells);
      if (fits_read_col(f, TLONGLONG, fc, 1, 1, LONGLONG(cells), nullptr, v.data(), nullptr, &status)) break;
      constexpr LONGLONG lo = std::numeric_limits<std::int32_t>::min(), hi = std::numeric_limits<std::int32_t>::max();
      for (std::size_t i = 0; i < cells; ++i) out.SetInt(int(i / std::size_t(repeat)), c, std::int32_t(std::clamp(v[i], lo, hi)), int(i % std::size_t(repeat)));
    } else if (type == 'E') {
      std::vector<float> v(cells);
      if (fits_read_col(f, TFLOAT, fc, 1, 1, LONGLONG(cells), nullptr, v.data(), nullptr, &status)) break;
      for (std::size_t i = 0; i < cells; ++i) out.SetFloat(int(i / std::size_t(repeat)), c, v[i], int(i % std::size_t(repeat)));
    } else {
      std::vector<double> v(cells);
      if (fits_read_col(f, TDOUBLE, fc, 1, 1, LONGLONG(cells), nullptr, v.data(), nullptr, &status)) break;
      for (std::size_t i = 0; i < cells; ++i) out.SetDouble(int(i / std::size_t(repeat)), c, v[i], int(i % std::size_t(repeat)));
    }
  }
  if (status == 0) ReadKeywords(f, out, &status);
  if (status) return error = FitsError(status), 0;
  return 1;
}

}  // namespace uvfits
