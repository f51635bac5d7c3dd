#pragma once
// How a per-telescope table of tasks 3 and 4 (the errors table, the SEFD table) fits the
// telescopes of a UVX file. Both tasks match rows to groups by telescope identifier only; this
// says beforehand what that matching would do silently: a row whose name is not the name the
// file's "AN" table gives its identifier, and baselines whose telescopes have no row (their
// records pass unchanged).

#include <string>
#include <vector>

#include "errors/errors_model.h"
#include "errors/noise_model.h"
#include "uvx/uvx_file.h"

struct AMTableRow {
  std::string name;
  int id = 0;
};

struct AMTableMatch {
  // One text per row whose name differs from the AN name of its identifier (letter case ignored;
  // the AN table holds 8 characters, so a longer name is compared by its first 8), or whose
  // identifier the AN table does not have.
  std::vector<std::string> name_mismatches;
  int baselines = 0;              // baselines of the file (its "BL" table, else every AN pair)
  int baselines_without = 0;      // of them, those with a telescope that has no row
  std::vector<int> ids_without;   // identifiers of the AN table without a row
  bool Clean() const { return name_mismatches.empty() && baselines_without == 0; }
  // One line per finding, for warnings ("row 2 (ID 3) ...", "4 of 36 baselines ...").
  std::vector<std::string> Lines() const;
};

// Non-zero on success; 0 with *error when the file has no usable AN table.
int MatchTableToFile(AUVXFile& file, const std::vector<AMTableRow>& rows, AMTableMatch& out, std::string* error);

std::vector<AMTableRow> TableRows(const AMTlscErrors& tlscs);
std::vector<AMTableRow> TableRows(const AObjArray<AMSfdItem>& items);

// Opens `uvx_path` and matches; 0 with *error when it cannot be read.
int MatchTableToFile(const std::string& uvx_path, const std::vector<AMTableRow>& rows, AMTableMatch& out,
                     std::string* error);
