// `qvlmodel errors` and `qvlmodel noise`: templates, repeatable runs with the start value reported,
// the JSON summary, refusals of bad tables and arguments (one line, non-zero exit, no output), and
// the shipped example tables against the shipped example observation. Skipped when the program
// has not been built.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>

#include "errors/error_tables.h"
#include "errors_test_util.h"

namespace {

struct CommandResult {
  int status = -1;
  std::string out, err;
};

CommandResult RunQvl(const TempDir& dir, const std::string& args) {
  CommandResult r;
  const std::string err_path = dir.File("stderr.txt");
  FILE* p = ::popen((std::string(QVLMODEL_EXE) + " " + args + " 2>'" + err_path + "'").c_str(), "r");
  if (!p) return r;
  char buf[4096];
  std::size_t n;
  while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) r.out.append(buf, n);
  const int st = ::pclose(p);
  r.status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
  r.err = ReadAll(err_path);
  return r;
}

bool HaveExe() { return std::filesystem::exists(QVLMODEL_EXE); }

std::string Q(const std::string& path) { return "'" + path + "'"; }

// A file of `times` time steps of 10 s on every baseline of three telescopes.
std::string ThreeTelescopes(const TempDir& dir, const std::string& name, int times) {
  TestFileShape shape;
  shape.records = AllBaselines(3, times, 10.0);
  WriteTestFile(dir.File(name), shape);
  return dir.File(name);
}

const char* kErrorsHeader =
    "Name\tID\tPh. err [Deg]\tAmpl. err [dB]\tPhase 0 [deg]\tFringe rate\tDelay\tFringe Acc.\tDelay Acc.\n";

}  // namespace

TEST(ErrorsCommand, TemplateRunRepeatAndJson) {
  if (!HaveExe()) GTEST_SKIP() << "qvlmodel not built";
  TempDir dir;
  const std::string in = ThreeTelescopes(dir, "obs.uvx", 30);

  const CommandResult tpl = RunQvl(dir, "errors --template " + Q(in));
  ASSERT_EQ(tpl.status, 0) << tpl.err;
  std::istringstream tpl_in(tpl.out);
  AMTlscErrors list;
  std::string error;
  ASSERT_TRUE(ReadErrorsTable(tpl_in, list, &error)) << error << tpl.out;
  ASSERT_EQ(list.GetSize(), 3);
  EXPECT_EQ(list[1].name, "T2");
  EXPECT_EQ(list[1].id, 2);
  list[0].phase0_deg = 30.0;
  list[1].fringe_rate = 0.01;
  list[2].phase_err_deg = 1.0;
  std::ostringstream table;
  WriteErrorsTable(table, list);
  WriteAllBytes(dir.File("e.tsv"), table.str());

  const CommandResult a = RunQvl(dir, "errors " + Q(in) + " --table " + Q(dir.File("e.tsv")) + " --random-start 5 --json");
  ASSERT_EQ(a.status, 0) << a.err;
  const auto j = nlohmann::json::parse(a.out);
  EXPECT_EQ(j["rng_start"], 5);
  EXPECT_EQ(j["groups"], 90);
  EXPECT_EQ(j["output"], dir.File("obs_err.uvx"));
  EXPECT_NE(a.err.find("random start value 5 (--random-start 5 repeats this run)"), std::string::npos) << a.err;
  const std::string first = ReadAll(dir.File("obs_err.uvx"));
  EXPECT_NE(first, ReadAll(in));

  const CommandResult b = RunQvl(dir, "errors " + Q(in) + " -o " + Q(dir.File("b.uvx")) + " --table " +
                                       Q(dir.File("e.tsv")) + " --random-start 5 --interval 1:00:00 3630");
  ASSERT_EQ(b.status, 0) << b.err;
  EXPECT_NE(b.out.find("Written:"), std::string::npos);
  // Same start value, a narrower interval: records after 3630 s are untouched.
  const TestFileData narrow = ReadTestFile(dir.File("b.uvx"));
  const TestFileData orig = ReadTestFile(in);
  ASSERT_EQ(narrow.groups.size(), orig.groups.size());
  for (std::size_t g = 0; g < narrow.groups.size(); ++g)
    if (narrow.groups[g].time > 30.0) { ASSERT_TRUE(SameBytes(narrow.vis[g], orig.vis[g])) << g; }
  const CommandResult c = RunQvl(dir, "errors " + Q(in) + " -o " + Q(dir.File("c.uvx")) + " --table " +
                                       Q(dir.File("e.tsv")) + " --random-start 5");
  ASSERT_EQ(c.status, 0) << c.err;
  EXPECT_EQ(ReadAll(dir.File("c.uvx")), first);
}

TEST(ErrorsCommand, FailuresGiveOneLineNonZeroExitAndNoOutput) {
  if (!HaveExe()) GTEST_SKIP() << "qvlmodel not built";
  TempDir dir;
  const std::string in = ThreeTelescopes(dir, "f.uvx", 5);
  const std::string out = dir.File("f_err.uvx");
  WriteAllBytes(dir.File("bad.tsv"), std::string(kErrorsHeader) + "T1\t1\t0\t0\t0\t0\t0\t0\t0\nT2\t2\t0\t0\t0\t0\t2 ns\t0\t0\n");
  const CommandResult bad = RunQvl(dir, "errors " + Q(in) + " --table " + Q(dir.File("bad.tsv")));
  EXPECT_EQ(bad.status, 2);
  EXPECT_EQ(bad.err, "qvlmodel errors: " + dir.File("bad.tsv") + ": line 3, column \"Delay\": not a number: \"2 ns\"\n");

  WriteAllBytes(dir.File("ok.tsv"), kErrorsHeader);
  const CommandResult none =
      RunQvl(dir, "errors " + Q(in) + " --table " + Q(dir.File("ok.tsv")) + " --no-phase --no-amplitude");
  EXPECT_EQ(none.status, 2);
  EXPECT_EQ(none.err, "qvlmodel errors: Not selected Errors type. Please select Errors type.\n");

  const CommandResult interval = RunQvl(dir, "errors " + Q(in) + " --table " + Q(dir.File("ok.tsv")) + " --interval 1:00 x");
  EXPECT_EQ(interval.status, 2);
  EXPECT_EQ(std::count(interval.err.begin(), interval.err.end(), '\n'), 1) << interval.err;

  const CommandResult missing = RunQvl(dir, "errors " + Q(dir.File("nothere.uvx")) + " --table " + Q(dir.File("ok.tsv")));
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.err.find("nothere.uvx: cannot open"), std::string::npos) << missing.err;

  const CommandResult no_table = RunQvl(dir, "errors " + Q(in));
  EXPECT_EQ(no_table.status, 2);
  const CommandResult tpl_missing = RunQvl(dir, "errors --template " + Q(dir.File("nothere.uvx")));
  EXPECT_EQ(tpl_missing.status, 2);
  EXPECT_FALSE(std::filesystem::exists(out));
}

TEST(NoiseCommand, TemplateRunsAndRefusals) {
  if (!HaveExe()) GTEST_SKIP() << "qvlmodel not built";
  TempDir dir;
  const std::string in = ThreeTelescopes(dir, "m.uvx", 20);

  const CommandResult tpl = RunQvl(dir, "noise --template " + Q(in));
  ASSERT_EQ(tpl.status, 0) << tpl.err;
  EXPECT_EQ(tpl.out.substr(0, tpl.out.find('\n')), "Name\tID\tSEFD IF1\tSEFD IF2");
  std::istringstream tpl_in(tpl.out);
  AObjArray<AMSfdItem> items;
  int n_if = 0;
  std::string error;
  ASSERT_TRUE(ReadSefdTable(tpl_in, items, &n_if, &error)) << error;
  for (AMSfdItem& t : items) t.sefd[0] = t.sefd[1] = 1000.0;
  std::ostringstream table;
  WriteSefdTable(table, items, n_if);
  WriteAllBytes(dir.File("s.tsv"), table.str());

  const std::string common = "noise " + Q(in) + " --sefd " + Q(dir.File("s.tsv")) + " --duration 60 --bandwidth 16e6";
  const CommandResult a = RunQvl(dir, common + " --random-start 11 --json");
  ASSERT_EQ(a.status, 0) << a.err;
  const auto j = nlohmann::json::parse(a.out);
  EXPECT_EQ(j["rng_start"], 11);
  EXPECT_EQ(j["model"], "classic");
  EXPECT_EQ(j["output"], dir.File("m_snt.uvx"));
  // Noise of amplitude 0.0323 Jy on every entry.
  const TestFileData orig = ReadTestFile(in), noisy = ReadTestFile(dir.File("m_snt.uvx"));
  ASSERT_EQ(noisy.vis.size(), orig.vis.size());
  for (int e = 0; e < orig.vis[0].Count(); ++e) {
    const double dre = noisy.vis[0].entries[e].re - orig.vis[0].entries[e].re;
    const double dim = noisy.vis[0].entries[e].im - orig.vis[0].entries[e].im;
    EXPECT_NEAR(std::hypot(dre, dim), 0.0323, 1e-4) << e;
  }
  const CommandResult g = RunQvl(dir, common + " -o " + Q(dir.File("g.uvx")) + " --gaussian --efficiency 0.9 --random-start 11 --json");
  ASSERT_EQ(g.status, 0) << g.err;
  EXPECT_EQ(nlohmann::json::parse(g.out)["model"], "gaussian");

  const CommandResult eff = RunQvl(dir, common + " -o " + Q(dir.File("x.uvx")) + " --efficiency 0.9");
  EXPECT_NE(eff.status, 0);
  const CommandResult no_bw = RunQvl(dir, "noise " + Q(in) + " --sefd " + Q(dir.File("s.tsv")) + " --duration 60");
  EXPECT_EQ(no_bw.status, 2);
  WriteAllBytes(dir.File("one.tsv"), "Name\tID\tSEFD IF1\nT1\t1\t100\nT2\t2\t100\nT3\t3\t100\n");
  const CommandResult short_table =
      RunQvl(dir, "noise " + Q(in) + " -o " + Q(dir.File("x.uvx")) + " --sefd " + Q(dir.File("one.tsv")) +
                   " --duration 60 --bandwidth 16e6");
  EXPECT_EQ(short_table.status, 1);
  EXPECT_NE(short_table.err.find("T1 (#1) has 1 SEFD value(s); the file has 2 IF(s)"), std::string::npos) << short_table.err;
  EXPECT_FALSE(std::filesystem::exists(dir.File("x.uvx")));
}

TEST(ShippedTables, FitTheExampleObservation) {
  if (!HaveExe()) GTEST_SKIP() << "qvlmodel not built";
  TempDir dir;
  const std::string data = QVL_SOURCE_DATA;
  const std::string uvx = dir.File("ex.uvx");
  const CommandResult cfg = RunQvl(dir, "configure " + Q(data + "/examples/ground_space_3c345.json") + " -o " + Q(uvx) +
                                         " --base " + Q(data) + " --json");
  ASSERT_EQ(cfg.status, 0) << cfg.err;
  // The shipped tables name exactly the telescopes of the file (names and numbers), one SEFD per IF.
  AUVXFile f;
  ASSERT_TRUE(f.Open(uvx, AUVXFile::modeRead)) << f.Error();
  AMTlscErrors want, errs;
  AObjArray<AMSfdItem> sefd;
  int n_if = 0;
  std::string error;
  ASSERT_TRUE(MakeErrorsTemplate(f, want, &error)) << error;
  ASSERT_TRUE(LoadErrorsTable(data + "/examples/errors.tsv", errs, &error)) << error;
  ASSERT_TRUE(LoadSefdTable(data + "/examples/sefd.tsv", sefd, &n_if, &error)) << error;
  EXPECT_EQ(n_if, f.NIF());
  ASSERT_EQ(errs.GetSize(), want.GetSize());
  ASSERT_EQ(sefd.GetSize(), want.GetSize());
  for (int k = 0; k < want.GetSize(); ++k) {
    EXPECT_EQ(errs[k].name, want[k].name);
    EXPECT_EQ(errs[k].id, want[k].id);
    EXPECT_EQ(sefd[k].name, want[k].name);
    EXPECT_EQ(sefd[k].id, want[k].id);
  }
  const CommandResult e = RunQvl(dir, "errors " + Q(uvx) + " --table " + Q(data + "/examples/errors.tsv") + " --random-start 1 --json");
  ASSERT_EQ(e.status, 0) << e.err;
  EXPECT_EQ(nlohmann::json::parse(e.out)["unchanged_missing_telescope"], 0);
  const CommandResult n = RunQvl(dir, "noise " + Q(dir.File("ex_err.uvx")) + " --sefd " + Q(data + "/examples/sefd.tsv") +
                                       " --duration 60 --bandwidth 8e6 --random-start 1 --json");
  ASSERT_EQ(n.status, 0) << n.err;
  EXPECT_EQ(nlohmann::json::parse(n.out)["unchanged_missing_telescope"], 0);
  EXPECT_TRUE(std::filesystem::exists(dir.File("ex_err_snt.uvx")));
}
