#include "observation/source_catalog.h"

#include <cstdio>
#include <fstream>

#include "core/paths.h"
#include "core/text.h"

int ReadSources(std::istream& in, AMSourceCatalog& catalog) {
  std::string line;
  double ra = 0, dec = 0;  // a line whose coordinates do not parse keeps the previous values
  while (catalog.GetSize() < kMaxSourceEntries && std::getline(in, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.size() > 127) line.resize(127);
    if (trim(line).empty() || line.front() == ';') continue;
    std::string w[4];
    for (auto& word : w) word.assign(line.size() + 1, '\0');
    const int n = std::sscanf(line.c_str(), "%s %s %s %s", w[0].data(), w[1].data(), w[2].data(), w[3].data());
    AMSourceInfoItem item;
    if (n >= 1) item.name = w[0].c_str();
    if (n >= 2) item.other_name = w[1].c_str();
    if (n >= 3) strToTime(w[2].c_str(), ra);
    if (n >= 4) strToAngle(w[3].c_str(), dec);
    item.ra_time_s = ra;
    item.dec_arcsec = dec;
    GrowWithCount(catalog);
    catalog.Add(item);
  }
  return 1;
}

int LoadSourceFile(const std::string& path, AMSourceCatalog& catalog, MessageSink* messages) {
  catalog = AMSourceCatalog();
  std::ifstream in(path);
  if (!in) {
    if (messages) messages->Show(kCantOpenSources);
    return 0;
  }
  return ReadSources(in, catalog);
}

int FindSource(const AMSourceCatalog& catalog, const std::string& name) {
  const std::string n = toUpper(name);
  for (int i = 0; i < catalog.count; ++i)
    if (toUpper(catalog[i].name) == n || toUpper(catalog[i].other_name) == n) return i;
  return -1;
}

void ChooseSource(AMObservation& obs, const AMSourceInfoItem& source, bool use_other_name) {
  obs.source_name = use_other_name ? source.other_name : source.name;
  obs.ra_time_s = source.ra_time_s;
  obs.dec_arcsec = source.dec_arcsec;
  obs.output_path = DefaultOutputPath(getfPath(obs.output_path), obs.source_name);
}
