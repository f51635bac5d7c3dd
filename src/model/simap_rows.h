#pragma once
// The shape of the spectral-index map for a UVX file, and its rows described for an editor: one
// row per (frequency set-up, IF) pair of the file's FQ table, IF fastest (the order of the
// spectral factor matrix, model_run.h), one column per component.

#include <cstdint>
#include <string>
#include <vector>

#include "model/map_simap.h"
#include "uvx/fq_table.h"

struct ASIMapRow {
  int freq_id = 0;      // identifier of the frequency set-up (FRQSEL)
  int if_index = 0;     // 0-based IF
  double freq_hz = 0;   // frequency of the IF's first channel
};

// The rows of a frequency table, IF fastest.
std::vector<ASIMapRow> SIMapRows(const AUVXFqTbl& fq);

// The rows of the UVX file at `path` (its FQ table). Non-zero on success; *error says why not.
int SIMapRowsOfFile(const std::string& path, std::vector<ASIMapRow>& rows, std::string* error);

// Gives the map the shape rows x cols, keeping the values where old and new shapes overlap; new
// cells get `fill`.
void ReshapeSIMap(AMSIMap& map, std::uint32_t rows, std::uint32_t cols, float fill = 0.0f);
