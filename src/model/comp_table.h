#pragma once
// The component table as plain operations: texts of headers and cells, the edits a table view
// makes (type choice, cell text, insert, delete) and the selected cell. A desktop view calls
// these and redraws; nothing here knows about windows.
//
// Rows are 1-based (row N shows item N-1; row 0 is the header row), columns 1-based:
//   1 "Type", 2 "Flux [Jy]", 3 "Large axis [as]", 4 "Axis ratio", 5 "Inclination [deg sign]",
//   6 "Position angle [deg sign]", 7 "Distance [as]", 8 "Width ]0..1[".
// The degree sign is byte 0xB0 (Windows-1252 / Latin-1); a UTF-8 view converts it.

#include <string>
#include <string_view>

#include "core/runtime.h"
#include "model/components.h"

inline constexpr int kCompTableColumns = 8;

// Header text of column 1..8; "" for column 0 or out of range.
const char* CompColumnHeader(int column);

class AMCompsTable {
 public:
  // `modified` may be null: the table then keeps no modified flag.
  AMCompsTable(AComponents* model, int* modified) : model_(model), modified_(modified) {}

  int RowCount() const { return model_->GetSize(); }
  // "%d" for rows 1 and up, "" for the corner cell (row 0).
  std::string RowHeader(int row) const;
  // Text of cell (row >= 1, column 1..8); "" outside the table.
  std::string CellText(int row, int column) const;
  // The value of column 2..8 as text, also where the cell shows "------" (what an editor starts
  // from); "" outside the table and in column 1.
  std::string ValueText(int row, int column) const;

  // Drop-down choice `entry` (0-based, table order) in column 1 of `row`: stores type entry+1.
  // Returns true when the whole table must be redrawn (a change to or from a Delta function).
  bool ChooseType(int row, int entry);
  // Text typed into column 2..8 of `row`, converted with atof.
  void EditCell(int row, int column, std::string_view text);
  // Inserts a default component after the selected row (or appends to an empty model).
  void Insert();
  // Removes the component of the selected row.
  void Delete();

  void Select(int row, int column) {
    selected_row_ = row;
    selected_column_ = column;
  }
  int SelectedRow() const { return selected_row_; }
  int SelectedColumn() const { return selected_column_; }

 private:
  void MarkModified() {
    if (modified_) *modified_ = 1;
  }
  bool ValidRow(int row) const { return row >= 1 && row <= model_->GetSize(); }

  AComponents* model_;
  int* modified_;
  int selected_row_ = 0;
  int selected_column_ = 0;
};

// Outcome of the validation run before modeling: the first offending cell (1-based row and
// column) and its message, or ok.
struct ACompCheck {
  bool ok = true;
  const char* message = nullptr;
  int row = 0;
  int column = 0;
};

// Checks the components in table order; stops at the first failure.
ACompCheck CheckComponents(const AComponents& model);

// Validation as the page runs it: on failure shows the message, selects the cell in `table`
// (when given) and returns 0; non-zero when the run may start.
int ValidateComponents(const AComponents& model, MessageSink& messages, AMCompsTable* table);
