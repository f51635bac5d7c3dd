#include "model/comp_table.h"

#include <algorithm>
#include <cstdlib>

#include "core/text.h"
#include "model/model_messages.h"

namespace {
constexpr const char* kHeaders[kCompTableColumns] = {
    "Type",       "Flux [Jy]",           "Large axis [as]", "Axis ratio",
    "Inclination [\xB0]", "Position angle [\xB0]", "Distance [as]",   "Width ]0..1[",
};
constexpr const char* kNotApplicable = "------";

// Field of column 2..8.
double& Field(ACompItem& item, int column) {
  switch (column) {
    case 2: return item.flux;
    case 3: return item.large_axis;
    case 4: return item.axis_ratio;
    case 5: return item.inclination;
    case 6: return item.position_angle;
    case 7: return item.distance;
    default: return item.width;
  }
}
}  // namespace

const char* CompColumnHeader(int column) {
  return column >= 1 && column <= kCompTableColumns ? kHeaders[column - 1] : "";
}

std::string AMCompsTable::RowHeader(int row) const { return row >= 1 ? toStr(row, "%d") : std::string(); }

std::string AMCompsTable::CellText(int row, int column) const {
  if (!ValidRow(row) || column < 1 || column > kCompTableColumns) return {};
  ACompItem& item = (*model_)[row - 1];
  if (column == 1) return CompTypeName(item.type);
  if ((column >= 3 && column <= 5 && item.type == kCompDelta) || (column == 8 && item.type != kCompThickRing))
    return kNotApplicable;
  return valToStr(Field(item, column));
}

std::string AMCompsTable::ValueText(int row, int column) const {
  if (!ValidRow(row) || column < 2 || column > kCompTableColumns) return {};
  return valToStr(Field((*model_)[row - 1], column));
}

bool AMCompsTable::ChooseType(int row, int entry) {
  if (!ValidRow(row) || entry < 0 || entry >= kCompTypeCount) return false;
  ACompItem& item = (*model_)[row - 1];
  const int old_type = item.type;
  const int new_type = entry + 1;
  if (new_type != old_type) MarkModified();
  item.type = new_type;
  return new_type != old_type && (old_type == kCompDelta || new_type == kCompDelta);
}

void AMCompsTable::EditCell(int row, int column, std::string_view text) {
  if (!ValidRow(row) || column < 2 || column > kCompTableColumns) return;
  ACompItem& item = (*model_)[row - 1];
  const double value = std::atof(std::string(text).c_str());
  double& field = Field(item, column);
  if (value != field) MarkModified();
  // A thick ring keeps only a width inside ]0, 1[; the flag above is set all the same.
  if (column == 8 && item.type == kCompThickRing && !(value > 0.0 && value < 1.0)) return;
  field = value;
}

void AMCompsTable::Insert() {
  if (model_->GetSize() == 0) {
    model_->Add(ACompItem{});
    Select(1, 1);
  } else {
    const int row = std::clamp(selected_row_, 0, model_->GetSize());
    model_->InsertAt(row, ACompItem{});
    Select(row + 1, 1);
  }
  MarkModified();
}

void AMCompsTable::Delete() {
  if (model_->GetSize() == 0 || !ValidRow(selected_row_)) return;
  model_->DeleteItems(selected_row_ - 1, 1);
  if (selected_row_ > model_->GetSize()) --selected_row_;
  MarkModified();
}

ACompCheck CheckComponents(const AComponents& model) {
  for (int i = 0; i < model.GetSize(); ++i) {
    const ACompItem& item = model[i];
    if (item.type > kCompDelta && item.large_axis < 1e-15) return {false, msg::kLargeAxisInvalid, i + 1, 3};
    if (!(item.axis_ratio > 0) || item.axis_ratio > 1.0) return {false, msg::kAxisRatioInvalid, i + 1, 4};
    if (item.distance < 0) return {false, msg::kDistanceInvalid, i + 1, 7};
  }
  return {};
}

int ValidateComponents(const AComponents& model, MessageSink& messages, AMCompsTable* table) {
  const ACompCheck check = CheckComponents(model);
  if (check.ok) return 1;
  messages.Show(check.message);
  if (table) table->Select(check.row, check.column);
  return 0;
}
