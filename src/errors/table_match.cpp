#include "errors/table_match.h"

#include <algorithm>
#include <set>

#include "core/text.h"
#include "uvx/uvx_lists.h"

namespace {

constexpr std::size_t kAnNameChars = 8;  // ANNAME is "8A"

bool SameName(const std::string& table_name, const std::string& an_name) {
  return toUpper(table_name.substr(0, kAnNameChars)) == toUpper(an_name.substr(0, kAnNameChars));
}

}  // namespace

std::vector<std::string> AMTableMatch::Lines() const {
  std::vector<std::string> lines = name_mismatches;
  if (baselines_without > 0) {
    std::string ids;
    for (std::size_t k = 0; k < ids_without.size(); ++k) ids += (k ? ", " : "") + std::to_string(ids_without[k]);
    lines.push_back(std::to_string(baselines_without) + " of " + std::to_string(baselines) +
                    " baselines have a telescope without a row (ID " + ids +
                    "): their records are left unchanged (\"index telescope not found\")");
  }
  return lines;
}

int MatchTableToFile(AUVXFile& file, const std::vector<AMTableRow>& rows, AMTableMatch& out, std::string* error) {
  out = AMTableMatch();
  AUVXAntenns ants;
  const AUVXTable* an = file.GetTable("AN");
  if (!an || !ants.Load(*an)) {
    if (error) *error = file.Path() + ": the file has no usable telescope table (AN)";
    return 0;
  }
  // The last row of an identifier is the one the tasks use.
  std::vector<int> row_of(256, -1);
  for (std::size_t r = 0; r < rows.size(); ++r)
    if (rows[r].id >= 0 && rows[r].id < 256) row_of[std::size_t(rows[r].id)] = int(r);
  for (std::size_t r = 0; r < rows.size(); ++r) {
    const AMTableRow& row = rows[r];
    const AUVXTlscItem* a = ants.FindNumber(row.id);
    const std::string where = "row " + std::to_string(r + 1) + " (ID " + std::to_string(row.id) + ")";
    if (!a)
      out.name_mismatches.push_back(where + " \"" + EscapeText(row.name, 40) + "\": the file has no telescope " +
                                    std::to_string(row.id));
    else if (!SameName(row.name, a->Name()))
      out.name_mismatches.push_back(where + " \"" + EscapeText(row.name, 40) + "\": the file's AN table names ID " +
                                    std::to_string(row.id) + " \"" + EscapeText(a->Name(), 40) + "\"");
  }
  std::set<int> without;
  for (const AUVXTlscItem& a : ants)
    if (a.number < 0 || a.number > 255 || row_of[std::size_t(a.number)] < 0) without.insert(a.number);
  auto has_row = [&](int id) { return id >= 0 && id < 256 && row_of[std::size_t(id)] >= 0; };
  AUVXBaseLines bl;
  const AUVXTable* bl_table = file.GetTable("BL");
  if (bl_table && bl.Load(*bl_table)) {
    for (const AUVXBaseLineItem& b : bl) {
      ++out.baselines;
      if (!has_row(b.tel1) || !has_row(b.tel2)) {
        ++out.baselines_without;
        for (int id : {int(b.tel1), int(b.tel2)})
          if (!has_row(id)) without.insert(id);
      }
    }
  } else {
    for (int i = 0; i < ants.GetSize(); ++i)
      for (int j = i + 1; j < ants.GetSize(); ++j) {
        ++out.baselines;
        if (!has_row(ants[i].number) || !has_row(ants[j].number)) ++out.baselines_without;
      }
  }
  out.ids_without.assign(without.begin(), without.end());
  return 1;
}

int MatchTableToFile(const std::string& uvx_path, const std::vector<AMTableRow>& rows, AMTableMatch& out,
                     std::string* error) {
  AUVXFile file;
  if (!file.Open(uvx_path, AUVXFile::modeRead)) {
    if (error) *error = uvx_path + ": " + file.Error();
    return 0;
  }
  return MatchTableToFile(file, rows, out, error);
}

std::vector<AMTableRow> TableRows(const AMTlscErrors& tlscs) {
  std::vector<AMTableRow> rows;
  for (const AMTlscErrItem& t : tlscs) rows.push_back({t.name, t.id});
  return rows;
}

std::vector<AMTableRow> TableRows(const AObjArray<AMSfdItem>& items) {
  std::vector<AMTableRow> rows;
  for (const AMSfdItem& t : items) rows.push_back({t.name, t.id});
  return rows;
}
