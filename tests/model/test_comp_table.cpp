// The component table's texts, edits, insert/delete rules and the validation before a run.

#include <gtest/gtest.h>

#include "model/comp_table.h"
#include "model/model_messages.h"

namespace {

ACompItem Make(int type) {
  ACompItem c;
  c.type = type;
  c.flux = 1.25;
  c.large_axis = 0.5;
  c.axis_ratio = 0.75;
  c.inclination = 10;
  c.position_angle = 20;
  c.distance = 0.125;
  c.width = 0.25;
  return c;
}

TEST(ComponentTable, HeadersAndCellTexts) {
  EXPECT_STREQ(CompColumnHeader(1), "Type");
  EXPECT_STREQ(CompColumnHeader(3), "Large axis [as]");
  EXPECT_STREQ(CompColumnHeader(5), "Inclination [\xB0]");
  EXPECT_STREQ(CompColumnHeader(6), "Position angle [\xB0]");
  EXPECT_STREQ(CompColumnHeader(8), "Width ]0..1[");
  EXPECT_STREQ(CompColumnHeader(0), "");
  EXPECT_STREQ(CompTypeName(1), "Delta function");
  EXPECT_STREQ(CompTypeName(5), "Thin sphere");
  EXPECT_STREQ(CompTypeName(7), "Thick ring");

  AComponents model;
  model.Add(Make(kCompDelta));
  model.Add(Make(kCompGaussian));
  model.Add(Make(kCompThickRing));
  AMCompsTable table(&model, nullptr);
  EXPECT_EQ(table.RowHeader(0), "");
  EXPECT_EQ(table.RowHeader(3), "3");
  // Delta function: columns 3-5 and 8 hidden; 2, 6, 7 shown.
  EXPECT_EQ(table.CellText(1, 1), "Delta function");
  EXPECT_EQ(table.CellText(1, 2), "1.25");
  for (int col : {3, 4, 5, 8}) EXPECT_EQ(table.CellText(1, col), "------") << col;
  EXPECT_EQ(table.CellText(1, 6), "20");
  EXPECT_EQ(table.CellText(1, 7), "0.125");
  // Gaussian: everything but the width.
  EXPECT_EQ(table.CellText(2, 3), "0.5");
  EXPECT_EQ(table.CellText(2, 4), "0.75");
  EXPECT_EQ(table.CellText(2, 5), "10");
  EXPECT_EQ(table.CellText(2, 8), "------");
  // Thick ring: all.
  EXPECT_EQ(table.CellText(3, 8), "0.25");
  EXPECT_EQ(table.CellText(4, 1), "");
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
  modified = 0;
  EXPECT_TRUE(table.ChooseType(1, 0));  // -> Delta function: redraw, columns 3-5 hidden
  EXPECT_EQ(table.CellText(1, 3), "------");
  EXPECT_TRUE(table.ChooseType(1, 5));  // Delta -> Rectangle: redraw
  EXPECT_EQ(model[0].type, kCompRectangle);
  EXPECT_FALSE(table.ChooseType(1, 7));  // no eighth entry
  EXPECT_EQ(model[0].type, kCompRectangle);

  modified = 0;
  table.EditCell(1, 2, "1.25");  // same value: flag stays
  EXPECT_EQ(modified, 0);
  table.EditCell(1, 2, "-5");
  EXPECT_EQ(model[0].flux, -5.0);
  EXPECT_EQ(modified, 1);
  table.EditCell(1, 7, "abc");  // not a number: 0
  EXPECT_EQ(model[0].distance, 0.0);
  table.EditCell(1, 3, " 2.5e-3xyz");  // atof reads the leading number
  EXPECT_EQ(model[0].large_axis, 2.5e-3);

  // Width of a thick ring: kept only inside ]0, 1[, but the flag is set anyway.
  modified = 0;
  table.EditCell(2, 8, "1");
  EXPECT_EQ(model[1].width, 0.25);
  EXPECT_EQ(modified, 1);
  modified = 0;
  table.EditCell(2, 8, "0");
  EXPECT_EQ(model[1].width, 0.25);
  EXPECT_EQ(modified, 1);
  table.EditCell(2, 8, "0.6");
  EXPECT_EQ(model[1].width, 0.6);
  // A width typed into another type is stored although not shown.
  table.EditCell(1, 8, "7");
  EXPECT_EQ(model[0].width, 7.0);
  EXPECT_EQ(table.CellText(1, 8), "------");
}

TEST(ComponentTable, InsertAndDeleteMoveTheSelection) {
  AComponents model;
  int modified = 0;
  AMCompsTable table(&model, &modified);
  table.Delete();  // empty: nothing happens
  EXPECT_EQ(modified, 0);
  table.Insert();
  EXPECT_EQ(model.GetSize(), 1);
  EXPECT_EQ(table.SelectedRow(), 1);
  EXPECT_EQ(table.SelectedColumn(), 1);
  EXPECT_EQ(modified, 1);
  model[0].flux = 11;
  table.Insert();  // after row 1
  model[1].flux = 22;
  EXPECT_EQ(table.SelectedRow(), 2);
  table.Select(1, 4);
  table.Insert();  // between 11 and 22
  EXPECT_EQ(table.SelectedRow(), 2);
  EXPECT_EQ(table.SelectedColumn(), 1);
  ASSERT_EQ(model.GetSize(), 3);
  EXPECT_EQ(model[0].flux, 11);
  EXPECT_EQ(model[1], ACompItem{});
  EXPECT_EQ(model[2].flux, 22);

  // Deleting the selected last row moves the selection to the new last row.
  modified = 0;
  table.Select(3, 2);
  table.Delete();
  EXPECT_EQ(model.GetSize(), 2);
  EXPECT_EQ(table.SelectedRow(), 2);
  EXPECT_EQ(modified, 1);
  table.Select(1, 1);
  table.Delete();
  ASSERT_EQ(model.GetSize(), 1);
  EXPECT_EQ(model[0], ACompItem{});
  EXPECT_EQ(table.SelectedRow(), 1);
  table.Delete();
  EXPECT_EQ(model.GetSize(), 0);
  EXPECT_EQ(table.SelectedRow(), 0);

  // DeleteItems ignores what lies outside the list.
  for (int i = 0; i < 5; ++i) {
    ACompItem c;
    c.flux = i;
    model.Add(c);
  }
  model.DeleteItems(1, 2);
  ASSERT_EQ(model.GetSize(), 3);
  EXPECT_EQ(model[1].flux, 3);
  model.DeleteItems(2, 10);
  EXPECT_EQ(model.GetSize(), 2);
  model.DeleteItems(5, 1);
  model.DeleteItems(-1, 1);
  EXPECT_EQ(model.GetSize(), 2);
}

TEST(ComponentValidation, FirstFailureGivesItsMessageAndCell) {
  AComponents model;
  MessageRecorder messages;
  EXPECT_TRUE(CheckComponents(model).ok);  // an empty model is valid
  EXPECT_NE(ValidateComponents(model, messages, nullptr), 0);

  ACompItem delta = Make(kCompDelta);
  delta.large_axis = 0;   // not checked for a delta function
  delta.flux = -5;        // flux is never checked
  model.Add(delta);
  ACompItem g = Make(kCompGaussian);
  g.large_axis = 1e-15;   // the threshold itself is accepted
  g.axis_ratio = 1.0;
  g.distance = 0;
  model.Add(g);
  EXPECT_TRUE(CheckComponents(model).ok);

  auto expect = [&](const char* text, int row, int col) {
    int modified = 0;
    AMCompsTable table(&model, &modified);
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
  EXPECT_STREQ(msg::kFluxPositive, "Flux must be > 0.");
}

}  // namespace
