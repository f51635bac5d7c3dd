// The tab-separated errors and SEFD tables: exact round trips, the liberties of the format
// (column order, letter case, comments, CRLF) and every refusal with its line and column; the
// templates made from a file's AN table.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <sstream>

#include "core/text.h"
#include "errors/error_tables.h"
#include "errors_test_util.h"

namespace {

std::string ErrorsFrom(const std::string& text, AMTlscErrors* out = nullptr) {
  std::istringstream in(text);
  AMTlscErrors tlscs;
  std::string error;
  const int ok = ReadErrorsTable(in, tlscs, &error);
  if (out) *out = tlscs;
  return ok ? std::string("ok") : error;
}

std::string SefdFrom(const std::string& text, AObjArray<AMSfdItem>* out = nullptr, int* n_if = nullptr) {
  std::istringstream in(text);
  AObjArray<AMSfdItem> items;
  int n = -1;
  std::string error;
  const int ok = ReadSefdTable(in, items, &n, &error);
  if (out) *out = items;
  if (n_if) *n_if = n;
  return ok ? std::string("ok") : error;
}

const char* kHeader = "Name\tID\tPh. err [Deg]\tAmpl. err [dB]\tPhase 0 [deg]\tFringe rate\tDelay\tFringe Acc.\tDelay Acc.\n";

// Every field of an entry, the doubles with all their digits.
std::string Fields(const AMTlscErrItem& t) {
  char buf[512];
  std::snprintf(buf, sizeof buf, "%s|%d|%.17g|%.17g|%.17g|%.17g|%.17g|%.17g|%.17g", t.name.c_str(), t.id,
                t.phase_err_deg, t.ampl_err_db, t.phase0_deg, t.fringe_rate, t.delay, t.fringe_acc, t.delay_acc);
  return buf;
}

AMTlscErrItem Named(const std::string& name, AMTlscErrItem t) {
  t.name = name;
  return t;
}

}  // namespace

TEST(ErrorTables, ErrorsRoundTripKeepsEveryDouble) {
  const AMTlscErrItem a = Named("VLBA_BR", Tlsc(1, 0.1, 1.0 / 3.0, -123.456789012345, 1e-3, 2.5e-9, -7e-7, 1.23456789e-17));
  std::ostringstream out;
  WriteErrorsTable(out, TlscList({a, Named("With\tTab", Tlsc(255))}));
  EXPECT_EQ(out.str().substr(0, out.str().find('\n') + 1), kHeader);
  AMTlscErrors back;
  ASSERT_EQ(ErrorsFrom(out.str(), &back), "ok");
  ASSERT_EQ(back.GetSize(), 2);
  EXPECT_EQ(Fields(back[0]), Fields(a));
  EXPECT_EQ(Fields(back[1]), Fields(Named("With Tab", Tlsc(255))));
}

TEST(ErrorTables, ErrorsFormatLiberties) {
  // Columns in another order and letter case, an extra column, comments, blank lines, CRLF,
  // blanks around fields, an empty trailing field.
  const std::string text =
      "# telescope errors\r\n"
      "\r\n"
      "delay\tNAME\tid\tFringe Rate\tph. ERR [deg]\tAmpl. err [dB]\tPhase 0 [deg]\tFringe Acc.\tDelay Acc.\tNote\r\n"
      "1e-9\t Mk2 \t 7\t0.5\t1\t0\t45\t0\t0\tanything\t\r\n"
      "   # another comment\n"
      "-2e-9\tOther\t8\t0\t0\t0.25\t0\t1e-5\t2e-18\t\n";
  AMTlscErrors t;
  ASSERT_EQ(ErrorsFrom(text, &t), "ok");
  ASSERT_EQ(t.GetSize(), 2);
  EXPECT_EQ(Fields(t[0]), Fields(Named("Mk2", Tlsc(7, 1.0, 0.0, 45.0, 0.5, 1e-9))));
  EXPECT_EQ(Fields(t[1]), Fields(Named("Other", Tlsc(8, 0.0, 0.25, 0.0, 0.0, -2e-9, 1e-5, 2e-18))));
  // A header and no rows: an empty list.
  EXPECT_EQ(ErrorsFrom(kHeader, &t), "ok");
  EXPECT_EQ(t.GetSize(), 0);
}

TEST(ErrorTables, ErrorsRefusalsNameLineAndColumn) {
  const std::string h = kHeader;
  EXPECT_EQ(ErrorsFrom(""), "no header line");
  EXPECT_EQ(ErrorsFrom("# only a comment\n"), "no header line");
  EXPECT_EQ(ErrorsFrom("Name\tID\tPh. err [Deg]\n"), "header: column \"Ampl. err [dB]\" missing");
  EXPECT_EQ(ErrorsFrom("Name\tPh. err [Deg]\n"), "header: column \"ID\" missing");
  EXPECT_EQ(ErrorsFrom("Name\tID\tname\n"), "line 1: column \"name\" appears twice");
  EXPECT_EQ(ErrorsFrom(h + "A\t1\t0\t0\t0\t0\tabc\t0\t0\n"), "line 2, column \"Delay\": not a number: \"abc\"");
  EXPECT_EQ(ErrorsFrom(h + "\n# c\nA\t1\t0\t0\t0\t0\t1e-9x\t0\t0\n"),
            "line 4, column \"Delay\": not a number: \"1e-9x\"");
  EXPECT_EQ(ErrorsFrom(h + "A\t1\t0\t0\t0\t0\t1e999\t0\t0\n"), "line 2, column \"Delay\": not a number: \"1e999\"");
  EXPECT_EQ(ErrorsFrom(h + "A\t1\t0\t0\t0\t0\tnan\t0\t0\n"), "line 2, column \"Delay\": not a number: \"nan\"");
  EXPECT_EQ(ErrorsFrom(h + "A\t1\t0\t0\t0\t0\n"), "line 2, column \"Delay\": missing");
  EXPECT_EQ(ErrorsFrom(h + "A\t1\t0\t\t0\t0\t0\t0\t0\n"), "line 2, column \"Ampl. err [dB]\": empty");
  EXPECT_EQ(ErrorsFrom(h + "A\t256\t0\t0\t0\t0\t0\t0\t0\n"), "line 2, column \"ID\": not a telescope number 0..255: \"256\"");
  EXPECT_EQ(ErrorsFrom(h + "A\t1.5\t0\t0\t0\t0\t0\t0\t0\n"), "line 2, column \"ID\": not a telescope number 0..255: \"1.5\"");
  EXPECT_EQ(ErrorsFrom(h + "A\t\t0\t0\t0\t0\t0\t0\t0\n"), "line 2, column \"ID\": not a telescope number 0..255: \"\"");
  EXPECT_EQ(ErrorsFrom(h + "A\t1\t-1\t0\t0\t0\t0\t0\t0\n"), "line 2, column \"Ph. err [Deg]\": must be >= 0");
  EXPECT_EQ(ErrorsFrom(h + "A\t1\t0\t-0.5\t0\t0\t0\t0\t0\n"), "line 2, column \"Ampl. err [dB]\": must be >= 0");
  EXPECT_EQ(ErrorsFrom(h + "A\t1\t0\t0\t0\t0\t0\t0\t0\tx\n"), "line 2: more fields than the header has columns");
}

TEST(ErrorTables, SefdRoundTripAndRefusals) {
  AObjArray<AMSfdItem> items;
  items.Add(AMSfdItem{"EFLSBERG", 3, {}});
  for (double v : {20.0, 1.0 / 7.0, 0.0}) items[0].sefd.Add(v);
  std::ostringstream out;
  WriteSefdTable(out, items, 3);
  EXPECT_EQ(out.str(), "Name\tID\tSEFD IF1\tSEFD IF2\tSEFD IF3\nEFLSBERG\t3\t20\t" + valToStr(1.0 / 7.0) + "\t0\n");
  AObjArray<AMSfdItem> back;
  int n_if = 0;
  ASSERT_EQ(SefdFrom(out.str(), &back, &n_if), "ok");
  EXPECT_EQ(n_if, 3);
  ASSERT_EQ(back.GetSize(), 1);
  EXPECT_EQ(back[0].name, "EFLSBERG");
  EXPECT_EQ(back[0].id, 3);
  ASSERT_EQ(back[0].sefd.GetSize(), 3);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(back[0].sefd[i], items[0].sefd[i]) << i;
  // IF columns in any order.
  ASSERT_EQ(SefdFrom("SEFD IF2\tName\tID\tSEFD IF1\n5\tA\t1\t6\n", &back, &n_if), "ok");
  EXPECT_EQ(n_if, 2);
  EXPECT_EQ(back[0].sefd[0], 6.0);
  EXPECT_EQ(back[0].sefd[1], 5.0);

  EXPECT_EQ(SefdFrom("Name\tID\n"), "header: column \"SEFD IF1\" missing");
  EXPECT_EQ(SefdFrom("Name\tID\tSEFD IF1\tSEFD IF3\n"), "header: column \"SEFD IF2\" missing");
  EXPECT_EQ(SefdFrom("Name\tID\tSEFD IF2\n"), "header: column \"SEFD IF1\" missing");
  EXPECT_EQ(SefdFrom("Name\tID\tSEFD IF1\nA\t1\t-3\n"), "line 2, column \"SEFD IF1\": an SEFD must be >= 0");
  EXPECT_EQ(SefdFrom("Name\tID\tSEFD IF1\tSEFD IF2\nA\t1\t3\n"), "line 2, column \"SEFD IF2\": missing");
  EXPECT_EQ(SefdFrom("Name\tID\tSEFD IF1\nA\t1\t3 Jy\n"), "line 2, column \"SEFD IF1\": not a number: \"3 Jy\"");
}

// A header of 20 000 columns took seconds when headings were compared pairwise; a repeated
// heading is still found, wherever it stands, and quoted text from the file comes back escaped.
TEST(ErrorTables, WideHeadersAreCheckedInLinearTimeAndQuotesAreEscaped) {
  std::string wide = "Name\tID";
  for (int k = 0; k < 20000; ++k) wide += "\tX" + std::to_string(k);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(ErrorsFrom(wide + "\tname\n"), "line 1: column \"name\" appears twice");
  EXPECT_EQ(ErrorsFrom(wide + "\n"), "header: column \"Ph. err [Deg]\" missing");
  std::string sefd = "Name\tID";
  for (int k = 20000; k >= 1; --k) sefd += "\tSEFD IF" + std::to_string(k);
  AObjArray<AMSfdItem> items;
  int n_if = 0;
  std::string row = "A\t1";
  for (int k = 20000; k >= 1; --k) row += "\t" + std::to_string(k);
  ASSERT_EQ(SefdFrom(sefd + "\n" + row + "\n", &items, &n_if), "ok");
  EXPECT_EQ(n_if, 20000);
  EXPECT_EQ(items[0].sefd[0], 1.0);
  EXPECT_EQ(items[0].sefd[19999], 20000.0);
  EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 2.0);

  EXPECT_EQ(SefdFrom("Name\tID\tSEFD IF1\nA\t1\t\x1b]0;title\x07\n"),
            "line 2, column \"SEFD IF1\": not a number: \"\\x1B]0;title\\x07\"");
  EXPECT_EQ(ErrorsFrom("Name\tID\t\x1b[2J\t\x1B[2j\n"), "line 1: column \"\\x1B[2j\" appears twice");
}

TEST(ErrorTables, TemplatesFromTheAntennaTableAndFileErrors) {
  TempDir dir;
  TestFileShape shape;
  shape.n_if = 3;
  shape.if_offsets_hz = {0.0, 8e6, 16e6};
  shape.n_telescopes = 5;
  shape.records = AllBaselines(5, 2, 10.0);
  const std::string path = dir.File("t.uvx");
  WriteTestFile(path, shape);
  AUVXFile f;
  ASSERT_TRUE(f.Open(path, AUVXFile::modeRead)) << f.Error();
  AMTlscErrors errs;
  std::string error;
  ASSERT_TRUE(MakeErrorsTemplate(f, errs, &error)) << error;
  ASSERT_EQ(errs.GetSize(), 5);
  EXPECT_EQ(Fields(errs[4]), Fields(Tlsc(5)));  // T5, number 5, every error 0
  AObjArray<AMSfdItem> sefd;
  int n_if = 0;
  ASSERT_TRUE(MakeSefdTemplate(f, sefd, &n_if, &error)) << error;
  EXPECT_EQ(n_if, 3);
  ASSERT_EQ(sefd.GetSize(), 5);
  EXPECT_EQ(sefd[2].sefd.GetSize(), 3);
  // The printed templates read back.
  std::ostringstream e_text, s_text;
  WriteErrorsTable(e_text, errs);
  WriteSefdTable(s_text, sefd, n_if);
  AMTlscErrors e_back;
  EXPECT_EQ(ErrorsFrom(e_text.str(), &e_back), "ok");
  EXPECT_EQ(e_back.GetSize(), 5);
  int n_back = 0;
  EXPECT_EQ(SefdFrom(s_text.str(), nullptr, &n_back), "ok");
  EXPECT_EQ(n_back, 3);

  // Files: a missing one and a bad one name the file.
  AMTlscErrors t;
  EXPECT_FALSE(LoadErrorsTable(dir.File("none.tsv"), t, &error));
  EXPECT_EQ(error, dir.File("none.tsv") + ": cannot open the file");
  WriteAllBytes(dir.File("bad.tsv"), std::string(kHeader) + "A\t1\t0\t0\t0\t0\tx\t0\t0\n");
  EXPECT_FALSE(LoadErrorsTable(dir.File("bad.tsv"), t, &error));
  EXPECT_EQ(error, dir.File("bad.tsv") + ": line 2, column \"Delay\": not a number: \"x\"");
  WriteAllBytes(dir.File("sefd.tsv"), "Name\tID\tSEFD IF1\nA\t1\t\n");
  EXPECT_FALSE(LoadSefdTable(dir.File("sefd.tsv"), sefd, &n_if, &error));
  EXPECT_EQ(error, dir.File("sefd.tsv") + ": line 2, column \"SEFD IF1\": empty");

  // A file without an AN table.
  AUVXFile bare;
  ASSERT_TRUE(bare.Open(dir.File("bare.uvx"), AUVXFile::modeCreate));
  AUVXHeader h;
  h.n_if = 1;
  h.n_channels = 1;
  h.n_pol = 1;
  ASSERT_TRUE(bare.Write(h));
  ASSERT_TRUE(bare.Close());
  ASSERT_TRUE(bare.Open(dir.File("bare.uvx"), AUVXFile::modeRead)) << bare.Error();
  EXPECT_FALSE(MakeErrorsTemplate(bare, errs, &error));
  EXPECT_NE(error.find("no usable telescope table (AN)"), std::string::npos) << error;
}
