// `qvlmodel model` and `qvlmodel run` as a user calls them: exit codes, one-line errors naming the
// file, no partial outputs, and the JSON summaries.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "app/cli_test_util.h"
#include "uvx/uvx_test_util.h"

namespace {

const std::string kExamples = std::string(QVL_SOURCE_DATA) + "/examples/";

}  // namespace

TEST(ModelCommand, ComponentsMapsAndRenderFromTheCommandLine) {
  if (!std::filesystem::exists(QVLMODEL_EXE)) GTEST_SKIP() << "qvlmodel not built";
  TempDir dir;
  const std::string in = dir.File("s.uvx");
  WriteSampleFile(in, 12);

  Result r = Qvl("model " + Q(in) + " -m " + Q(kExamples + "core_jet.mdl") + " --json");
  ASSERT_EQ(r.status, 0) << r.out;
  nlohmann::json j = LastJson(r.out);
  EXPECT_EQ(j["output"], dir.File("s_mdl.uvx"));  // the default name
  EXPECT_EQ(j["groups"], 12);
  EXPECT_EQ(j["components"], 4);
  EXPECT_TRUE(std::filesystem::exists(dir.File("s_mdl.uvx")));

  // Render the model into a map, then model the file from that map.
  const std::string fits = dir.File("jet.fits"), exm = dir.File("jet.exm");
  r = Qvl("model --render " + Q(kExamples + "core_jet.mdl") + " --fov 0.02 0.02 --size 64 -o " + Q(fits));
  ASSERT_EQ(r.status, 0) << r.out;
  r = Qvl("model --render " + Q(kExamples + "core_jet.mdl") + " --fov 0.02 0.02 --size 64 -o " + Q(exm));
  ASSERT_EQ(r.status, 0) << r.out;
  r = Qvl("model " + Q(in) + " --map " + Q(fits) + " -o " + Q(dir.File("f.uvx")) + " --engine reference");
  ASSERT_EQ(r.status, 0) << r.out;
  r = Qvl("model " + Q(in) + " --map " + Q(exm) + " -o " + Q(dir.File("e.uvx")));
  ASSERT_EQ(r.status, 0) << r.out;
  // The same pixels by two routes and two engines give the same visibilities to float rounding.
  AUVXFile a, b;
  ASSERT_TRUE(a.Open(dir.File("f.uvx"), AUVXFile::modeRead) && b.Open(dir.File("e.uvx"), AUVXFile::modeRead));
  AUVXVisibility va(a), vb(b);
  for (std::int64_t g = 0; g < a.Groups(); ++g) {
    ASSERT_TRUE(a.SeekUVVis(g) && va.load(a) && b.SeekUVVis(g) && vb.load(b));
    for (int e = 0; e < va.Count(); ++e) EXPECT_NEAR(va.entries[e].re, vb.entries[e].re, 1e-5);
  }
  // The engine report: forced NUFFT at 1e-9 (kernel of 11 cells on a double grid), and the cost
  // model's own choice, each with its reason; both give the same visibilities.
  r = Qvl("model " + Q(in) + " --map " + Q(exm) + " -o " + Q(dir.File("n.uvx")) +
          " --engine nufft --accuracy 1e-9 --no-fast --json");
  ASSERT_EQ(r.status, 0) << r.out;
  j = LastJson(r.out);
  EXPECT_EQ(j["engine"]["name"], "nufft");
  EXPECT_EQ(j["engine"]["reason"], "chosen by the caller");
  EXPECT_EQ(j["engine"]["accuracy"], 1e-9);
  EXPECT_EQ(j["engine"]["points"], 12 * 2 * 3);
  EXPECT_EQ(j["engine"]["nufft"]["width"], 11);
  EXPECT_EQ(j["engine"]["nufft"]["precision"], "double");
  EXPECT_EQ(j["engine"]["nufft"]["grid"][0], 128);  // twice the 64 rows
  r = Qvl("model " + Q(in) + " --map " + Q(exm) + " -o " + Q(dir.File("a.uvx")) + " --no-fast --json");
  ASSERT_EQ(r.status, 0) << r.out;
  j = LastJson(r.out);
  EXPECT_NE(j["engine"]["reason"].get<std::string>().find("72 UV points"), std::string::npos) << j.dump();
  EXPECT_GT(j["engine"]["estimated_s"]["nufft"].get<double>(), 0);
  AUVXFile n, a2;
  ASSERT_TRUE(n.Open(dir.File("n.uvx"), AUVXFile::modeRead) && a2.Open(dir.File("a.uvx"), AUVXFile::modeRead));
  AUVXVisibility vn(n), va2(a2);
  for (std::int64_t g = 0; g < n.Groups(); ++g) {
    ASSERT_TRUE(n.SeekUVVis(g) && vn.load(n) && a2.SeekUVVis(g) && va2.load(a2));
    for (int e = 0; e < vn.Count(); ++e) EXPECT_NEAR(vn.entries[e].im, va2.entries[e].im, 1e-5);
  }
}

TEST(ModelCommand, RefusalsNameTheProblemAndLeaveNoFile) {
  if (!std::filesystem::exists(QVLMODEL_EXE)) GTEST_SKIP() << "qvlmodel not built";
  TempDir dir;
  const std::string in = dir.File("s.uvx");
  WriteSampleFile(in, 3);
  const std::string out = dir.File("o.uvx");
  struct Case {
    std::string args, says;
  } cases[] = {
      {"model " + Q(in) + " -o " + Q(out), "give exactly one model"},
      {"model " + Q(in) + " -m " + Q(kExamples + "core_jet.mdl") + " --map x.exm -o " + Q(out), "exactly one model"},
      {"model " + Q(in) + " -m " + Q(dir.File("absent.mdl")) + " -o " + Q(out), "absent.mdl"},
      {"model " + Q(dir.File("absent.uvx")) + " -m " + Q(kExamples + "core_jet.mdl") + " -o " + Q(out), "absent.uvx"},
      {"model " + Q(in) + " --map " + Q(dir.File("none.exm")) + " -o " + Q(out), "none.exm"},
      {"model " + Q(in) + " --map-dir " + Q(dir.File("")) + " -o " + Q(out), "Not found .exm map file(s) in folder:"},
      {"model " + Q(in) + " -m " + Q(kExamples + "core_jet.mdl") + " --mfs " + Q(in) + " -o " + Q(out), "s.uvx"},
      {"model --render " + Q(kExamples + "core_jet.mdl") + " --fov 0 1 -o " + Q(dir.File("m.exm")), "--fov"},
      {"model " + Q(in) + " --map x.exm --engine fastest -o " + Q(out), "--engine must be"},
      {"model " + Q(in) + " --map x.exm --accuracy 0 -o " + Q(out), "--accuracy must lie"},
      {"model " + Q(in) + " -m " + Q(kExamples + "core_jet.mdl") + " --engine nufft -o " + Q(out), "map models"},
  };
  for (const Case& c : cases) {
    const Result r = Qvl(c.args);
    EXPECT_NE(r.status, 0) << c.args;
    EXPECT_NE(r.out.find(c.says), std::string::npos) << c.args << "\n" << r.out;
    EXPECT_FALSE(std::filesystem::exists(out)) << c.args;
    EXPECT_FALSE(std::filesystem::exists(dir.File("m.exm")));
  }
}

TEST(RunCommand, TheExampleSettingsFileFromTheCommandLine) {
  if (!std::filesystem::exists(QVLMODEL_EXE)) GTEST_SKIP() << "qvlmodel not built";
  TempDir dir;
  for (const char* f : {"QvlModel.ini", "ground_space_3c345.json", "core_jet.mdl"})
    std::filesystem::copy_file(kExamples + f, dir.File(f));
  const std::string base = " --base " + Q(QVL_SOURCE_DATA);
  Result r = Qvl("run --settings " + Q(dir.File("QvlModel.ini")) + base + " --tasks 1,2 --json");
  ASSERT_EQ(r.status, 0) << r.out;
  const nlohmann::json j = nlohmann::json::parse(r.out.substr(r.out.find("[\n")));
  ASSERT_EQ(j.size(), 2u);
  EXPECT_EQ(j[1]["output"], dir.File("3C345_model.uvx"));
  EXPECT_TRUE(j[1]["ok"]);

  r = Qvl("run --settings " + Q(dir.File("QvlModel.ini")) + base + " --tasks 1,7");
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.out.find("--tasks"), std::string::npos) << r.out;
  r = Qvl("run --settings " + Q(dir.File("absent.ini")) + base);
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.out.find("absent.ini"), std::string::npos) << r.out;
}
