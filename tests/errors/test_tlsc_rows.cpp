// The rows of the errors and SEFD tables as the desktop pages edit them: labels, rows of a chosen
// input file keeping the values already typed, cell access, the first bad cell named, the typed
// text checked per column, "Apply", and the interval's time texts.
#include <gtest/gtest.h>

#include "errors/tlsc_rows.h"
#include "errors_test_util.h"

namespace {

std::vector<double> Values(const AMSfdItem& t) { return std::vector<double>(t.sefd.begin(), t.sefd.end()); }

}  // namespace

TEST(TlscRows, LabelsAndColumnTitles) {
  EXPECT_EQ(TlscRowLabel("VLBA_BR", 1), "VLBA_BR (#1)");
  EXPECT_EQ(TlscRowLabel("", 12), "(#12)");
  EXPECT_EQ(SefdColumnTitle(0), "SEFD IF1");
  EXPECT_EQ(SefdColumnTitle(15), "SEFD IF16");
}

// Every column reaches its own field and no other.
TEST(TlscRows, ErrorCellsMapOntoTheirFields) {
  for (int c = 0; c < kErrCellColumns; ++c) {
    AMTlscErrItem t = Tlsc(3);
    SetErrCell(t, c, 2.5 + c);
    for (int k = 0; k < kErrCellColumns; ++k) EXPECT_EQ(ErrCell(t, k), k == c ? 2.5 + c : 0.0) << c << " " << k;
  }
  AMTlscErrItem t = Tlsc(1, 1, 2, 3, 4, 5, 6, 7);
  EXPECT_EQ(t.phase_err_deg, ErrCell(t, 0));
  EXPECT_EQ(t.ampl_err_db, ErrCell(t, 1));
  EXPECT_EQ(t.phase0_deg, ErrCell(t, 2));
  EXPECT_EQ(t.fringe_rate, ErrCell(t, 3));
  EXPECT_EQ(t.delay, ErrCell(t, 4));
  EXPECT_EQ(t.fringe_acc, ErrCell(t, 5));
  EXPECT_EQ(t.delay_acc, ErrCell(t, 6));
}

// A new input keeps what was typed for the telescopes it shares (same number and name), in the
// file's order; a telescope with the same number but another name starts from 0.
TEST(TlscRows, RowsOfAFileKeepTheValuesOfTheSameTelescopes) {
  const AMTlscErrors file = TlscList({Tlsc(1), Tlsc(2), Tlsc(3), Tlsc(4)});
  AMTlscErrors current = TlscList({Tlsc(3, 0.5, 1), Tlsc(1, 0.1), Tlsc(1, 0.2), Tlsc(2, 0.3)});
  current[3].name = "other";
  const AMTlscErrors rows = MergeErrorRows(file, current);
  ASSERT_EQ(rows.GetSize(), 4);
  EXPECT_EQ(rows[0].phase_err_deg, 0.2);  // the last entry of #1 wins
  EXPECT_EQ(rows[1].name, "T2");
  EXPECT_EQ(rows[1].phase_err_deg, 0.0);
  EXPECT_EQ(rows[2].ampl_err_db, 1.0);
  EXPECT_EQ(rows[3].id, 4);

  AObjArray<AMSfdItem> sfile;
  for (int id : {1, 2}) sfile.Add(Sfd(id, {0, 0, 0}));
  AObjArray<AMSfdItem> scur;
  scur.Add(Sfd(2, {300, 310}));
  const AObjArray<AMSfdItem> srows = MergeSefdRows(sfile, 3, scur);
  ASSERT_EQ(srows.GetSize(), 2);
  EXPECT_EQ(Values(srows[0]), (std::vector<double>{0, 0, 0}));
  EXPECT_EQ(Values(srows[1]), (std::vector<double>{300, 310, 0}));  // a new IF starts at 0
  EXPECT_EQ(Values(MergeSefdRows(sfile, 1, scur)[1]), (std::vector<double>{300}));
}

TEST(TlscRows, RowsFromAFileAndItsFailures) {
  TempDir dir;
  TestFileShape shape;
  shape.n_if = 3;
  shape.if_offsets_hz = {0.0, 8e6, 16e6};
  shape.n_telescopes = 4;
  shape.records = AllBaselines(4, 2, 10.0);
  WriteTestFile(dir.File("t.uvx"), shape);
  AMTlscErrors rows;
  std::string error;
  ASSERT_TRUE(ErrorRowsFromFile(dir.File("t.uvx"), TlscList({Tlsc(2, 0.7)}), rows, &error)) << error;
  ASSERT_EQ(rows.GetSize(), 4);
  EXPECT_EQ(TlscRowLabel(rows[3].name, rows[3].id), "T4 (#4)");
  EXPECT_EQ(rows[1].phase_err_deg, 0.7);
  AObjArray<AMSfdItem> sefd;
  int n_if = 0;
  ASSERT_TRUE(SefdRowsFromFile(dir.File("t.uvx"), {}, sefd, &n_if, &error)) << error;
  EXPECT_EQ(n_if, 3);
  ASSERT_EQ(sefd.GetSize(), 4);
  EXPECT_EQ(Values(sefd[0]), (std::vector<double>{0, 0, 0}));

  // A missing file and a file that is not UVX: the rows stay as they were, the error names the file.
  WriteAllBytes(dir.File("junk.uvx"), "not a UVX file at all");
  for (const std::string& bad : {dir.File("none.uvx"), dir.File("junk.uvx")}) {
    error.clear();
    EXPECT_FALSE(ErrorRowsFromFile(bad, {}, rows, &error));
    EXPECT_EQ(error.rfind(bad + ": ", 0), 0u) << error;
    error.clear();
    EXPECT_FALSE(SefdRowsFromFile(bad, {}, sefd, &n_if, &error));
    EXPECT_EQ(error.rfind(bad + ": ", 0), 0u) << error;
  }
  EXPECT_EQ(rows.GetSize(), 4);
  EXPECT_EQ(n_if, 3);
}

// The first bad cell in row order, named by its row label and column heading.
TEST(TlscRows, TheFirstBadCellIsNamed) {
  struct Case {
    int row, column;
    double value;
    int want_row, want_column;
    const char* message;
  };
  const Case cases[] = {
      {1, 0, -0.1, 1, 0, "T2 (#2), Ph. err [Deg]: must be >= 0"},
      {2, 1, -1, 2, 1, "T3 (#3), Ampl. err [dB]: must be >= 0"},
      {0, 2, -45, -1, -1, ""},  // a negative phase 0 is a phase
      {2, 6, std::nan(""), 2, 6, "T3 (#3), Delay Acc.: not a finite number"},
      {1, 4, HUGE_VAL, 1, 4, "T2 (#2), Delay: not a finite number"},
  };
  for (const Case& c : cases) {
    AMTlscErrors rows = TlscList({Tlsc(1), Tlsc(2), Tlsc(3)});
    SetErrCell(rows[c.row], c.column, c.value);
    const ATableCellIssue issue = CheckErrorCells(rows);
    EXPECT_EQ(issue.row, c.want_row) << c.message;
    EXPECT_EQ(issue.column, c.want_column) << c.message;
    EXPECT_EQ(issue.message, c.message);
  }
  // Two bad cells: the earlier row first, whatever the columns.
  AMTlscErrors rows = TlscList({Tlsc(1), Tlsc(2, 0, -1), Tlsc(3, -1)});
  EXPECT_EQ(CheckErrorCells(rows).row, 1);

  AObjArray<AMSfdItem> sefd;
  sefd.Add(Sfd(1, {100, 200}));
  sefd.Add(Sfd(7, {100}));
  ATableCellIssue issue = CheckSefdCells(sefd, 2);
  EXPECT_EQ(issue.row, 1);
  EXPECT_EQ(issue.column, 1);
  EXPECT_EQ(issue.message, "T7 (#7), SEFD IF2: missing");
  EXPECT_FALSE(CheckSefdCells(sefd, 1));
  sefd[0].sefd[1] = -5;
  issue = CheckSefdCells(sefd, 2);
  EXPECT_EQ(issue.message, "T1 (#1), SEFD IF2: an SEFD must be >= 0");
}

// What a user types into a cell.
TEST(TlscRows, TypedCellTexts) {
  const AMTlscErrors rows = TlscList({Tlsc(1), Tlsc(5)});
  struct Case {
    int column;
    const char* text;
    bool ok;
    double value;
    const char* message;
  };
  const Case cases[] = {
      {0, " 0.25 ", true, 0.25, ""},
      {4, "-4e-9", true, -4e-9, ""},
      {0, "-1", false, 0, "T5 (#5), Ph. err [Deg]: must be >= 0"},
      {3, "", false, 0, "T5 (#5), Fringe rate: empty"},
      {2, "12deg", false, 0, "T5 (#5), Phase 0 [deg]: not a number: \"12deg\""},
      {5, "inf", false, 0, "T5 (#5), Fringe Acc.: not a number: \"inf\""},
      {6, "1e999", false, 0, "T5 (#5), Delay Acc.: not a number: \"1e999\""},
  };
  for (const Case& c : cases) {
    double v = -99;
    const ATableCellIssue issue = CheckErrorCellText(rows, 1, c.column, c.text, &v);
    EXPECT_EQ(!issue, c.ok) << c.text;
    EXPECT_EQ(issue.message, c.message);
    EXPECT_EQ(v, c.ok ? c.value : -99) << c.text;  // untouched on refusal
  }
  AObjArray<AMSfdItem> sefd;
  sefd.Add(Sfd(2, {1, 1}));
  double v = 0;
  EXPECT_FALSE(CheckSefdCellText(sefd, 0, 1, "1500", &v));
  EXPECT_EQ(v, 1500);
  EXPECT_EQ(CheckSefdCellText(sefd, 0, 1, "-3", &v).message, "T2 (#2), SEFD IF2: an SEFD must be >= 0");
  EXPECT_EQ(CheckSefdCellText(sefd, 0, 0, "x", &v).message, "T2 (#2), SEFD IF1: not a number: \"x\"");
  EXPECT_TRUE(CheckErrorCellText(rows, 2, 0, "1", &v));  // no such row
}

TEST(TlscRows, ApplyFillsEveryRowFromTheChosenOne) {
  AObjArray<AMSfdItem> sefd;
  sefd.Add(Sfd(1, {10, 20}));
  sefd.Add(Sfd(2, {290, 310}));
  sefd.Add(Sfd(3, {5}));  // short: filled to every IF
  EXPECT_EQ(FillSefdRows(sefd, 2, 1), 3);
  for (const AMSfdItem& t : sefd) EXPECT_EQ(Values(t), (std::vector<double>{290, 310})) << t.name;
  EXPECT_EQ(sefd[2].name, "T3");
  EXPECT_EQ(FillSefdRows(sefd, 2, 3), 0);
  EXPECT_EQ(FillSefdRows(sefd, 2, -1), 0);
}

TEST(TlscRows, IntervalTimes) {
  struct Case {
    const char* text;
    bool ok;
    double seconds;
  };
  const Case cases[] = {{"1:30:00", true, 5400}, {"01:00:30.5", true, 3630.5}, {"7200", true, 7200},
                        {" 12.5 ", true, 12.5},  {"-60", true, -60},          {"", false, 0},
                        {"1:30x", false, 0},      {"abc", false, 0},          {"nan", false, 0}};
  for (const Case& c : cases) {
    double s = -1;
    EXPECT_EQ(ParseIntervalTime(c.text, &s) != 0, c.ok) << c.text;
    EXPECT_EQ(s, c.ok ? c.seconds : -1) << c.text;
  }
}
