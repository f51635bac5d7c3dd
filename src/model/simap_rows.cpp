#include "model/simap_rows.h"

#include <algorithm>

#include "uvx/uvx_file.h"

std::vector<ASIMapRow> SIMapRows(const AUVXFqTbl& fq) {
  std::vector<ASIMapRow> rows;
  for (int s = 0; s < fq.GetFreqSels(); ++s)
    for (int k = 0; k < fq.NIF(); ++k) rows.push_back({fq.GetFreqSelID(s), k, fq.GetStartIFFq(s, k)});
  return rows;
}

int SIMapRowsOfFile(const std::string& path, std::vector<ASIMapRow>& rows, std::string* error) {
  AUVXFile file;
  if (!file.Open(path, AUVXFile::modeRead)) {
    if (error) *error = path + ": " + file.Error();
    return 0;
  }
  AUVXFqTbl fq;
  if (!fq.Init(file, -1)) {
    if (error) *error = path + ": no readable frequency table (FQ)";
    return 0;
  }
  rows = SIMapRows(fq);
  return 1;
}

void ReshapeSIMap(AMSIMap& map, std::uint32_t rows, std::uint32_t cols, float fill) {
  if (rows == map.rows && cols == map.cols) return;
  AMSIMap out;
  out.Initialize(rows, cols, fill);
  for (std::uint32_t r = 0; r < std::min(rows, map.rows); ++r)
    for (std::uint32_t c = 0; c < std::min(cols, map.cols); ++c) out(r, c) = map(r, c);
  map = out;
}
