#include "model/map_file.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <limits>
#include <system_error>

#include "uvx/le_bytes.h"

using uvx_bytes::Get;
using uvx_bytes::Put;

namespace {

constexpr unsigned char kMagic[8] = {'Q', 'V', 'L', 'M', 'A', 'P', 0x00, 0x1A};

bool Printable(char c) { return c >= 0x20 && c < 0x7f; }

}  // namespace

void AMapHeader::SetUnit(const std::string& text) {
  unit = text.substr(0, kUnitBytes - 1);
  for (char& c : unit)
    if (!Printable(c)) c = '?';
}

void AMapHeader::ToBytes(unsigned char out[kBytes]) const {
  std::memset(out, 0, kBytes);
  std::memcpy(out, kMagic, sizeof kMagic);
  Put<std::uint32_t>(out + 8, kVersion);
  Put<std::uint32_t>(out + 12, kBytes);
  Put<std::uint32_t>(out + 16, rows);
  Put<std::uint32_t>(out + 20, cols);
  Put<double>(out + 24, range.xmin);
  Put<double>(out + 32, range.xmax);
  Put<double>(out + 40, range.ymin);
  Put<double>(out + 48, range.ymax);
  Put<float>(out + 56, value_min);
  Put<float>(out + 60, value_max);
  std::memcpy(out + 64, unit.data(), std::min<std::size_t>(unit.size(), kUnitBytes - 1));
}

std::string AMapHeader::FromBytes(const unsigned char in[kBytes]) {
  if (std::memcmp(in, kMagic, sizeof kMagic) != 0) return "not a map file (wrong magic)";
  const auto version = Get<std::uint32_t>(in + 8);
  if (version == 0 || version > kVersion)
    return "map format version " + std::to_string(version) + " is not readable (this program reads " +
           std::to_string(kVersion) + ")";
  if (Get<std::uint32_t>(in + 12) != kBytes) return "unsupported map header size";
  const auto r = Get<std::uint32_t>(in + 16), c = Get<std::uint32_t>(in + 20);
  if (r < 1 || c < 1 || r > kMaxAxis || c > kMaxAxis || std::uint64_t{r} * c > kMaxPixels)
    return "absurd map size " + std::to_string(r) + " x " + std::to_string(c);
  TMinMax mm{Get<double>(in + 24), Get<double>(in + 32), Get<double>(in + 40), Get<double>(in + 48)};
  if (!std::isfinite(mm.xmin) || !std::isfinite(mm.xmax) || !std::isfinite(mm.ymin) || !std::isfinite(mm.ymax))
    return "axis ranges are not finite";
  const char* text = reinterpret_cast<const char*>(in + 64);
  const void* nul = std::memchr(text, 0, kUnitBytes);
  if (!nul) return "unit is not terminated";
  const std::size_t len = std::size_t(static_cast<const char*>(nul) - text);
  if (!std::all_of(text, text + len, Printable)) return "unit holds control characters";
  rows = r;
  cols = c;
  range = mm;
  value_min = Get<float>(in + 56);
  value_max = Get<float>(in + 60);
  unit.assign(text, len);
  return {};
}

int AMapHeader::Load(AMapFile& file) {
  unsigned char image[kBytes];
  const std::int64_t length = file.Length();
  if (length < kBytes) return file.Fail("file too short for a map header");
  if (!file.ReadHeaderBytes(image, kBytes)) return file.Fail("cannot read the map header");
  AMapHeader h;
  const std::string why = h.FromBytes(image);
  if (!why.empty()) return file.Fail(why);
  const std::int64_t want = kBytes + std::int64_t{4} * h.rows * h.cols;
  if (length != want)
    return file.Fail("map file length " + std::to_string(length) + " differs from the " + std::to_string(want) +
                     " bytes of a " + std::to_string(h.rows) + " x " + std::to_string(h.cols) + " map");
  *this = h;
  return 1;
}

int AMapHeader::Store(AMapFile& file) const {
  unsigned char image[kBytes];
  ToBytes(image);
  return file.WriteHeaderBytes(image, kBytes);
}

AMapFile::~AMapFile() {
  if (mode_ == modeWrite) Discard();
}

int AMapFile::Fail(const std::string& why) {
  if (error_.empty()) error_ = why;
  return 0;
}

int AMapFile::Open(const std::string& path, int mode) {
  if (mode_ == modeWrite) Discard();
  file_.Close();
  error_.clear();
  header_ = AMapHeader();
  pixels_written_ = false;
  path_ = path;
  mode_ = 0;
  if (mode == modeRead) {
    if (!file_.Open(path, AFile::modeRead | AFile::modeBinary)) return Fail("cannot open " + path);
    mode_ = modeRead;
    if (!header_.Load(*this)) {
      file_.Close();
      mode_ = 0;
      return 0;
    }
    return 1;
  }
  if (mode == modeWrite) {
    temp_ = path + ".part~" + std::to_string(::getpid());
    if (!file_.Open(temp_, AFile::modeWrite | AFile::modeBinary)) return Fail("cannot create " + path);
    mode_ = modeWrite;
    return 1;
  }
  return Fail("unknown open mode");
}

int AMapFile::ReadHeaderBytes(unsigned char* out, std::size_t bytes) {
  return mode_ == modeRead && file_.Seek(0) && file_.Read(out, bytes);
}

int AMapFile::WriteHeaderBytes(const unsigned char* in, std::size_t bytes) {
  return mode_ == modeWrite && file_.Seek(0) && file_.Write(in, bytes);
}

int AMapFile::GetMatrix(AMatrix<float>& out) {
  if (mode_ != modeRead) return Fail("map file not open for reading");
  const std::uint32_t r = header_.rows, c = header_.cols;
  AMatrix<float> m(r, c);
  const std::size_t n = std::size_t(r) * c;
  unsigned char* bytes = reinterpret_cast<unsigned char*>(m.data);
  if (!file_.Seek(AMapHeader::kBytes) || !file_.Read(bytes, n * 4)) return Fail("cannot read the map pixels");
  for (std::size_t i = 0; i < n; ++i)
    if (!std::isfinite(m.data[i]))
      return Fail("pixel (" + std::to_string(i / c) + ", " + std::to_string(i % c) + ") is not a finite number");
  out = m;
  return 1;
}

std::unique_ptr<AMatrix<float>> AMapFile::GetMatrix() {
  auto m = std::make_unique<AMatrix<float>>();
  if (!GetMatrix(*m)) return nullptr;
  return m;
}

int AMapFile::PutMinMax(const TMinMax& range) {
  if (mode_ != modeWrite) return Fail("map file not open for writing");
  if (!std::isfinite(range.xmin) || !std::isfinite(range.xmax) || !std::isfinite(range.ymin) ||
      !std::isfinite(range.ymax))
    return Fail("axis ranges are not finite");
  header_.range = range;
  return 1;
}

int AMapFile::PutMatrix(const AMatrix<float>& map) {
  if (mode_ != modeWrite) return Fail("map file not open for writing");
  if (map.rows < 1 || map.cols < 1 || map.rows > AMapHeader::kMaxAxis || map.cols > AMapHeader::kMaxAxis ||
      map.Elements() > AMapHeader::kMaxPixels)
    return Fail("cannot store a map of " + std::to_string(map.rows) + " x " + std::to_string(map.cols) + " pixels");
  const std::size_t n = std::size_t(map.Elements());
  float lo = std::numeric_limits<float>::max(), hi = std::numeric_limits<float>::lowest();
  for (std::size_t i = 0; i < n; ++i) {
    if (!std::isfinite(map.data[i])) return Fail("the map holds a pixel that is not a finite number");
    lo = std::min(lo, map.data[i]);
    hi = std::max(hi, map.data[i]);
  }
  if (!file_.Seek(AMapHeader::kBytes) || !file_.Write(map.data, n * 4)) return Fail("cannot write " + path_);
  header_.rows = map.rows;
  header_.cols = map.cols;
  header_.value_min = lo;
  header_.value_max = hi;
  pixels_written_ = true;
  return 1;
}

int AMapFile::Close() {
  if (mode_ == modeRead) {
    file_.Close();
    mode_ = 0;
    return 1;
  }
  if (mode_ != modeWrite) return 0;
  if (!pixels_written_) Fail("no pixels were written");
  if (!error_.empty() || !header_.Store(*this) || !file_.Flush()) {
    Fail("cannot write " + path_);
    Discard();
    return 0;
  }
  file_.Close();
  std::error_code ec;
  std::filesystem::rename(temp_, path_, ec);
  if (ec) {
    Fail("cannot write " + path_ + ": " + ec.message());
    RemoveFile(temp_);
    mode_ = 0;
    return 0;
  }
  mode_ = 0;
  return 1;
}

void AMapFile::Discard() {
  file_.Close();
  if (mode_ == modeWrite) RemoveFile(temp_);
  mode_ = 0;
}
