#pragma once
// The tab-separated tables a user fills in for tasks 3 and 4 (format in docs/errors.md), and their
// templates made from a UVX file's "AN" table.
//
//   errors table:  Name  ID  Ph. err [Deg]  Ampl. err [dB]  Phase 0 [deg]  Fringe rate  Delay
//                  Fringe Acc.  Delay Acc.
//   SEFD table:    Name  ID  SEFD IF1  ...  SEFD IFn
//
// One header line naming the columns (any order, letter case ignored, extra columns ignored),
// then one line per telescope. Blank lines and lines starting with '#' are skipped. A missing
// column, a short line, a bad number or an ID outside 0..255 is refused with its line and column.

#include <istream>
#include <ostream>
#include <string>

#include "core/containers.h"
#include "errors/errors_model.h"
#include "errors/noise_model.h"
#include "uvx/uvx_file.h"

// Column headings of the errors table after "Name" and "ID", in the order written.
inline constexpr const char* kErrColumns[7] = {"Ph. err [Deg]", "Ampl. err [dB]", "Phase 0 [deg]", "Fringe rate",
                                               "Delay",         "Fringe Acc.",    "Delay Acc."};

// Non-zero on success; 0 with *error ("line 4, column \"Delay\": not a number: \"x\"").
int ReadErrorsTable(std::istream& in, AMTlscErrors& tlscs, std::string* error);
int ReadSefdTable(std::istream& in, AObjArray<AMSfdItem>& items, int* n_if, std::string* error);
// The same from a file; the error names the file.
int LoadErrorsTable(const std::string& path, AMTlscErrors& tlscs, std::string* error);
int LoadSefdTable(const std::string& path, AObjArray<AMSfdItem>& items, int* n_if, std::string* error);

// Numbers are written so that reading gives back the same doubles.
void WriteErrorsTable(std::ostream& out, const AMTlscErrors& tlscs);
void WriteSefdTable(std::ostream& out, const AObjArray<AMSfdItem>& items, int n_if);

// One entry per row of the file's AN table (name ANNAME, ID NOSTA), every value 0; the SEFD
// template has max(nIF, 1) values per telescope. 0 with *error when the file has no usable AN table.
int MakeErrorsTemplate(AUVXFile& file, AMTlscErrors& tlscs, std::string* error);
int MakeSefdTemplate(AUVXFile& file, AObjArray<AMSfdItem>& items, int* n_if, std::string* error);
