// The task-1 document: titles and dialog names, open and save in both forms, the modified flag
// with the change test, the save-changes question, and the paths a run uses.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "core/file.h"
#include "core/messages.h"
#include "obs_test_util.h"
#include "observation/obs_document.h"

namespace {

// Answers the dialogs with fixed paths (empty: Cancel) and remembers the initial names.
class ScriptedDialog final : public AObsFileDialog {
 public:
  bool ChooseOpenPath(const std::string& initial, std::string& path) override {
    open_initial = initial;
    path = open_path;
    return !open_path.empty();
  }
  bool ChooseSavePath(const std::string& initial, std::string& path) override {
    save_initial = initial;
    ++save_asked;
    path = save_path;
    return !save_path.empty();
  }
  std::string open_path, save_path, open_initial, save_initial;
  int save_asked = 0;
};

bool SameObservation(const AMObservation& a, const AMObservation& b) {
  AMemoryFile fa, fb;
  a.Store(fa);
  b.Store(fb);
  return fa.Bytes() == fb.Bytes();
}

}  // namespace

TEST(ObsDocument, TitlesAndDialogNamesFollowTheCurrentFile) {
  TempFolder dir;
  AMObsDocument doc(dir.Folder());
  EXPECT_EQ(doc.Title(), "Untitled (VLBI configuration) - QVLModel");
  EXPECT_EQ(doc.OpenDialogInitialName(), "*.obs");
  EXPECT_EQ(doc.SaveDialogInitialName(), "*.obs");
  EXPECT_EQ(doc.Obs().output_path, dir.Folder() + "Model_mdl.uvx");

  MessageRecorder rec;
  const std::string json = dir.Path("a.json");
  ASSERT_TRUE(SaveObservationPath(json, SampleObservation()));
  ASSERT_TRUE(doc.Open(json, rec));
  EXPECT_EQ(doc.Title(), json + " (VLBI configuration) - QVLModel");
  EXPECT_EQ(doc.OpenDialogInitialName(), dir.Path("a.obs"));
  EXPECT_EQ(doc.SaveDialogInitialName(), json);
  EXPECT_TRUE(rec.shown.empty());
}

TEST(ObsDocument, SaveAndOpenInBothFormsRoundTrip) {
  TempFolder dir;
  MessageRecorder rec;
  ScriptedDialog dialog;
  const AMObservation sample = SampleObservation();
  for (const char* name : {"x.obs", "x.json", "X.JSON"}) {
    AMObsDocument doc(dir.Folder());
    doc.Obs() = sample;
    doc.Modified() = 1;
    dialog.save_path = dir.Path(name);
    ASSERT_TRUE(doc.Save(dialog, rec)) << name;  // untitled: Save acts as Save As
    EXPECT_EQ(dialog.save_initial, "*.obs");
    EXPECT_EQ(doc.Path(), dir.Path(name));
    EXPECT_FALSE(doc.IsModified());
    EXPECT_FALSE(std::filesystem::exists(dir.Path(name) + ".part"));

    AMObsDocument back(dir.Folder());
    dialog.open_path = dir.Path(name);
    ASSERT_TRUE(back.OpenWithDialog(dialog, rec)) << name;
    EXPECT_TRUE(SameObservation(back.Obs(), sample)) << name;
    EXPECT_FALSE(back.IsModified());
  }
  // The binary file is the .obs layout itself.
  AMObservation direct(std::string{});
  ASSERT_TRUE(LoadObservationFile(dir.Path("x.obs"), direct));
  EXPECT_TRUE(SameObservation(direct, sample));
  EXPECT_TRUE(rec.shown.empty());
}

TEST(ObsDocument, FailuresChangeNothingAndSayWhy) {
  TempFolder dir;
  MessageRecorder rec;
  AMObsDocument doc(dir.Folder());
  doc.Obs() = SampleObservation();
  ASSERT_TRUE(doc.SaveTo(dir.Path("good.obs"), rec));
  doc.Obs().source_name = "Edited";
  doc.Modified() = 1;

  {
    std::ofstream(dir.Path("cut.obs"), std::ios::binary) << "3C84\n1234";
    std::ofstream(dir.Path("bad.json")) << "{\"source\": ";
  }
  for (const char* name : {"missing.obs", "cut.obs", "bad.json"}) {
    EXPECT_FALSE(doc.Open(dir.Path(name), rec)) << name;
    EXPECT_EQ(doc.Path(), dir.Path("good.obs"));
    EXPECT_EQ(doc.Obs().source_name, "Edited");
    EXPECT_TRUE(doc.IsModified());
  }
  ASSERT_EQ(rec.shown.size(), 3u);
  EXPECT_EQ(rec.shown[0], "Can't open observation file " + dir.Path("missing.obs") + ": cannot open the file");
  EXPECT_NE(rec.shown[1].find("truncated or damaged"), std::string::npos);
  EXPECT_NE(rec.shown[2].find("not valid JSON"), std::string::npos);

  // A folder that does not exist: the save fails, path and flag stay.
  EXPECT_FALSE(doc.SaveTo(dir.Path("no/such/folder.obs"), rec));
  EXPECT_EQ(rec.shown.back(), "Can't write observation file: " + dir.Path("no/such/folder.obs"));
  EXPECT_EQ(doc.Path(), dir.Path("good.obs"));
  EXPECT_TRUE(doc.IsModified());
}

TEST(ObsDocument, ChangeTestAndSaveChangesQuestion) {
  TempFolder dir;
  ScriptedDialog dialog;
  AMObsDocument doc(dir.Folder());
  doc.Obs() = SampleObservation();
  MessageRecorder quiet;
  ASSERT_TRUE(doc.SaveTo(dir.Path("o.obs"), quiet));

  // Not modified: no question at all.
  MessageRecorder rec;
  EXPECT_TRUE(doc.AskSaveChanges(dialog, rec));
  EXPECT_TRUE(rec.asked.empty());

  // The interval copy makes an edit without the flag count as a change.
  doc.Obs().intervals[1].stop += 1;
  EXPECT_TRUE(doc.IsModified());
  rec.answers = {Answer::Cancel, Answer::No, Answer::Yes};
  EXPECT_FALSE(doc.AskSaveChanges(dialog, rec));  // Cancel: stop
  EXPECT_TRUE(doc.AskSaveChanges(dialog, rec));   // No: go on unsaved
  EXPECT_TRUE(doc.IsModified());
  EXPECT_TRUE(doc.AskSaveChanges(dialog, rec));   // Yes: saved to the current file
  EXPECT_FALSE(doc.IsModified());
  EXPECT_EQ(dialog.save_asked, 0);
  ASSERT_EQ(rec.asked.size(), 3u);
  EXPECT_EQ(rec.asked[0], "VLBI configuration\n\nDo you want save changes?");
  AMObservation back(std::string{});
  ASSERT_TRUE(LoadObservationFile(dir.Path("o.obs"), back));
  EXPECT_EQ(back.intervals[1].stop, doc.Obs().intervals[1].stop);

  // Yes on an untitled document whose save dialog is cancelled does not go on; the default
  // answer of a headless sink is Cancel.
  doc.New();
  doc.Obs().time_step_s = 1;
  rec.answers = {Answer::Yes};
  rec.next_answer = 0;
  EXPECT_FALSE(doc.AskSaveChanges(dialog, rec));
  EXPECT_EQ(dialog.save_asked, 1);
  SilentMessages silent;
  EXPECT_FALSE(doc.AskSaveChanges(dialog, silent));
}

TEST(ObsDocument, ChecksSortTheCopyAndRunsResolvePaths) {
  TempFolder dir;
  MessageRecorder rec;
  AMObsDocument doc(dir.Folder());
  AMObservation obs = SampleObservation();
  std::swap(obs.intervals[0], obs.intervals[1]);  // out of order
  doc.Obs() = obs;
  ASSERT_TRUE(doc.SaveTo(dir.Path("sub.obs"), rec));
  EXPECT_TRUE(doc.CheckForCreate(&rec).ok);
  EXPECT_EQ(doc.Obs().intervals[0].start, 0.0);
  EXPECT_FALSE(doc.IsModified());  // sorting is no change

  const AMObservation run = doc.ObservationForRun();
  EXPECT_EQ(run.output_path, dir.Path("out/3C273_mdl.uvx"));
  EXPECT_EQ(run.telescopes[1].orbit_file, dir.Path("orbits/heo.org"));
  EXPECT_EQ(doc.Obs().output_path, "out/3C273_mdl.uvx");  // the document keeps what was typed
}
