// The settings model in "QvlModel.ini": defaults on an empty file, the key names and their
// indices, round trips of every section, the spectral-index map rows, and the rule that tasks 3
// and 4 load their telescope lists only when their input file opens.
#include <gtest/gtest.h>

#include <sstream>

#include "app/settings_store.h"

namespace {

AIniFile FromText(const std::string& text) {
  std::istringstream in(text);
  AIniFile ini;
  ini.Parse(in);
  return ini;
}

const UVXOpensFn kOpens = [](const std::string& p) { return !p.empty(); };
const UVXOpensFn kNeverOpens = [](const std::string&) { return false; };

AMSettings FullSettings() {
  AMSettings st;
  st.obs_file = "/obs/a.obs";
  st.model_page.model_file = "/m/jet.mdl";
  st.model_page.fov_ra = 0.02;
  st.model_page.fov_dec = 0.03;
  st.model_page.ext_mdl = "/m/map.exm";
  st.model_page.use_ext = 2;
  st.model_page.ext_mdl_path = "/m/series";
  st.model_page.ext_mdl_tstep = 300.5;
  st.work_item.in_path = "/d/in.uvx";
  st.work_item.out_path = "/d/out.uvx";
  st.work_item.add_type = 0;
  st.work_item.source = "3C345";
  st.work_item.fast = 0;
  st.work_item.use_mfs = 1;
  st.work_item.si_map.Resize(2, 3);
  for (std::uint32_t r = 0; r < 2; ++r)
    for (std::uint32_t c = 0; c < 3; ++c) st.work_item.si_map(r, c) = -0.7f + 0.1f * float(r * 3 + c);
  st.errors.in_path = "/d/mdl.uvx";
  st.errors.out_path = "/d/err.uvx";
  st.errors.use_phase_err = 1;
  st.errors.use_ampl_err = 0;
  st.errors.has_interval = true;
  st.errors.start_s = 3600;
  st.errors.stop_s = 7200.25;
  st.errors.segment_s = 600;
  st.errors.step_s = 30;
  st.errors.rng_start = 12345u;
  st.errors.tlscs.SetSize(2);
  st.errors.tlscs[0] = AMTlscErrItem{"EFLSBERG", 1, 10.0, 0.5, 15.0, 1e-3, 2e-9, 1e-6, 3e-20};
  st.errors.tlscs[1] = AMTlscErrItem{"ONSALA60", 4, 0.1, 0.0, -30.0, 0.0, 0.0, 0.0, 0.0};
  st.noise.in_path = "/d/err.uvx";
  st.noise.out_path = "/d/err_snt.uvx";
  st.noise.sfd.duration_s = 60;
  st.noise.sfd.bandwidth_hz = 16e6;
  st.noise.sfd.n_if = 2;
  st.noise.gaussian = true;
  st.noise.efficiency = 0.7;
  st.noise.sfd.items.SetSize(2);
  st.noise.sfd.items[0].name = "EFLSBERG";
  st.noise.sfd.items[0].id = 1;
  st.noise.sfd.items[0].sefd.Add(20.0);
  st.noise.sfd.items[0].sefd.Add(25.5);
  st.noise.sfd.items[1].name = "ONSALA60";
  st.noise.sfd.items[1].id = 4;
  st.noise.sfd.items[1].sefd.Add(900.0);
  st.noise.sfd.items[1].sefd.Add(1100.0);
  st.cur_task = 3;
  return st;
}

}  // namespace

TEST(SettingsStore, AnEmptyFileGivesEveryDefault) {
  AMSettings st;
  st.cur_task = 9;
  st.work_item.fast = 0;
  LoadSettings(AIniFile{}, st, kOpens);
  EXPECT_EQ(st.obs_file, "");
  EXPECT_EQ(st.model_page.model_file, "");
  EXPECT_EQ(st.model_page.fov_ra, 1.0);
  EXPECT_EQ(st.model_page.fov_dec, 1.0);
  EXPECT_EQ(st.model_page.use_ext, 0);
  EXPECT_EQ(st.model_page.ext_mdl_tstep, 600.0);
  EXPECT_EQ(st.work_item.add_type, 1);
  EXPECT_EQ(st.work_item.fast, 1);
  EXPECT_EQ(st.work_item.use_mfs, 0);
  EXPECT_EQ(st.work_item.si_map.rows, 0u);
  EXPECT_EQ(st.work_item.si_map.cols, 0u);
  EXPECT_EQ(st.errors.use_phase_err, 1);
  EXPECT_EQ(st.errors.use_ampl_err, 1);
  EXPECT_EQ(st.errors.tlscs.GetSize(), 0);
  EXPECT_EQ(st.noise.sfd.items.GetSize(), 0);
  EXPECT_EQ(st.cur_task, 1);
}

TEST(SettingsStore, EverySectionRoundTripsUnderItsClassicKeys) {
  const AMSettings st = FullSettings();
  AIniFile ini;
  SaveSettings(ini, st);
  const std::string text = ini.Text();
  // The key names as the desktop program has always written them.
  for (const char* line :
       {"[QVLMODEL-PROCESS1]\nOBS FILE=/obs/a.obs\n", "[QVLMODEL-PROCESS2]\nMODEL FILE=/m/jet.mdl\nFOV RA=0.02\n",
        "EXT_MDL_TSTEP=300.5\n", "UVX BFAST=0\nUVX USEMFS=1\n", "[QVLMODEL-SIMAP]\nROW-COL=2\t3\nROW0=",
        "[QVLMODEL-UVXITEM]\nUVX IN=/d/in.uvx\n", "TLSC NAME1=ONSALA60\nTLSC ID1=4\n",
        "TLSC DELAYACC0=3e-20\n", "TLSC SEFD1_0=900\nTLSC SEFD1_1=1100\n", "[QVLMODEL-COMMON]\nCUR TASK=3\n"}) {
    EXPECT_NE(text.find(line), std::string::npos) << "missing: " << line << "\nin:\n" << text;
  }
  AMSettings back;
  LoadSettings(ini, back, kOpens);
  EXPECT_EQ(back.obs_file, st.obs_file);
  EXPECT_EQ(back.model_page.model_file, st.model_page.model_file);
  EXPECT_EQ(back.model_page.fov_dec, st.model_page.fov_dec);
  EXPECT_EQ(back.model_page.ext_mdl, st.model_page.ext_mdl);
  EXPECT_EQ(back.model_page.use_ext, 2);
  EXPECT_EQ(back.model_page.ext_mdl_path, st.model_page.ext_mdl_path);
  EXPECT_EQ(back.model_page.ext_mdl_tstep, 300.5);
  EXPECT_EQ(back.work_item.in_path, st.work_item.in_path);
  EXPECT_EQ(back.work_item.out_path, st.work_item.out_path);
  EXPECT_EQ(back.work_item.add_type, 0);
  EXPECT_EQ(back.work_item.source, "3C345");
  EXPECT_EQ(back.work_item.fast, 0);
  EXPECT_EQ(back.work_item.use_mfs, 1);
  ASSERT_EQ(back.work_item.si_map.rows, 2u);
  ASSERT_EQ(back.work_item.si_map.cols, 3u);
  for (std::uint32_t r = 0; r < 2; ++r)
    for (std::uint32_t c = 0; c < 3; ++c) EXPECT_EQ(back.work_item.si_map(r, c), st.work_item.si_map(r, c));
  EXPECT_EQ(back.errors.out_path, st.errors.out_path);
  EXPECT_EQ(back.errors.use_ampl_err, 0);
  EXPECT_TRUE(back.errors.has_interval);
  EXPECT_EQ(back.errors.stop_s, 7200.25);
  EXPECT_EQ(back.errors.step_s, 30.0);
  EXPECT_EQ(back.errors.segment_s, 600.0);
  ASSERT_TRUE(back.errors.rng_start.has_value());
  EXPECT_EQ(*back.errors.rng_start, 12345u);
  ASSERT_EQ(back.errors.tlscs.GetSize(), 2);
  EXPECT_EQ(back.errors.tlscs[0].name, "EFLSBERG");
  EXPECT_EQ(back.errors.tlscs[0].delay, 2e-9);
  EXPECT_EQ(back.errors.tlscs[0].delay_acc, 3e-20);
  EXPECT_EQ(back.errors.tlscs[1].id, 4);
  EXPECT_EQ(back.errors.tlscs[1].phase0_deg, -30.0);
  EXPECT_EQ(back.noise.sfd.duration_s, 60.0);
  EXPECT_EQ(back.noise.sfd.bandwidth_hz, 16e6);
  EXPECT_TRUE(back.noise.gaussian);
  EXPECT_EQ(back.noise.efficiency, 0.7);
  ASSERT_EQ(back.noise.sfd.items.GetSize(), 2);
  ASSERT_EQ(back.noise.sfd.items[1].sefd.GetSize(), 2);
  EXPECT_EQ(back.noise.sfd.items[1].sefd[1], 1100.0);
  EXPECT_EQ(back.noise.sfd.items[0].sefd[1], 25.5);
  EXPECT_EQ(back.cur_task, 3);
}

TEST(SettingsStore, TelescopeListsLoadOnlyWhenTheInputOpens) {
  AIniFile ini;
  SaveSettings(ini, FullSettings());
  AMSettings st;
  LoadSettings(ini, st, kNeverOpens);
  // The files are read, the rest of the sections is not.
  EXPECT_EQ(st.errors.in_path, "/d/mdl.uvx");
  EXPECT_EQ(st.errors.out_path, "/d/err.uvx");
  EXPECT_EQ(st.errors.tlscs.GetSize(), 0);
  EXPECT_EQ(st.errors.use_ampl_err, 1);
  EXPECT_FALSE(st.errors.rng_start.has_value());
  EXPECT_EQ(st.noise.in_path, "/d/err.uvx");
  EXPECT_EQ(st.noise.sfd.items.GetSize(), 0);
  EXPECT_EQ(st.noise.sfd.duration_s, 0.0);
  // The next save writes the empty state over the old lists.
  SaveSettings(ini, st);
  AMSettings again;
  LoadSettings(ini, again, kOpens);
  EXPECT_EQ(again.errors.tlscs.GetSize(), 0);
  EXPECT_EQ(again.noise.sfd.items.GetSize(), 0);
}

TEST(SettingsStore, HandWrittenFilesFollowTheProfileRules) {
  const AIniFile ini = FromText(
      "[qvlmodel-simap]\n"
      "row-col=2\t3\n"
      "ROW0=1.5, 2.5\n"          // fewer values than columns: the rest is 0
      "ROW1=7, 8, 9, 10\n"       // the last column takes the rest of the text: atof reads 9
      "[QVLMODEL-PROCESS4]\n"
      "IN UVX-FILE=/x.uvx\n"
      "NTLSCS=2\n"
      "NIFS=2\n"
      "DT=abc\n"                 // not a number: 0
      "TLSC NAME0=EF\n"
      "TLSC SEFD0_0=30\n"
      "TLSC SEFD1_1=77\n"        // entry 1 has no ID key: index + 1
      "[QVLMODEL-COMMON]\n"
      "CUR TASK=7\n");           // passed on as it stands
  AMSettings st;
  LoadSettings(ini, st, kOpens);
  ASSERT_EQ(st.work_item.si_map.rows, 2u);
  ASSERT_EQ(st.work_item.si_map.cols, 3u);
  EXPECT_EQ(st.work_item.si_map(0, 0), 1.5f);
  EXPECT_EQ(st.work_item.si_map(0, 1), 2.5f);
  EXPECT_EQ(st.work_item.si_map(0, 2), 0.0f);
  EXPECT_EQ(st.work_item.si_map(1, 2), 9.0f);
  EXPECT_EQ(st.noise.sfd.duration_s, 0.0);
  ASSERT_EQ(st.noise.sfd.items.GetSize(), 2);
  EXPECT_EQ(st.noise.sfd.items[0].id, 1);
  EXPECT_EQ(st.noise.sfd.items[1].id, 2);
  EXPECT_EQ(st.noise.sfd.items[0].sefd[0], 30.0);
  EXPECT_EQ(st.noise.sfd.items[0].sefd[1], 0.0);
  EXPECT_EQ(st.noise.sfd.items[1].sefd[1], 77.0);
  EXPECT_EQ(st.cur_task, 7);
  EXPECT_EQ(SettingsSection("%s-PROCESS1"), "QVLMODEL-PROCESS1");

  // Absurd counts are clamped before anything is sized from them; negative ones load nothing.
  AMSettings huge;
  LoadSettings(FromText("[QVLMODEL-PROCESS3]\nIN UVX-FILE=/x.uvx\nNTLSCS=2000000000\n"
                        "[QVLMODEL-PROCESS4]\nIN UVX-FILE=/x.uvx\nNTLSCS=-5\nNIFS=2000000000\n"),
               huge, kOpens);
  EXPECT_EQ(huge.errors.tlscs.GetSize(), 255);
  EXPECT_EQ(huge.noise.sfd.items.GetSize(), 0);
  EXPECT_EQ(huge.noise.sfd.n_if, AUVXFile::kMaxAxis);
}

TEST(SettingsStore, WindowPositionIsWrittenFirstAndOnlyWhenKnown) {
  AMSettings st = FullSettings();
  AIniFile none;
  SaveSettings(none, st);  // no window shown yet: nothing written, a stored position survives
  EXPECT_EQ(none.Text().find("WND"), std::string::npos);

  st.window = AMWindowPos{1, -20, 35, 1200, 800, 1};
  AIniFile ini = FromText("[QVLMODEL]\nWND X=5\n");
  SaveSettings(ini, st);
  const std::string text = ini.Text();
  EXPECT_EQ(text.find("[QVLMODEL]\nWND X=-20\nWND Y=35\nWND WIDTH=1200\nWND HEIGHT=800\nWND MAXIMIZED=1\n"), 0u)
      << text;
  AMSettings back;
  LoadSettings(ini, back, kOpens);
  EXPECT_EQ(back.window.valid, 1);
  EXPECT_EQ(back.window.x, -20);
  EXPECT_EQ(back.window.y, 35);
  EXPECT_EQ(back.window.width, 1200);
  EXPECT_EQ(back.window.height, 800);
  EXPECT_EQ(back.window.maximized, 1);

  // A size of zero is no stored position.
  AMWindowPos pos;
  LoadWindowPos(FromText("[QVLMODEL]\nWND X=10\nWND WIDTH=0\nWND HEIGHT=300\n"), pos);
  EXPECT_EQ(pos.valid, 0);
}

// Every key the program writes is known to the check; what it cannot use is named with its line,
// and the value read stays as the classic rules make it.
TEST(SettingsCheck, UnknownSectionsKeysAndUnparsableNumbersAreNamedWithTheirLines) {
  AIniFile written;
  AMSettings full = FullSettings();
  full.window = AMWindowPos{1, 10, 20, 800, 600, 0};
  SaveSettings(written, full);
  for (const char* key : {"PROCESS1 FILE0", "VIEWER FILE7", "DIR UVX"})  // the desktop program's own
    written.WriteProfileString("QVLMODEL-RECENT", key, "/d/x");
  EXPECT_EQ(CheckSettings(written), std::vector<std::string>{}) << written.Text();

  const AIniFile ini = FromText(
      "stray=1\n"
      "[QVLMODEL-PROCESS4]\n"
      "DF=512 MHz\n"
      "DT= 60 \n"
      "NIFS=2x\n"
      "TLSC SEFD0_1=1e3\n"
      "TLSC SEFD0=7\n"
      "RANDOM START=\n"
      "; a comment\n"
      "[qvlmodel-simap]\n"
      "row-col=2\t3\n"
      "ROW0=1, 2, x\n"
      "[QVLMODEL-PROCESS9]\n"
      "ANY=thing\n"
      "[QVLMODEL-COMMON]\n"
      "CURTASK=2\n");
  EXPECT_EQ(CheckSettings(ini),
            (std::vector<std::string>{
                "line 1: key stray before any section (not read)",
                "line 3: [QVLMODEL-PROCESS4] DF: \"512 MHz\" is not a number (read as 512)",
                "line 5: [QVLMODEL-PROCESS4] NIFS: \"2x\" is not a whole number (read as 2)",
                "line 7: [QVLMODEL-PROCESS4] TLSC SEFD0: unknown key (not read)",
                "line 12: [qvlmodel-simap] ROW0: \"1, 2, x\": \"x\" is not a number (read as 0)",
                "line 13: unknown section [QVLMODEL-PROCESS9] (its keys are not read)",
                "line 16: [QVLMODEL-COMMON] CURTASK: unknown key (not read)",
            }));
  AMSettings st;
  LoadSettings(ini, st, kOpens);
  ASSERT_EQ(st.work_item.si_map.rows, 2u);  // read as ever: atof makes 0 of "x"
  EXPECT_EQ(st.work_item.si_map(0, 1), 2.0f);
  EXPECT_EQ(st.work_item.si_map(0, 2), 0.0f);
}
