#include "coverage/uv_point_table.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

#include "core/text.h"
#include "coverage/uv_plane.h"

namespace {

constexpr const char* kTitles[AMUVPointTable::kColumnCount] = {"Time",   "Baseline", "Projection [ED]",
                                                               "U [km]", "V [km]",   "W [km]"};

std::string KmText(double seconds) { return toStr(seconds * kLightKmPerSecond, "%.3f"); }

double ProjectionEd(double u_s, double v_s) { return std::hypot(u_s, v_s) * kLightKmPerSecond / kEarthDiameterKm; }

const std::string& Longer(const std::string& a, const std::string& b) { return b.size() > a.size() ? b : a; }

}  // namespace

const char* AMUVPointTable::ColumnTitle(int column) {
  return column >= 0 && column < kColumnCount ? kTitles[column] : "";
}

int AMUVPointTable::Open(const std::string& uv_path, const AMObservation& obs) {
  Close();
  AUVXHeader header;
  if (!ReadUVHeader(uv_path, header)) return 0;
  if (!file_.Open(uv_path, AFile::modeRead | AFile::modeBinary)) return 0;
  path_ = uv_path;
  header_ = header;
  rows_ = header.groups;
  names_.clear();
  for (int i = 0; i < obs.telescopes.GetSize(); ++i) {
    const AMTlscItem& t = obs.telescopes[i];
    names_.push_back(t.id_name.empty() ? t.name : t.id_name);
  }
  return 1;
}

void AMUVPointTable::Close() {
  file_.Close();
  path_.clear();
  rows_ = 0;
  header_ = AUVXHeader();
  for (Block& b : cache_) {
    b.first = -1;
    b.used = 0;
  }
}

const AMUVPointTable::Block* AMUVPointTable::Fetch(std::int64_t block_index) const {
  const std::int64_t first = block_index * kBlockRecords;
  Block* slot = &cache_[0];
  for (Block& b : cache_) {
    if (b.first == first) {
      b.used = ++clock_;
      return &b;
    }
    if (b.used < slot->used) slot = &b;
  }
  const std::int64_t n = std::min<std::int64_t>(kBlockRecords, rows_ - first);
  slot->first = -1;
  slot->bytes.resize(static_cast<std::size_t>(n) * kUVPointBytes);
  if (!file_.Seek(AUVXHeader::kImageBytes + first * kUVPointBytes) || !file_.Read(slot->bytes.data(), slot->bytes.size()))
    return nullptr;
  slot->first = first;
  slot->used = ++clock_;
  return slot;
}

int AMUVPointTable::Row(std::int64_t row, AMUVPoint& p) const {
  if (row < 0 || row >= rows_ || !file_.IsOpen()) return 0;
  const Block* b = Fetch(row / kBlockRecords);
  if (!b) return 0;
  p = UnpackUVPoint(b->bytes.data() + static_cast<std::size_t>(row - b->first) * kUVPointBytes);
  return 1;
}

std::string AMUVPointTable::BaselineText(int tel1, int tel2) const {
  auto name = [this](int tel) {
    return tel >= 1 && tel <= int(names_.size()) ? names_[std::size_t(tel - 1)] : std::to_string(tel);
  };
  return name(tel1) + "-" + name(tel2);
}

std::string AMUVPointTable::CellText(const AMUVPoint& p, int column) const {
  switch (column) {
    case kTime: return dateTimeToStr(p.time);
    case kBaseline: return BaselineText(p.tel1, p.tel2);
    case kProjection: return toStr(ProjectionEd(p.u, p.v), "%.4f");
    case kU: return KmText(p.u);
    case kV: return KmText(p.v);
    case kW: return KmText(p.w);
    default: return {};
  }
}

std::string AMUVPointTable::Text(std::int64_t row, int column) const {
  AMUVPoint p;
  return Row(row, p) ? CellText(p, column) : std::string();
}

std::string AMUVPointTable::WidestText(int column) const {
  std::string widest = ColumnTitle(column);
  if (rows_ == 0) return widest;
  const AUVXMinMax& m = header_.extremes;
  switch (column) {
    case kTime:
      return Longer(Longer(widest, Text(0, kTime)), Text(rows_ - 1, kTime));
    case kBaseline: {
      std::string name = "255";  // a telescope number the names do not cover
      for (const std::string& n : names_) name = Longer(name, n);
      return Longer(widest, name + "-" + name);
    }
    case kProjection: {
      const double u = std::max(std::fabs(m.u_min), std::fabs(m.u_max));
      const double v = std::max(std::fabs(m.v_min), std::fabs(m.v_max));
      return Longer(widest, toStr(ProjectionEd(u, v), "%.4f"));
    }
    case kU: return Longer(Longer(widest, KmText(m.u_min)), KmText(m.u_max));
    case kV: return Longer(Longer(widest, KmText(m.v_min)), KmText(m.v_max));
    case kW: return Longer(Longer(widest, KmText(m.w_min)), KmText(m.w_max));
    default: return widest;
  }
}

int AMUVPointTable::Baselines(std::vector<AMUVBaselinePoints>& out) const {
  if (!file_.IsOpen()) return 0;
  std::map<std::pair<int, int>, AMUVBaselinePoints> groups;
  std::vector<unsigned char> chunk(std::size_t{8192} * kUVPointBytes);
  if (!file_.Seek(AUVXHeader::kImageBytes)) return 0;
  for (std::int64_t done = 0; done < rows_;) {
    const std::int64_t n = std::min<std::int64_t>(rows_ - done, 8192);
    if (!file_.Read(chunk.data(), static_cast<std::size_t>(n) * kUVPointBytes)) return 0;
    for (std::int64_t k = 0; k < n; ++k) {
      const AMUVPoint p = UnpackUVPoint(chunk.data() + k * kUVPointBytes);
      AMUVBaselinePoints& g = groups[{p.tel1, p.tel2}];
      g.u_km.push_back(static_cast<float>(p.u * kLightKmPerSecond));
      g.v_km.push_back(static_cast<float>(p.v * kLightKmPerSecond));
    }
    done += n;
  }
  out.clear();
  out.reserve(groups.size());
  for (auto& [key, g] : groups) {
    g.tel1 = key.first;
    g.tel2 = key.second;
    g.label = BaselineText(key.first, key.second);
    out.push_back(std::move(g));
  }
  return 1;
}
