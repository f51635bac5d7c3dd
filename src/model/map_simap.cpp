#include "model/map_simap.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <system_error>

#include "core/file.h"
#include "core/text.h"

namespace {

int Fail(std::string* error, const std::string& why) {
  if (error) *error = why;
  return 0;
}

// Splits on commas and blanks; empty pieces between two commas are kept (as an error later).
std::vector<std::string_view> Tokens(std::string_view line) {
  std::vector<std::string_view> out;
  std::size_t i = 0;
  while (i < line.size()) {
    while (i < line.size() && (line[i] == ' ' || line[i] == '\t')) ++i;
    if (i == line.size()) break;
    std::size_t j = i;
    while (j < line.size() && line[j] != ',' && line[j] != ' ' && line[j] != '\t') ++j;
    out.push_back(line.substr(i, j - i));
    while (j < line.size() && (line[j] == ' ' || line[j] == '\t')) ++j;
    if (j < line.size() && line[j] == ',') ++j;
    i = j;
  }
  return out;
}

bool ParseFloat(std::string_view text, float& value) {
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  float v = 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
  if (ec != std::errc() || end != text.data() + text.size() || text.empty() || !std::isfinite(v)) return false;
  value = v;
  return true;
}

bool ParseCount(std::string_view text, std::uint32_t limit, std::uint32_t& value) {
  std::uint64_t v = 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
  if (ec != std::errc() || end != text.data() + text.size() || text.empty() || v > limit) return false;
  value = std::uint32_t(v);
  return true;
}

}  // namespace

void AMSIMap::Initialize(std::uint32_t n_rows, std::uint32_t n_cols, float value) {
  Resize(n_rows, n_cols);
  for (std::uint64_t i = 0; i < Elements(); ++i) data[i] = value;
}

int AMSIMap::Load(std::istream& in, std::string* error) {
  std::string line;
  int number = 0;
  bool have_shape = false;
  std::uint32_t r = 0, c = 0, filled = 0;
  std::vector<float> values;  // grows with the rows read: a large announced size allocates nothing
  auto at = [&](const std::string& why) { return Fail(error, "line " + std::to_string(number) + ": " + why); };
  while (std::getline(in, line)) {
    ++number;
    std::string_view text(line);
    if (const auto hash = text.find('#'); hash != std::string_view::npos) text = text.substr(0, hash);
    text = trim(text);
    if (text.empty()) continue;
    const auto tokens = Tokens(text);
    if (!have_shape) {
      if (tokens.size() != 3 || tokens[0] != "SIMAP") return at("expected \"SIMAP <rows> <columns>\"");
      if (!ParseCount(tokens[1], kMaxAxis, r) || !ParseCount(tokens[2], kMaxAxis, c) ||
          std::uint64_t{r} * c > kMaxValues)
        return at("bad or too large size");
      if (c == 0) r = 0;
      have_shape = true;
      continue;
    }
    if (filled == r) return at("more rows than the " + std::to_string(r) + " announced");
    if (tokens.size() != c)
      return at(std::to_string(tokens.size()) + " values where " + std::to_string(c) + " were expected");
    for (std::uint32_t k = 0; k < c; ++k) {
      float v = 0;
      if (!ParseFloat(tokens[k], v)) {
        std::string what = "'";  // built by appending: GCC 12 warns wrongly on "'" + ...
        what.append(EscapeText(tokens[k], 60)).append("' is not a finite number");
        return at(what);
      }
      values.push_back(v);
    }
    ++filled;
  }
  if (!have_shape) return Fail(error, "no \"SIMAP <rows> <columns>\" line");
  if (filled != r)
    return Fail(error, "only " + std::to_string(filled) + " of " + std::to_string(r) + " rows present");
  AMatrix<float> m(r, c);
  std::copy(values.begin(), values.end(), m.data);
  AMatrix<float>::operator=(m);
  return 1;
}

void AMSIMap::Save(std::ostream& out) const {
  out << "# QVLModel spectral-index map: one row per (frequency set-up, IF), IF fastest;\n"
         "# one column per component.\n";
  out << "SIMAP " << rows << ' ' << cols << '\n';
  char buf[32];
  for (std::uint32_t r = 0; r < rows; ++r) {
    for (std::uint32_t c = 0; c < cols; ++c) {
      const auto res = std::to_chars(buf, buf + sizeof buf, (*this)(r, c));
      if (c) out << ", ";
      out.write(buf, res.ptr - buf);
    }
    out << '\n';
  }
}

int AMSIMap::LoadFile(const std::string& path, std::string* error) {
  std::ifstream in(path, std::ios::binary);
  if (!in.is_open()) return Fail(error, "cannot open " + path);
  std::string why;
  if (!Load(in, &why)) return Fail(error, path + ": " + why);
  return 1;
}

int AMSIMap::SaveFile(const std::string& path, std::string* error) const {
  const std::string temp = path + ".part~";
  AFileRemover remover(temp);
  {
    std::ofstream out(temp, std::ios::binary | std::ios::trunc);
    if (!out.is_open()) return Fail(error, "cannot create " + path);
    Save(out);
    out.close();
    if (out.fail()) return Fail(error, "cannot write " + path);
  }
  std::error_code ec;
  std::filesystem::rename(temp, path, ec);
  if (ec) return Fail(error, "cannot write " + path + ": " + ec.message());
  remover.Keep();
  return 1;
}

std::vector<std::pair<std::string, std::string>> AMSIMap::ToSettings() const {
  std::vector<std::pair<std::string, std::string>> out;
  char shape[32];
  std::snprintf(shape, sizeof shape, "%d\t%d", int(rows), int(cols));
  out.emplace_back("ROW-COL", shape);
  for (std::uint32_t r = 0; r < rows; ++r) {
    std::string text;
    for (std::uint32_t c = 0; c < cols; ++c) {
      if (c) text += ", ";
      text += valToStr(double((*this)(r, c)));
    }
    out.emplace_back(toStr(int(r), "ROW%d"), text);
  }
  return out;
}

void AMSIMap::FromSettings(const SettingsGetter& get) {
  Resize(0, 0);
  const std::optional<std::string> shape = get("ROW-COL");
  int r = 0, c = 0;
  if (!shape || std::sscanf(shape->c_str(), "%d\t%d", &r, &c) != 2) return;
  if (r <= 0 || c <= 0 || std::uint32_t(r) > kMaxAxis || std::uint32_t(c) > kMaxAxis ||
      std::uint64_t(r) * std::uint64_t(c) > kMaxValues)
    return;
  Initialize(std::uint32_t(r), std::uint32_t(c), 0.0f);
  for (int row = 0; row < r; ++row) {
    const std::optional<std::string> text = get(toStr(row, "ROW%d"));
    if (!text) continue;
    std::string_view rest(*text);
    for (int col = 0; col < c && !rest.empty(); ++col) {
      const std::size_t comma = rest.find(',');
      const std::string piece(rest.substr(0, comma));
      const double v = std::strtod(piece.c_str(), nullptr);  // unreadable text gives 0, as atof
      const bool fits = std::isfinite(v) && std::fabs(v) <= double(std::numeric_limits<float>::max());
      (*this)(std::uint32_t(row), std::uint32_t(col)) = fits ? float(v) : 0.0f;
      rest = comma == std::string_view::npos ? std::string_view() : rest.substr(comma + 1);
    }
  }
}
