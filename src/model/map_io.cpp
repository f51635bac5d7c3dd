// Reading and writing maps by extension, and the listing of a folder of maps.

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "core/text.h"
#include "model/map_fits.h"
#include "model/map_file.h"
#include "model/map_model.h"

namespace {

enum class MapKind { Binary, Fits, Unknown };

MapKind KindOf(const std::string& path) {
  const std::string ext = toUpper(std::filesystem::path(path).extension().string());
  if (ext == ".EXM" || ext == ".AMAP") return MapKind::Binary;
  if (ext == ".FITS" || ext == ".FIT" || ext == ".FTS") return MapKind::Fits;
  return MapKind::Unknown;
}

int Fail(std::string* error, const std::string& why) {
  if (error) *error = why;
  return 0;
}

}  // namespace

bool IsFitsMapPath(const std::string& path) { return KindOf(path) == MapKind::Fits; }

int LoadMapAny(const std::string& path, AMatrix<float>& map, TMinMax& range, std::string& unit,
               std::string* error) {
  switch (KindOf(path)) {
    case MapKind::Fits: return LoadFitsMap(path, map, range, unit, error);
    case MapKind::Binary: {
      AMapFile file;
      if (!file.Open(path, AMapFile::modeRead) || !file.GetMatrix(map))
        return Fail(error, path + ": " + file.Error());
      range = file.GetMinMax();
      unit = file.Header().Unit();
      return 1;
    }
    default: return Fail(error, path + ": unknown map file type (use .exm, .amap, .fits, .fit or .fts)");
  }
}

int SaveMapAny(const std::string& path, const AMatrix<float>& map, const TMinMax& range,
               const std::string& unit, std::string* error) {
  switch (KindOf(path)) {
    case MapKind::Fits: return SaveSkyFitsMap(path, map, range, unit, AFitsImageInfo(), error);
    case MapKind::Binary: {
      AMapFile file;
      if (file.Open(path, AMapFile::modeWrite)) {
        file.Header().SetUnit(unit);
        if (file.PutMinMax(range) && file.PutMatrix(map) && file.Close()) return 1;
      }
      const std::string why = file.Error();
      file.Discard();
      return Fail(error, path + ": " + why);
    }
    default: return Fail(error, path + ": unknown map file type (use .exm, .amap, .fits, .fit or .fts)");
  }
}

int ListMapFolder(const std::string& folder, std::vector<std::string>& paths) {
  paths.clear();
  std::error_code ec;
  std::filesystem::directory_iterator it(folder, ec);
  if (ec) return 0;
  std::vector<std::filesystem::path> found;
  for (const auto end = std::filesystem::directory_iterator(); it != end; it.increment(ec)) {
    if (ec) return 0;
    const auto& p = it->path();
    if (toUpper(p.extension().string()) == ".EXM" && it->is_regular_file(ec)) found.push_back(p);
  }
  std::sort(found.begin(), found.end(),
            [](const auto& a, const auto& b) { return a.filename().string() < b.filename().string(); });
  for (const auto& p : found) paths.push_back(p.string());
  return 1;
}
