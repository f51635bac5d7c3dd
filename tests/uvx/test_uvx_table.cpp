// Tables: formats, typed fields, keyword texts, type codes, the FQ table bytes and its queries.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "uvx/fq_table.h"
#include "uvx/uvx_table.h"
#include "uvx_test_util.h"

TEST(TableFormats, WidthsOfRepeatAndLetterAndTypeCodes) {
  int rep = 0;
  char letter = 0;
  EXPECT_EQ(AUVXTable::FormatWidth("8A", &rep, &letter), 8);
  EXPECT_EQ(rep, 8);
  EXPECT_EQ(letter, 'A');
  for (auto [format, width] : {std::pair{"1J", 4}, {"3D", 24}, {"2E", 8}, {"0D", 0}, {"J", 4}, {"4X", -1},
                               {"", -1}, {"1JJ", -1}, {"99999999", -1}})
    EXPECT_EQ(AUVXTable::FormatWidth(format), width) << format;

  const int an = AUVXTable::toHash("AN", 0), su = AUVXTable::toHash("SU", 0), fq = AUVXTable::toHash("FQ", 1);
  EXPECT_EQ(an & 0x300000, 0x100000);
  EXPECT_EQ(su & 0x300000, 0x100000);
  EXPECT_EQ(fq & 0x300000, 0x200000);
  EXPECT_NE(an & 0xFFFFF, su & 0xFFFFF);
  EXPECT_NE(AUVXTable::toHash("FQ", 0), fq);
}

TEST(TableRows, PackedColumnsAndTypedAccess) {
  AUVXTable t("AN", AUVXTable::toHash("AN", 0));
  EXPECT_EQ(t.AddColumn("ANNAME", "", "8A"), 0);
  EXPECT_EQ(t.AddColumn("STABXYZ", "METERS", "3D"), 1);
  EXPECT_EQ(t.AddColumn("ORBPARM", "", "0D"), 2);
  EXPECT_EQ(t.AddColumn("NOSTA", "", "1J"), 3);
  EXPECT_EQ(t.AddColumn("POLCALA", "", "2E"), 4);
  EXPECT_EQ(t.AddColumn("BAD", "", "2Q"), -1);
  EXPECT_EQ(t.row_length, 8 + 24 + 0 + 4 + 8);
  EXPECT_EQ(t.n_cols, 5);
  EXPECT_EQ(t.ColumnOffset(3), 32);
  const int r = t.AddRow();
  EXPECT_TRUE(t.SetChars(r, 0, "EB"));
  EXPECT_TRUE(t.SetDouble(r, 1, -3.5, 2));
  EXPECT_TRUE(t.SetInt(r, 3, 7));
  EXPECT_TRUE(t.SetFloat(r, 4, 0.5f, 1));
  EXPECT_FALSE(t.SetInt(r, 1, 7));        // wrong type
  EXPECT_FALSE(t.SetDouble(r, 1, 1, 3));  // element past the repeat count
  EXPECT_FALSE(t.SetInt(r + 1, 3, 1));    // no such row
  EXPECT_EQ(t.AddColumn("LATE", "", "1J"), -1);  // columns are fixed once rows exist
  const unsigned char* row = t.Row(r);
  EXPECT_EQ(std::memcmp(row, "EB      ", 8), 0);
  EXPECT_EQ(At<double>(row, 8 + 16), -3.5);
  EXPECT_EQ(At<std::int32_t>(row, 32), 7);
  EXPECT_EQ(At<float>(row, 40), 0.5f);
  EXPECT_EQ(t.GetChars(r, t.FindColumn("ANNAME")), "EB");
  EXPECT_EQ(t.GetInt(r, t.FindColumn("NOSTA")), 7);
  EXPECT_EQ(t.GetNumber(r, 4, 1), 0.5);
  EXPECT_EQ(t.FindColumn("NOPE"), -1);
  unsigned char raw[44] = {};
  EXPECT_EQ(t.AppendRow(raw, 44), 1);
  EXPECT_EQ(t.AppendRow(raw, 43), -1);
  EXPECT_TRUE(t.IsConsistent());
  t.row_length = 40;
  EXPECT_FALSE(t.IsConsistent());
}

TEST(TableKeywords, TextOfEachKind) {
  AUVXTable t("AN", 0);
  EXPECT_TRUE(t.AddKeywordInt("NO_IF", 4));
  EXPECT_TRUE(t.AddKeywordChar("TIMSYS", "UTC"));
  EXPECT_TRUE(t.AddKeywordReal("DEGPDY", 360.98564497371694));
  EXPECT_TRUE(t.AddKeywordDate("RDATE", 2024, 3, 9));
  EXPECT_FALSE(t.AddKeywordInt("TOOLONGNAME", 1));
  EXPECT_FALSE(t.AddKeyword("X", kKeyChar, std::string(33, 'a')));
  ASSERT_EQ(t.keywords.GetSize(), 4);
  EXPECT_STREQ(t.FindKeyword("NO_IF")->value, "4");
  EXPECT_EQ(t.FindKeyword("NO_IF")->kind, kKeyInt);
  EXPECT_STREQ(t.FindKeyword("TIMSYS")->value, "UTC     ");
  EXPECT_EQ(t.FindKeyword("TIMSYS")->kind, kKeyChar);
  EXPECT_STREQ(t.FindKeyword("DEGPDY")->value, " 3.60985644973716944E+02");
  EXPECT_DOUBLE_EQ(t.FindKeyword("DEGPDY")->AsReal(), 360.98564497371694);
  EXPECT_STREQ(t.FindKeyword("RDATE")->value, "2024-03-09");
  EXPECT_EQ(t.FindKeyword("NOPE"), nullptr);
}

TEST(FqTable, BytesAndQueriesOfTwoSelections) {
  AMatrix<AUVXFqTblItem> m(2, 2);
  m(0, 0) = {0.0, 500e3}, m(0, 1) = {8e6, 500e3}, m(1, 0) = {-16e6, 250e3}, m(1, 1) = {-8e6, 125e3};
  AArray<int> ids;
  ids.Add(3), ids.Add(7);
  std::unique_ptr<AUVXTable> t(MakeFqTable(m, ids, 2, 16));
  EXPECT_STREQ(t->name, "FQ");
  EXPECT_EQ(t->type, AUVXTable::toHash("FQ", 1));
  EXPECT_EQ(t->n_cols, 5);
  EXPECT_EQ(t->n_rows, 2);
  EXPECT_EQ(t->row_length, 4 + 20 * 2);
  const char* names[] = {"FRQSEL", "IF FREQ", "CH WIDTH", "TOTAL BANDWIDTH", "SIDEBAND"};
  const char* units[] = {"      ", "HZ     ", "HZ     ", "HZ     ", "       "};
  const char* formats[] = {"1J", "2D", "2E", "2E", "2J"};
  for (int c = 0; c < 5; ++c) {
    EXPECT_STREQ(t->columns[c].name, names[c]);
    EXPECT_STREQ(t->columns[c].unit, units[c]);
    EXPECT_STREQ(t->columns[c].format, formats[c]);
  }
  const unsigned char* r1 = t->Row(1);
  EXPECT_EQ(At<std::int32_t>(r1, 0), 7);
  EXPECT_EQ(At<double>(r1, 4), -16e6);
  EXPECT_EQ(At<double>(r1, 12), -8e6);
  for (auto [offset, value] : {std::pair{20, 250e3f}, {24, 125e3f}, {28, 16 * 250e3f}, {32, 16 * 125e3f}})
    EXPECT_EQ(At<float>(r1, offset), value) << offset;
  EXPECT_EQ(At<std::int32_t>(r1, 36), 1);
  EXPECT_EQ(At<std::int32_t>(r1, 40), 1);
  EXPECT_EQ(At<std::int32_t>(t->Row(0), 0), 3);
  EXPECT_EQ(At<double>(t->Row(0), 12), 8e6);

  AUVXFqTbl fq;
  ASSERT_TRUE(fq.FromTable(*t, 1.6e9, 16));
  EXPECT_EQ(fq.GetFreqSels(), 2);
  EXPECT_EQ(fq.GetFreqSelID(1), 7);
  EXPECT_EQ(fq.GetFreqSelID(5), 0);
  EXPECT_EQ(fq.GetFreqSelNum(7), 1);
  EXPECT_EQ(fq.GetFreqSelNum(4), -1);
  EXPECT_DOUBLE_EQ(fq.GetStartIFFq(1, 0), 1.584e9);
  EXPECT_DOUBLE_EQ(fq.GetDeltaIFFq(1, 1), 125e3);
  EXPECT_DOUBLE_EQ(fq.GetFreq(0, 1, 3), 1.6e9 + 8e6 + 3 * 500e3);
  EXPECT_DOUBLE_EQ(fq.GetTotalBandwidth(0, 0), 8e6);
  EXPECT_EQ(fq.GetSideband(1, 1), 1);
  EXPECT_EQ(fq.GetFreq(2, 0, 0), 0.0);
  EXPECT_EQ(fq.GetFreq(0, 2, 0), 0.0);
  AUVXFqTbl one;
  ASSERT_TRUE(one.FromTable(*t, 1.6e9, 16, 7));
  EXPECT_EQ(one.GetFreqSels(), 1);
  EXPECT_DOUBLE_EQ(one.GetStartIFFq(0, 1), 1.592e9);
  AUVXFqTbl none;
  EXPECT_FALSE(none.FromTable(*t, 1.6e9, 16, 99));
  AUVXFqTbl copy;
  copy = fq;
  EXPECT_DOUBLE_EQ(copy.GetFreq(1, 0, 2), 1.584e9 + 2 * 250e3);

  // Zero IFs still write one entry.
  AMatrix<AUVXFqTblItem> empty(1, 0);
  AArray<int> one_id;
  one_id.Add(1);
  std::unique_ptr<AUVXTable> z(MakeFqTable(empty, one_id, 0, 8));
  EXPECT_EQ(z->row_length, 24);
  EXPECT_STREQ(z->columns[1].format, "1D");
  EXPECT_EQ(At<double>(z->Row(0), 4), 0.0);
  EXPECT_EQ(At<std::int32_t>(z->Row(0), 20), 1);
}
