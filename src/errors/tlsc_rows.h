#pragma once
// The per-telescope rows that the "Errors" and "Sensitivity modeling" pages edit: their labels,
// the rows made for a chosen input file, cell access by column, the check that names the first
// bad cell, and the SEFD fill of every row. The desktop pages only draw these; the command line
// uses the same checks and time parsing.
//
//   errors rows:  one per telescope, columns kErrColumns (errors/error_tables.h), 0..6
//   SEFD rows:    one per telescope, columns "SEFD IF1" .. "SEFD IFn", 0..n-1
//
// Rows are labelled with the telescope's name followed by "(#%d)" with its identifier
// ("VLBA_BR (#1)"; an entry without a name shows "(#1)" alone).

#include <string>

#include "core/containers.h"
#include "errors/errors_model.h"
#include "errors/noise_model.h"

inline constexpr int kErrCellColumns = 7;

// "(#%d)" with the identifier, after the name and a blank when there is a name.
std::string TlscRowLabel(const std::string& name, int id);
// "SEFD IF%d" with the IF number counted from 1 (column 0 gives "SEFD IF1").
std::string SefdColumnTitle(int column);

// The value of errors column `column` (0..6, the order of kErrColumns) and its setter.
double ErrCell(const AMTlscErrItem& item, int column);
void SetErrCell(AMTlscErrItem& item, int column, double value);

// Rows for a new input file: one per telescope of `from_file` (its AN table, in order); a
// telescope already in `current` with the same identifier and name keeps its values (the last
// such entry wins, as in a run). For SEFD rows the values of IFs both lists have are kept and new
// IFs start at 0.
AMTlscErrors MergeErrorRows(const AMTlscErrors& from_file, const AMTlscErrors& current);
AObjArray<AMSfdItem> MergeSefdRows(const AObjArray<AMSfdItem>& from_file, int n_if,
                                   const AObjArray<AMSfdItem>& current);

// The rows of a UVX file's AN table merged with `current`. Non-zero on success; 0 with *error
// naming the file when it does not open or has no usable AN table.
int ErrorRowsFromFile(const std::string& path, const AMTlscErrors& current, AMTlscErrors& rows, std::string* error);
int SefdRowsFromFile(const std::string& path, const AObjArray<AMSfdItem>& current, AObjArray<AMSfdItem>& rows,
                     int* n_if, std::string* error);

// A cell of a table (row and column as above) and what is wrong with it.
struct ATableCellIssue {
  int row = -1;        // -1: no issue
  int column = -1;
  std::string message;  // names the row label and the column: "VLBA_FD (#2), Ph. err [Deg]: must be >= 0"
  explicit operator bool() const { return row >= 0; }
};

// The first bad cell in row order: a value that is not finite; a negative phase or amplitude
// error; a negative SEFD; an SEFD row with fewer than n_if values (its first missing column).
ATableCellIssue CheckErrorCells(const AMTlscErrors& rows);
ATableCellIssue CheckSefdCells(const AObjArray<AMSfdItem>& rows, int n_if);

// Parses the text typed into a cell: a finite number (blanks around it allowed); non-zero on
// success, else 0 with *why ("not a number: \"x\"").
int ParseCellNumber(const std::string& text, double* value, std::string* why);
// A typed value checked for its errors column / for an SEFD cell; the message names the cell.
ATableCellIssue CheckErrorCellText(const AMTlscErrors& rows, int row, int column, const std::string& text,
                                   double* value);
ATableCellIssue CheckSefdCellText(const AObjArray<AMSfdItem>& rows, int row, int column, const std::string& text,
                                  double* value);

// "Apply": the SEFD values of row `from` (for each of the n_if IFs) copied into every row.
// Returns the number of rows filled; 0 when `from` is not a row.
int FillSefdRows(AObjArray<AMSfdItem>& rows, int n_if, int from);

// A time of the errors' interval: "H:MM:SS[.s]" or a number of seconds, from 0h of the
// observation date. Non-zero on success; the value is untouched otherwise.
int ParseIntervalTime(const std::string& text, double* seconds);
