#include "uvx/fits_header_check.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string_view>

namespace {

constexpr std::int64_t kBlock = 2880;
constexpr int kMaxHdus = 1000;

bool Printable(std::string_view card) {
  for (char c : card)
    if (c < 0x20 || c > 0x7E) return false;
  return true;
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Empty when the value field (columns 11-80) is well formed.
std::string ValueProblem(std::string_view v) {
  std::size_t i = 0;
  while (i < v.size() && v[i] == ' ') ++i;
  if (i == v.size()) return {};
  if (v[i] == '\'') {
    for (++i; i < v.size(); ++i)
      if (v[i] == '\'') {
        if (i + 1 < v.size() && v[i + 1] == '\'') ++i;  // a quote inside the string
        else break;
      }
    if (i >= v.size()) return "a string value without its closing quote";
    ++i;
  } else if (v[i] == '(') {
    const std::size_t close = v.find(')', i);
    if (close == std::string_view::npos) return "a complex value without its closing parenthesis";
    i = close + 1;
  } else {
    const std::size_t start = i;
    while (i < v.size() && v[i] != ' ' && v[i] != '/') ++i;
    const std::string_view token = v.substr(start, i - start);
    if (token != "T" && token != "F") {
      std::size_t k = 0, digits = 0;
      bool real = false;
      if (k < token.size() && (token[k] == '+' || token[k] == '-')) ++k;
      for (; k < token.size() && (IsDigit(token[k]) || token[k] == '.'); ++k) {
        digits += IsDigit(token[k]);
        real = real || token[k] == '.';
      }
      if (k < token.size() && (token[k] == 'E' || token[k] == 'D' || token[k] == 'e' || token[k] == 'd')) {
        real = true;
        ++k;
        if (k < token.size() && (token[k] == '+' || token[k] == '-')) ++k;
        const std::size_t exp = k;
        while (k < token.size() && IsDigit(token[k])) ++k;
        if (k == exp) digits = 0;
      }
      if (digits == 0 || k != token.size()) return "a value that is not a string, a logical or a number";
      if (token.size() > 40 || (!real && digits > 20)) return "a number too long to be read";
    }
  }
  while (i < v.size() && v[i] == ' ') ++i;
  if (i < v.size() && v[i] != '/') return "text after the value";
  return {};
}

// The integer value of a card, or -1 when it has none (the walk then stops).
long long IntValue(std::string_view card) {
  const std::string text(card.substr(10));
  char* end = nullptr;
  const long long v = std::strtoll(text.c_str(), &end, 10);
  return end == text.c_str() ? -1 : v;
}

}  // namespace

std::string FitsHeaderProblem(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return {};  // the reader reports it
  in.seekg(0, std::ios::end);
  const std::int64_t size = in.tellg();
  std::int64_t pos = 0;
  char block[kBlock];
  // cfitsio would also open a compressed file and read the headers inside it, unchecked.
  char start[10] = {};
  if (!in.seekg(0) || !in.read(start, 10) || std::string_view(start, 10) != "SIMPLE  = ")
    return "not a FITS file (it does not begin with a SIMPLE card)";
  for (int hdu = 1; hdu <= kMaxHdus && pos + kBlock <= size; ++hdu) {
    long long bitpix = 0, naxis = 0, pcount = 0, gcount = 1, axes[1000] = {};
    bool groups = false, end = false;
    while (!end) {
      if (pos + kBlock > size) return {};  // a header without END: the reader reports it
      in.seekg(pos);
      if (!in.read(block, kBlock)) return {};
      for (int c = 0; c < kBlock / 80 && !end; ++c) {
        const std::string_view card(block + 80 * c, 80);
        const std::string where =
            "damaged FITS header: HDU " + std::to_string(hdu) + ", card at byte " + std::to_string(pos + 80 * c);
        if (!Printable(card)) return where + ": bytes that are not text";
        std::string_view key = card.substr(0, 8);
        while (!key.empty() && key.back() == ' ') key.remove_suffix(1);
        if (key == "END") {
          end = true;
          break;
        }
        if (card.substr(8, 2) != "= " || key == "COMMENT" || key == "HISTORY" || key.empty()) continue;
        if (const std::string why = ValueProblem(card.substr(10)); !why.empty()) return where + ": " + why;
        if (key == "BITPIX") bitpix = IntValue(card);
        else if (key == "NAXIS") naxis = IntValue(card);
        else if (key == "PCOUNT") pcount = IntValue(card);
        else if (key == "GCOUNT") gcount = IntValue(card);
        else if (key == "GROUPS") groups = card.substr(10).find('T') != std::string_view::npos;
        else if (key.size() > 5 && key.substr(0, 5) == "NAXIS") {
          const int n = std::atoi(std::string(key.substr(5)).c_str());
          if (n >= 1 && n < 1000) axes[n] = IntValue(card);
        }
      }
      pos += kBlock;
    }
    // The data of the HDU, to find the next header; stop where the sizes make no sense.
    // Computed in double: the values of a damaged header may overflow any integer product.
    if (naxis < 0 || naxis > 999 || pcount < 0 || gcount < 0 || bitpix == 0) return {};
    double elements = naxis > 0 ? 1 : 0;
    for (int a = groups ? 2 : 1; a <= naxis; ++a) {
      if (axes[a] < 0) return {};
      elements *= double(axes[a]);
    }
    const double bytes = naxis == 0 ? 0.0 : std::abs(double(bitpix)) / 8 * double(gcount) * (double(pcount) + elements);
    if (!(bytes <= double(size))) return {};
    pos += (std::int64_t(bytes) + kBlock - 1) / kBlock * kBlock;
  }
  return {};
}
