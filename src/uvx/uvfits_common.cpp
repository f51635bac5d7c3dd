#include "uvx/uvfits_common.h"

#include <cctype>

namespace uvfits {

int CloseFits(FitsPtr& file) {
  int status = 0;
  if (file) fits_close_file(file.release(), &status);
  return status;
}

int FitsReadKey(fitsfile* f, int type, const char* key, void* value, int* status) {
  if (*status > 0) return *status;
  switch (type) {
    case TBYTE: case TSBYTE: case TSHORT: case TUSHORT: case TINT: case TUINT: case TLONG: case TULONG:
    case TLONGLONG: case TULONGLONG: {
      char text[FLEN_VALUE] = {};
      if (fits_read_keyword(f, key, text, nullptr, status)) return *status;  // KEY_NO_EXIST when absent
      std::string_view v(text);
      while (!v.empty() && v.front() == ' ') v.remove_prefix(1);
      while (!v.empty() && v.back() == ' ') v.remove_suffix(1);
      if (v.size() > 21) return *status = BAD_INTKEY;  // a sign and 20 digits at most
      break;
    }
    default: break;
  }
  return fits_read_key(f, type, key, value, nullptr, status);
}

std::string FitsError(int status) {
  char text[FLEN_STATUS] = {};
  fits_get_errstatus(status, text);
  std::string out = std::string("cfitsio: ") + text;
  char message[FLEN_ERRMSG] = {};
  if (fits_read_errmsg(message) && message[0]) out += std::string(": ") + message;
  fits_clear_errmsg();
  return out;
}

std::string Normalized(std::string_view text) {
  std::size_t b = 0, e = text.size();
  while (b < e && text[b] == ' ') ++b;
  while (e > b && (text[e - 1] == ' ' || text[e - 1] == '\0')) --e;
  std::string out(text.substr(b, e - b));
  for (char& c : out) c = char(std::toupper(static_cast<unsigned char>(c)));
  return out;
}

bool ParamIs(std::string_view ptype, std::string_view base) {
  const std::string p = Normalized(ptype);
  if (p.compare(0, base.size(), base) != 0) return false;
  return p.size() == base.size() || p[base.size()] == '-';
}

std::string PartPath(const std::string& path) { return path + ".part"; }

void SwapWords(const unsigned char* src, unsigned char* dst, std::size_t words) {
  for (std::size_t i = 0; i < words; ++i) {
    std::uint32_t w;
    std::memcpy(&w, src + 4 * i, 4);
    w = Swap32(w);
    std::memcpy(dst + 4 * i, &w, 4);
  }
}

}  // namespace uvfits
