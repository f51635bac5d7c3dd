// The component table's texts, edits, insert/delete rules and the validation before a run.

#include <gtest/gtest.h>

#include "model/comp_table.h"
#include "model/model_test_util.h"

namespace {

ACompItem Make(int type) { return Comp(type, 1.25, 0.5, 0.75, 10, 20, 0.125, 0.25); }

TEST(ComponentTable, HeadersAndCellTexts) {
  const std::pair<int, const char*> headers[] = {{0, ""},
                                                 {1, "Type"},
                                                 {3, "Large axis [as]"},
                                                 {5, "Inclination [\xB0]"},
                                                 {6, "Position angle [\xB0]"},
                                                 {8, "Width ]0..1["}};
  for (const auto& [col, text] : headers) EXPECT_STREQ(CompColumnHeader(col), text) << col;
  for (const auto& [type, text] : {std::pair{1, "Delta function"}, {5, "Thin sphere"}, {7, "Thick ring"}})
    EXPECT_STREQ(CompTypeName(type), text);

  AComponents model;
  for (int type : {kCompDelta, kCompGaussian, kCompThickRing}) model.Add(Make(type));
  AMCompsTable table(&model, nullptr);
  EXPECT_EQ(table.RowHeader(0), "");
  EXPECT_EQ(table.RowHeader(3), "3");
  // Delta function: columns 3-5 and 8 hidden; Gaussian: everything but the width; Thick ring: all.
  const struct {
    int row, col;
    const char* text;
  } cells[] = {{1, 1, "Delta function"}, {1, 2, "1.25"}, {1, 3, "------"}, {1, 4, "------"}, {1, 5, "------"},
               {1, 6, "20"},  {1, 7, "0.125"}, {1, 8, "------"}, {2, 3, "0.5"}, {2, 4, "0.75"},
               {2, 5, "10"},  {2, 8, "------"}, {3, 8, "0.25"},  {4, 1, ""}};
  for (const auto& c : cells) EXPECT_EQ(table.CellText(c.row, c.col), c.text) << c.row << ", " << c.col;
  // An editor starts from the value, also where the cell reads "------".
  for (const auto& [col, text] : {std::pair{3, "0.5"}, {8, "0.25"}, {2, "1.25"}, {1, ""}})
    EXPECT_EQ(table.ValueText(1, col), text) << col;
  EXPECT_EQ(table.ValueText(4, 2), "");
}

TEST(ComponentTable, TypeChoiceAndCellEditsSetTheModifiedFlag) {
  AComponents model;
  model.Add(Make(kCompGaussian));
  model.Add(Make(kCompThickRing));
  int modified = 0;
  AMCompsTable table(&model, &modified);

  EXPECT_FALSE(table.ChooseType(1, 1));  // Gaussian again: nothing changes
  EXPECT_EQ(modified, 0);
  EXPECT_FALSE(table.ChooseType(1, 2));  // Gaussian -> Disk: no redraw
  EXPECT_EQ(model[0].type, kCompDisk);
  EXPECT_EQ(modified, 1);
  EXPECT_TRUE(table.ChooseType(1, 0));  // -> Delta function: redraw, columns 3-5 hidden
  EXPECT_EQ(table.CellText(1, 3), "------");
  EXPECT_TRUE(table.ChooseType(1, 5));  // Delta -> Rectangle: redraw
  EXPECT_FALSE(table.ChooseType(1, 7));  // no eighth entry
  EXPECT_EQ(model[0].type, kCompRectangle);

  const struct {
    int row, col;
    const char* text;
    double ACompItem::*field;
    double want;
    int modified;
  } edits[] = {
      {1, 2, "1.25", &ACompItem::flux, 1.25, 0},  // same value: the flag stays
      {1, 2, "-5", &ACompItem::flux, -5.0, 1},
      {1, 7, "abc", &ACompItem::distance, 0.0, 1},             // not a number: 0
      {1, 3, " 2.5e-3xyz", &ACompItem::large_axis, 2.5e-3, 1},  // atof reads the leading number
      // Width of a thick ring: kept only inside ]0, 1[, but the flag is set anyway.
      {2, 8, "1", &ACompItem::width, 0.25, 1},
      {2, 8, "0", &ACompItem::width, 0.25, 1},
      {2, 8, "0.6", &ACompItem::width, 0.6, 1},
      {1, 8, "7", &ACompItem::width, 7.0, 1},  // a width typed into another type is stored although not shown
  };
  for (const auto& e : edits) {
    modified = 0;
    table.EditCell(e.row, e.col, e.text);
    EXPECT_EQ(model[e.row - 1].*e.field, e.want) << e.row << ", " << e.col << ": " << e.text;
    EXPECT_EQ(modified, e.modified) << e.row << ", " << e.col << ": " << e.text;
  }
  EXPECT_EQ(table.CellText(1, 8), "------");
}

TEST(ComponentTable, InsertAndDeleteMoveTheSelection) {
  AComponents model;
  int modified = 0;
  AMCompsTable table(&model, &modified);
  auto expect_selected = [&](int size, int row) {
    EXPECT_EQ(model.GetSize(), size);
    EXPECT_EQ(table.SelectedRow(), row);
  };
  table.Delete();  // empty: nothing happens
  EXPECT_EQ(modified, 0);
  table.Insert();
  expect_selected(1, 1);
  EXPECT_EQ(table.SelectedColumn(), 1);
  EXPECT_EQ(modified, 1);
  model[0].flux = 11;
  table.Insert();  // after row 1
  model[1].flux = 22;
  expect_selected(2, 2);
  table.Select(1, 4);
  table.Insert();  // between 11 and 22
  expect_selected(3, 2);
  EXPECT_EQ(table.SelectedColumn(), 1);
  EXPECT_EQ(model[0].flux, 11);
  EXPECT_EQ(model[1], ACompItem{});
  EXPECT_EQ(model[2].flux, 22);

  // Deleting the selected last row moves the selection to the new last row.
  modified = 0;
  table.Select(3, 2);
  table.Delete();
  expect_selected(2, 2);
  EXPECT_EQ(modified, 1);
  table.Select(1, 1);
  table.Delete();
  expect_selected(1, 1);
  EXPECT_EQ(model[0], ACompItem{});
  table.Delete();
  expect_selected(0, 0);

  // DeleteItems ignores what lies outside the list.
  for (int i = 0; i < 5; ++i) model.Add(Comp(kCompGaussian, i));
  model.DeleteItems(1, 2);
  ASSERT_EQ(model.GetSize(), 3);
  EXPECT_EQ(model[1].flux, 3);
  model.DeleteItems(2, 10);
  model.DeleteItems(5, 1);
  model.DeleteItems(-1, 1);
  EXPECT_EQ(model.GetSize(), 2);
}

TEST(ComponentValidation, FirstFailureGivesItsMessageAndCell) {
  AComponents model;
  MessageRecorder messages;
  EXPECT_TRUE(CheckComponents(model).ok);  // an empty model is valid
  EXPECT_NE(ValidateComponents(model, messages, nullptr), 0);
  // Large axis not checked for a delta function, flux never; the threshold itself is accepted.
  model.Add(Comp(kCompDelta, -5, 0, 0.75, 10, 20, 0.125));
  model.Add(Comp(kCompGaussian, 1.25, 1e-15, 1.0, 10, 20, 0));
  EXPECT_TRUE(CheckComponents(model).ok);

  auto expect = [&](const char* text, int row, int col) {
    AMCompsTable table(&model, nullptr);
    MessageRecorder rec;
    EXPECT_EQ(ValidateComponents(model, rec, &table), 0);
    ASSERT_EQ(rec.shown.size(), 1u);
    EXPECT_EQ(rec.shown[0], text);
    EXPECT_EQ(table.SelectedRow(), row);
    EXPECT_EQ(table.SelectedColumn(), col);
  };
  model[1].large_axis = 0;
  expect("Large axis mus be >= 0.", 2, 3);
  model[1].large_axis = 1;
  model[1].distance = -0.1;
  expect("Distance must be >= 0", 2, 7);
  model[0].axis_ratio = 0;  // also checked for a delta function, and found first
  expect("Axis ratio invalid range.", 1, 4);
  model[0].axis_ratio = 1.0000001;
  expect("Axis ratio invalid range.", 1, 4);
  model[0].axis_ratio = 1.0;
  // Large axis before axis ratio within one row.
  model[1].distance = 0;
  model[1].large_axis = -1;
  model[1].axis_ratio = -1;
  expect("Large axis mus be >= 0.", 2, 3);
}

}  // namespace
