#pragma once
// UVX tables <-> FITS binary tables ("AIPS AN", "AIPS FQ", "AIPS SU"), and the small edits the
// export and import make to them (columns a reader needs, keywords replaced).
//
// Column formats map one to one: UVX "nA", "nJ", "nE", "nD" are the FITS TFORMs of the same name.
// Reading, FITS B/I/K integers become J (K clipped to 32 bits) and L/X/C/M/P columns are left out.

#include <fitsio.h>

#include <string>
#include <vector>

#include "uvx/uvx_table.h"

namespace uvfits {

struct ColumnSpec {
  std::string name;
  std::string unit;
  std::string format;  // "1J", "3D", ...
};

// The AN columns the established readers need (casacore refuses a table without them); the
// export adds those a UVX table lacks.
std::vector<ColumnSpec> AntennaColumns();
// The SU columns the established readers need, and the layout the import gives a source table
// it builds from the primary header.
std::vector<ColumnSpec> SourceColumns(int n_if);

// A copy of `src` with every column of `wanted` that it lacks appended (zero in every row);
// rows, keywords, name and type are kept.
AUVXTable WithColumns(const AUVXTable& src, const std::vector<ColumnSpec>& wanted);

// Replaces the keyword of that name (kind and value) or appends it.
void SetKeywordReal(AUVXTable& t, const char* name, double value);
void SetKeywordInt(AUVXTable& t, const char* name, long long value);
void SetKeywordChar(AUVXTable& t, const char* name, const std::string& value);

// A keyword's value as a number; `fallback` when it is missing.
double KeywordReal(const AUVXTable& t, const char* name, double fallback);
// A character keyword without its padding, upper case; empty when missing.
std::string KeywordText(const AUVXTable& t, const char* name);

// Appends `t` as a binary-table HDU named `extname`, EXTVER 1, its keywords after the column
// descriptions. cfitsio status in `status` (0 on success).
void WriteFitsTable(fitsfile* f, const AUVXTable& t, const char* extname, int* status);

// Reads the binary table of the current HDU into `out` (whose name and type the caller set):
// columns, rows and keywords (structural ones left out). `max_rows` bounds what is accepted.
// Non-zero on success; otherwise `error` says what was wrong.
int ReadFitsTable(fitsfile* f, AUVXTable& out, long long max_rows, std::string& error);

}  // namespace uvfits
