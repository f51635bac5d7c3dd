#include "coverage/uv_review.h"

#include <cmath>

#include "core/file.h"
#include "coverage/uv_plane.h"
#include "coverage/uv_point.h"

int ReviewUVFile(const std::string& uv_path, AMUVReview& review) {
  AUVXHeader header;
  if (!ReadUVHeader(uv_path, header)) return 0;
  AFile in;
  if (!in.Open(uv_path, AFile::modeRead | AFile::modeBinary) || !in.Seek(AUVXHeader::kImageBytes)) return 0;
  AMUVReview r;
  std::vector<std::int64_t> counts(256 * 256, 0);
  std::vector<unsigned char> chunk(std::size_t{4096} * kUVPointBytes);
  std::int64_t left = header.groups;
  bool first = true;
  while (left > 0) {
    const std::int64_t n = std::min<std::int64_t>(left, 4096);
    if (!in.Read(chunk.data(), static_cast<std::size_t>(n) * kUVPointBytes)) return 0;
    for (std::int64_t k = 0; k < n; ++k) {
      const AMUVPoint p = UnpackUVPoint(chunk.data() + k * kUVPointBytes);
      ++counts[std::size_t{p.tel1} * 256 + p.tel2];
      if (first || p.time < r.first_time_s) r.first_time_s = p.time;
      if (first || p.time > r.last_time_s) r.last_time_s = p.time;
      first = false;
      const double uv = std::hypot(double{p.u}, double{p.v});
      if (uv > r.max_uv_s) {
        r.max_uv_s = uv;
        r.max_tel1 = p.tel1;
        r.max_tel2 = p.tel2;
      }
    }
    left -= n;
  }
  r.points = header.groups;
  for (int a = 0; a < 256; ++a)
    for (int b = 0; b < 256; ++b)
      if (const std::int64_t c = counts[std::size_t(a) * 256 + std::size_t(b)]) r.baselines.push_back({a, b, c});
  review = std::move(r);
  return 1;
}
