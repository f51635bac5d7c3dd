#pragma once
// Map files ".exm" and ".amap": one brightness matrix with its axis ranges and unit. Both
// extensions share one binary layout, little-endian, written field by field:
//
//    0 char[8]   magic 'Q' 'V' 'L' 'M' 'A' 'P' 0x00 0x1A
//    8 uint32    format version (1)
//   12 uint32    header bytes = offset of the pixels (128)
//   16 uint32    rows R (along the second axis, north)
//   20 uint32    columns C (along the first axis, east)
//   24 float64   xmin, xmax, ymin, ymax: axis ranges in arcsec (TMinMax, map_range.h)
//   56 float32   smallest pixel value, 60 float32 largest pixel value (informative)
//   64 char[32]  unit, printable ASCII, NUL-padded (at least one NUL), e.g. "JY/PIXEL"
//   96 ..127     reserved, zero
//  128 float32[R*C] pixels, row-major: row 0 first, column 0 first within a row
//
// A reader accepts exactly this: the magic, a version it knows, 1 <= R, C <= kMaxAxis,
// R * C <= kMaxPixels, finite axis ranges, a terminated printable unit, finite pixels and a file
// length of exactly 128 + 4 R C bytes. Anything else is refused before the pixels are allocated.
// A writer produces the file beside the target under a temporary name and renames it on Close,
// so a map file is complete or absent.

#include <cstdint>
#include <memory>
#include <string>

#include "core/containers.h"
#include "core/file.h"
#include "model/map_range.h"

class AMapFile;

class AMapHeader {
 public:
  static constexpr int kBytes = 128;
  static constexpr std::uint32_t kVersion = 1;
  static constexpr std::uint32_t kMaxAxis = 65536;
  static constexpr std::uint64_t kMaxPixels = std::uint64_t{1} << 28;  // 1 GiB of pixels
  static constexpr int kUnitBytes = 32;

  // Reads and checks the header at the start of a file open for reading (the pixel count against
  // the file length too). Non-zero on success; otherwise the file's Error() says why.
  int Load(AMapFile& file);
  // Writes the header at the start of a file open for writing. Non-zero on success.
  int Store(AMapFile& file) const;

  // The 128-byte image and its parser (no file-length check; used by Load and the tests).
  void ToBytes(unsigned char out[kBytes]) const;
  // Empty on success, else the reason.
  std::string FromBytes(const unsigned char in[kBytes]);

  std::string Unit() const { return unit; }
  // Keeps at most kUnitBytes - 1 printable characters; others become '?'.
  void SetUnit(const std::string& text);

  std::uint32_t rows = 0;
  std::uint32_t cols = 0;
  TMinMax range;
  float value_min = 0;
  float value_max = 0;
  std::string unit = "JY/PIXEL";
};

class AMapFile {
 public:
  enum : int { modeRead = 1, modeWrite = 2 };

  AMapFile() = default;
  AMapFile(const AMapFile&) = delete;
  AMapFile& operator=(const AMapFile&) = delete;
  ~AMapFile();

  // Read: opens and checks the header. Write: creates the temporary file beside `path`.
  // Non-zero on success; Error() says why otherwise.
  int Open(const std::string& path, int mode);
  // Read: closes. Write: writes the header, flushes and renames the temporary file onto the
  // target; without a matrix (PutMatrix) or on any write error the temporary file is removed and
  // 0 returned.
  int Close();
  // Closes and removes what a writer wrote.
  void Discard();

  // Reading. The matrix, owned by the caller, or null on a read error.
  std::unique_ptr<AMatrix<float>> GetMatrix();
  int GetMatrix(AMatrix<float>& out);
  TMinMax GetMinMax() const { return header_.range; }

  // Writing: the pixels (with their smallest and largest value) and the axis ranges.
  int PutMatrix(const AMatrix<float>& map);
  int PutMinMax(const TMinMax& range);

  AMapHeader& Header() { return header_; }
  const std::string& Error() const { return error_; }
  int Fail(const std::string& why);

  // Byte access at the start of the file, for AMapHeader.
  int ReadHeaderBytes(unsigned char* out, std::size_t bytes);
  int WriteHeaderBytes(const unsigned char* in, std::size_t bytes);
  std::int64_t Length() const { return file_.Length(); }

 private:
  AFile file_;
  AMapHeader header_;
  std::string path_;
  std::string temp_;
  std::string error_;
  int mode_ = 0;
  bool pixels_written_ = false;
};
