#include "model/components.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "core/text.h"
#include "model/comp_render.h"

namespace {

constexpr const char* kMagic = "QVLMODEL";
constexpr int kFormatVersion = 1;
constexpr const char* kEndMarker = "END";
// Longest line accepted; anything longer is not a model file.
constexpr std::size_t kMaxLine = 4096;

enum class LineResult { Ok, End, TooLong };

// Reads one line without its end (LF, or CR LF), at most kMaxLine characters.
LineResult ReadLine(std::istream& in, std::string& line) {
  line.clear();
  std::streambuf* buf = in.rdbuf();
  if (!buf) return LineResult::End;
  for (;;) {
    const auto ch = buf->sbumpc();
    if (ch == std::char_traits<char>::eof()) {
      in.setstate(std::ios::eofbit);
      return line.empty() ? LineResult::End : LineResult::Ok;
    }
    if (ch == '\n') return LineResult::Ok;
    if (line.size() >= kMaxLine) return LineResult::TooLong;
    line.push_back(static_cast<char>(ch));
  }
}

// The blank-separated tokens of a line with its comment ('#' to the end) removed.
std::vector<std::string_view> Tokens(std::string_view line) {
  const auto hash = line.find('#');
  if (hash != std::string_view::npos) line = line.substr(0, hash);
  std::vector<std::string_view> out;
  std::size_t i = 0;
  while (i < line.size()) {
    while (i < line.size() && (line[i] == ' ' || line[i] == '\t' || line[i] == '\r')) ++i;
    std::size_t j = i;
    while (j < line.size() && line[j] != ' ' && line[j] != '\t' && line[j] != '\r') ++j;
    if (j > i) out.push_back(line.substr(i, j - i));
    i = j;
  }
  return out;
}

bool ParseDouble(std::string_view text, double& value) {
  if (!text.empty() && text[0] == '+') text.remove_prefix(1);
  const auto r = std::from_chars(text.data(), text.data() + text.size(), value);
  return r.ec == std::errc() && r.ptr == text.data() + text.size() && std::isfinite(value);
}

bool ParseInt(std::string_view text, int& value) {
  if (!text.empty() && text[0] == '+') text.remove_prefix(1);
  const auto r = std::from_chars(text.data(), text.data() + text.size(), value);
  return r.ec == std::errc() && r.ptr == text.data() + text.size();
}

constexpr const char* kFieldNames[8] = {"type",        "flux",           "large axis", "axis ratio",
                                        "inclination", "position angle", "distance",   "width"};

std::string LineError(long number, const std::string& what) { return "line " + std::to_string(number) + ": " + what; }

}  // namespace

void AComponents::DeleteItems(int first, int n) {
  if (first < 0 || n <= 0 || first >= count) return;
  const int last = std::min(count, first + n);
  std::copy(data + last, data + count, data + first);
  count -= last - first;
}

std::complex<double> AComponents::VfromUV(double u, double v) const {
  double re = 0, im = 0;
  for (const ACompItem& item : *this) {
    const std::complex<double> z = item.VfromUV(u, v);
    re += z.real();
    im += z.imag();
  }
  return {re, im};
}

std::vector<APreparedComp> AComponents::Prepare() const {
  std::vector<APreparedComp> out;
  out.reserve(static_cast<std::size_t>(std::max(count, 0)));
  for (const ACompItem& item : *this) out.push_back(PrepareComp(item));
  return out;
}

TMinMax AutoMapRange(const AComponents& model) {
  double half = 0;
  for (const ACompItem& item : model) {
    double extent = 0;
    if (item.type == kCompGaussian) extent = 1.5 * std::fabs(item.large_axis);
    else if (item.type != kCompDelta) extent = 0.5 * std::fabs(item.large_axis);
    const double reach = std::fabs(item.distance) + extent;
    if (std::isfinite(reach)) half = std::max(half, reach);
  }
  half = half > 0 ? 1.2 * half : 0.001;  // an empty model or points at the centre: 1 mas
  return {-half, half, -half, half};
}

AMapValueRange AComponents::ToMap(AMatrix<float>& map, TMinMax& range) const {
  std::fill(map.data, map.data + map.Elements(), 0.0f);
  if (!(range.xmin < range.xmax && range.ymin < range.ymax)) range = AutoMapRange(*this);
  for (const ACompItem& item : *this) RenderComp(item, map, range);
  AMapValueRange out;
  if (map.Elements() == 0) return out;
  const auto [lo, hi] = std::minmax_element(map.data, map.data + map.Elements());
  out.min = *lo;
  out.max = *hi;
  return out;
}

std::ostream& AComponents::Store(std::ostream& out) const {
  out << kMagic << ' ' << kFormatVersion << '\n'
      << "# QVLModel source model, one component per line ('#' starts a comment).\n"
      << "# type flux[Jy] large_axis[as] axis_ratio inclination[deg] position_angle[deg] distance[as] width\n"
      << "# types: 1 Delta function, 2 Gaussian, 3 Disk, 4 Thin ring, 5 Thin sphere, 6 Rectangle, 7 Thick ring\n";
  for (const ACompItem& c : *this) {
    out << c.type << ' ' << valToStr(c.flux) << ' ' << valToStr(c.large_axis) << ' ' << valToStr(c.axis_ratio)
        << ' ' << valToStr(c.inclination) << ' ' << valToStr(c.position_angle) << ' ' << valToStr(c.distance)
        << ' ' << valToStr(c.width);
    const char* name = CompTypeName(c.type);
    if (*name) out << "  # " << name;
    out << '\n';
  }
  out << kEndMarker << '\n';
  return out;
}

int LoadComponents(std::istream& in, AComponents& model, std::string* error, std::vector<int>* lines) {
  auto fail = [&](const std::string& what) {
    if (error) *error = what;
    return 0;
  };
  AComponents loaded;
  std::vector<int> at_line;
  std::string line;
  long number = 0;
  bool header = false, ended = false;
  for (;;) {
    const LineResult r = ReadLine(in, line);
    if (r == LineResult::End) break;
    ++number;
    if (r == LineResult::TooLong) return fail(LineError(number, "line longer than " + std::to_string(kMaxLine) + " characters"));
    const auto tokens = Tokens(line);
    if (tokens.empty()) continue;
    if (ended) return fail(LineError(number, "text after the END line"));
    if (!header) {
      int version = 0;
      if (tokens[0] != kMagic) return fail(LineError(number, "not a QVLModel source model (no QVLMODEL header)"));
      if (tokens.size() != 2 || !ParseInt(tokens[1], version))
        return fail(LineError(number, "the QVLMODEL header needs one version number"));
      if (version != kFormatVersion) return fail(LineError(number, "unsupported format version " + std::to_string(version)));
      header = true;
      continue;
    }
    if (tokens.size() == 1 && tokens[0] == kEndMarker) {
      ended = true;
      continue;
    }
    if (tokens.size() != 8)
      return fail(LineError(number, "a component needs 8 values (type and 7 numbers), found " + std::to_string(tokens.size())));
    ACompItem item;
    int type = 0;
    if (!ParseInt(tokens[0], type) || type < 1 || type > kCompTypeCount)
      return fail(LineError(number, "type must be a whole number from 1 to 7, found \"" + EscapeText(tokens[0], 60) + "\""));
    item.type = type;
    double* fields[7] = {&item.flux, &item.large_axis, &item.axis_ratio, &item.inclination,
                         &item.position_angle, &item.distance, &item.width};
    for (int k = 0; k < 7; ++k)
      if (!ParseDouble(tokens[k + 1], *fields[k]))
        return fail(LineError(number, std::string(kFieldNames[k + 1]) + " is not a finite number: \"" + EscapeText(tokens[k + 1], 60) + "\""));
    if (loaded.GetSize() >= (1 << 30)) return fail(LineError(number, "too many components"));
    GrowWithCount(loaded);
    loaded.Add(item);
    if (lines) at_line.push_back(int(number));
  }
  if (in.bad()) return fail("read error");
  if (!header) return fail("empty file: not a QVLModel source model");
  if (!ended) return fail("the file ends before its END line (truncated)");
  model = loaded;
  if (lines) *lines = std::move(at_line);
  return 1;
}

std::istream& AComponents::Load(std::istream& in) {
  if (!LoadComponents(in, *this, nullptr)) in.setstate(std::ios::failbit);
  return in;
}
