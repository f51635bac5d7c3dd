// The .mdl text: exact round trips, hand-written files, damaged files; and the page's new, open,
// save, save-as and save-changes operations.

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include "model/comp_table.h"
#include "model/model_document.h"
#include "model/model_test_util.h"

namespace fs = std::filesystem;

namespace {

AComponents Sample() {
  AComponents m;
  const double awkward[] = {0.1, 1.0 / 3.0, -2.5e-300, 6.02214076e23, 4.9e-324, -0.0, 123456789.123456789};
  auto a = [&](int type, int k) { return awkward[(type + k) % 7]; };
  for (int type = 1; type <= kCompTypeCount; ++type)
    m.Add(Comp(type, a(type, 0), a(type, 1), a(type, 2), a(type, 3), a(type, 4), a(type, 5), a(type, 6)));
  return m;
}

std::string Stored(const AComponents& m) {
  std::ostringstream out;
  m.Store(out);
  return out.str();
}

bool SameModel(const AComponents& a, const AComponents& b) {
  if (a.GetSize() != b.GetSize()) return false;
  for (int i = 0; i < a.GetSize(); ++i)
    if (std::memcmp(&a[i].flux, &b[i].flux, 7 * sizeof(double)) != 0 || a[i].type != b[i].type) return false;
  return true;
}

int LoadText(const std::string& text, AComponents& m, std::string* error = nullptr) {
  std::istringstream in(text);
  return LoadComponents(in, m, error);
}

TEST(ModelFileText, RoundTripIsBitExact) {
  const AComponents m = Sample();
  const std::string text = Stored(m);
  EXPECT_EQ(text.rfind("QVLMODEL 1\n", 0), 0u);
  EXPECT_NE(text.find("  # Thick ring\n"), std::string::npos);
  AComponents back;
  std::istringstream in(text);
  EXPECT_TRUE(back.Load(in));  // the stream interface
  EXPECT_TRUE(SameModel(m, back));  // bit for bit, -0.0 and the denormal included
  EXPECT_EQ(Stored(back), text);

  // Copy assignment gives an independent equal model.
  AComponents copy;
  copy = m;
  EXPECT_TRUE(SameModel(copy, m));
  copy[0].flux = 99;
  EXPECT_NE(m[0].flux, 99);
  // An empty model stores as header and END, and loads back empty.
  EXPECT_EQ(LoadText(Stored(AComponents()), copy), 1);
  EXPECT_EQ(copy.GetSize(), 0);
}

TEST(ModelFileText, HandWrittenFilesAreRead) {
  const std::string text =
      "# my model\r\n"
      "\r\n"
      "  QVLMODEL   1   # header\r\n"
      "2\t+1.5 1e-3 0.5 45 90 0.002 0.5\r\n"
      "# a comment between components\n"
      "1 2 0 1 0 0 0 0#no blank before the comment\n"
      "END\n"
      "\n# trailing comment";
  AComponents m;
  std::string error;
  ASSERT_EQ(LoadText(text, m, &error), 1) << error;
  ASSERT_EQ(m.GetSize(), 2);
  EXPECT_EQ(m[0], Comp(kCompGaussian, 1.5, 1e-3, 0.5, 45, 90, 0.002, 0.5));
  EXPECT_EQ(m[1], Comp(kCompDelta, 2, 0, 1, 0, 0, 0, 0));
  // END as the very last bytes, without a line feed.
  EXPECT_EQ(LoadText("QVLMODEL 1\n3 1 1 1 0 0 0 0.5\nEND", m), 1);
  EXPECT_EQ(m.GetSize(), 1);

  // The shipped example model loads and validates.
  const char* env = std::getenv("QVL_TEST_DATA");
  AMModelDocument doc;
  MessageRecorder messages;
  ASSERT_EQ(doc.Open(std::string(env ? env : QVL_SOURCE_DATA) + "/examples/core_jet.mdl", messages), 1)
      << (messages.shown.empty() ? "" : messages.shown[0]);
  ASSERT_EQ(doc.Model().GetSize(), 4);
  EXPECT_EQ(doc.Model()[0].type, kCompDelta);
  EXPECT_TRUE(CheckComponents(doc.Model()).ok);
  EXPECT_NEAR(doc.Model().VfromUV(0, 0).real(), 0.8 + 1.2 + 0.5 + 0.25, 1e-12);
}

TEST(ModelFileText, DamagedFilesAreRefusedWithAReason) {
  const AComponents original = Sample();
  const std::string text = Stored(original);
  const std::size_t end_at = text.rfind("END");
  // Every truncation before the END line is refused and leaves the model alone.
  for (std::size_t n = 0; n < end_at + 3; ++n) {
    AComponents m = original;
    m[0].flux = 42;
    std::string error;
    ASSERT_EQ(LoadText(text.substr(0, n), m, &error), 0) << "prefix of " << n << " bytes";
    EXPECT_FALSE(error.empty());
    ASSERT_EQ(m.GetSize(), original.GetSize());
    EXPECT_EQ(m[0].flux, 42);
  }
  std::string error;
  AComponents m;
  EXPECT_EQ(LoadText(text.substr(0, end_at), m, &error), 0);
  EXPECT_EQ(error, "the file ends before its END line (truncated)");

  struct Case {
    const char* text;
    const char* reason;
  };
  const Case cases[] = {
      {"", "empty file: not a QVLModel source model"},
      {"# only a comment\n", "empty file: not a QVLModel source model"},
      {"QVLMODL 1\nEND\n", "line 1: not a QVLModel source model (no QVLMODEL header)"},
      {"QVLMODEL\nEND\n", "line 1: the QVLMODEL header needs one version number"},
      {"QVLMODEL 2\nEND\n", "line 1: unsupported format version 2"},
      {"QVLMODEL 1\n0 1 1 1 0 0 0 0.5\nEND\n", "line 2: type must be a whole number from 1 to 7, found \"0\""},
      {"QVLMODEL 1\n8 1 1 1 0 0 0 0.5\nEND\n", "line 2: type must be a whole number from 1 to 7, found \"8\""},
      {"QVLMODEL 1\n2.0 1 1 1 0 0 0 0.5\nEND\n", "line 2: type must be a whole number from 1 to 7, found \"2.0\""},
      {"QVLMODEL 1\n2 1 1 1 0 0 0\nEND\n", "line 2: a component needs 8 values (type and 7 numbers), found 7"},
      {"QVLMODEL 1\n2 1 1 1 0 0 0 0.5 9\nEND\n", "line 2: a component needs 8 values (type and 7 numbers), found 9"},
      {"QVLMODEL 1\n2 nan 1 1 0 0 0 0.5\nEND\n", "line 2: flux is not a finite number: \"nan\""},
      {"QVLMODEL 1\n2 1 1e999 1 0 0 0 0.5\nEND\n", "line 2: large axis is not a finite number: \"1e999\""},
      {"QVLMODEL 1\n2 1 1 1 0 0 0.5x 0.5\nEND\n", "line 2: distance is not a finite number: \"0.5x\""},
      {"QVLMODEL 1\nEND\n2 1 1 1 0 0 0 0.5\n", "line 3: text after the END line"},
      {"QVLMODEL 1\nEND\nEND\n", "line 3: text after the END line"},
  };
  for (const Case& c : cases) {
    error.clear();
    EXPECT_EQ(LoadText(c.text, m, &error), 0) << c.text;
    EXPECT_EQ(error, c.reason) << c.text;
  }
  // A line without end (a binary file) is refused before it is read whole.
  EXPECT_EQ(LoadText("QVLMODEL 1\n" + std::string(100000, 'x'), m, &error), 0);
  EXPECT_EQ(error, "line 2: line longer than 4096 characters");
  // Random bytes: refused, never a crash.
  std::mt19937 gen(12345);
  for (int trial = 0; trial < 200; ++trial) {
    std::string junk(1 + gen() % 300, '\0');
    for (char& ch : junk) ch = static_cast<char>(gen() & 0xFF);
    if (trial % 2) junk = "QVLMODEL 1\n" + junk;
    EXPECT_EQ(LoadText(junk, m, &error), 0);
  }
  // The stream interface reports failure through failbit.
  std::istringstream bad("QVLMODEL 1\n2 1 1 1\n");
  EXPECT_FALSE(m.Load(bad));
}

class ModelDocumentTest : public ::testing::Test {
 protected:
  std::string Path(const char* name) const { return dir_.File(name); }
  TempDir dir_;
};

// A save dialog that records its initial name and answers with a queued path (or Cancel).
class FakeDialog : public AModelFileDialog {
 public:
  bool ChooseSavePath(const std::string& initial, std::string& path) override {
    asked.push_back(initial);
    if (answer.empty()) return false;
    path = answer;
    return true;
  }
  std::vector<std::string> asked;
  std::string answer;
};

TEST_F(ModelDocumentTest, SaveSaveAsAndOpen) {
  AMModelDocument doc;
  MessageRecorder messages;
  FakeDialog dialog;
  auto expect_state = [&](int modified, const std::string& path) {
    EXPECT_EQ(doc.IsModified(), modified);
    EXPECT_EQ(doc.Path(), path);
  };
  EXPECT_EQ(doc.Title(), "Untitled (Source modeling) - QVLModel");
  doc.Model() = Sample();
  doc.Modified() = 1;

  // Untitled: Save asks for a name; Cancel changes nothing.
  EXPECT_EQ(doc.Save(dialog, messages), 0);
  ASSERT_EQ(dialog.asked.size(), 1u);
  EXPECT_EQ(dialog.asked[0], "*.mdl");
  expect_state(1, "");

  // A path that cannot be written: reported, flag and path kept, nothing left behind.
  dialog.answer = Path("missing/dir/a.mdl");
  EXPECT_EQ(doc.Save(dialog, messages), 0);
  expect_state(1, "");
  ASSERT_EQ(messages.shown.size(), 1u);
  EXPECT_NE(messages.shown[0].find("missing/dir/a.mdl"), std::string::npos);

  dialog.answer = Path("a.mdl");
  EXPECT_EQ(doc.Save(dialog, messages), 1);
  expect_state(0, Path("a.mdl"));
  EXPECT_EQ(doc.Title(), "a.mdl (Source modeling) - QVLModel");
  EXPECT_EQ(std::distance(fs::directory_iterator(Path("")), fs::directory_iterator()), 1);  // no temporary left

  // With a current path Save writes there without asking.
  doc.Model()[0].flux = 7;
  doc.Modified() = 1;
  dialog.asked.clear();
  EXPECT_EQ(doc.Save(dialog, messages), 1);
  EXPECT_TRUE(dialog.asked.empty());
  // Save as starts from the current path.
  dialog.answer = Path("b.mdl");
  EXPECT_EQ(doc.SaveAs(dialog, messages), 1);
  EXPECT_EQ(dialog.asked.at(0), Path("a.mdl"));
  expect_state(0, Path("b.mdl"));

  AMModelDocument other;
  EXPECT_EQ(other.Open(Path("a.mdl"), messages), 1);
  EXPECT_TRUE(SameModel(other.Model(), doc.Model()));  // the second save wrote the changed flux
  EXPECT_EQ(other.Path(), Path("a.mdl"));

  // Missing and damaged files: a message, the open model untouched.
  messages.shown.clear();
  EXPECT_EQ(other.Open(Path("none.mdl"), messages), 0);
  { std::ofstream(Path("bad.mdl")) << "QVLMODEL 1\n2 1 1\n"; }
  EXPECT_EQ(other.Open(Path("bad.mdl"), messages), 0);
  ASSERT_EQ(messages.shown.size(), 2u);
  EXPECT_EQ(messages.shown[0], "Can't open source model file: " + Path("none.mdl"));
  EXPECT_EQ(messages.shown[1], "Damaged source model file " + Path("bad.mdl") +
                                   ": line 2: a component needs 8 values (type and 7 numbers), found 3");
  EXPECT_EQ(other.Path(), Path("a.mdl"));
  EXPECT_EQ(other.Model().GetSize(), kCompTypeCount);

  other.New();
  EXPECT_EQ(other.Model().GetSize(), 0);
  EXPECT_TRUE(other.Path().empty());
}

TEST_F(ModelDocumentTest, SaveChangesQuestion) {
  AMModelDocument doc;
  FakeDialog dialog;
  MessageRecorder messages;
  EXPECT_EQ(doc.AskSaveChanges(dialog, messages), 1);  // not modified: no question
  EXPECT_TRUE(messages.asked.empty());

  doc.Model() = Sample();
  doc.Modified() = 1;
  messages.answers = {Answer::Cancel, Answer::No, Answer::Yes, Answer::Yes};
  EXPECT_EQ(doc.AskSaveChanges(dialog, messages), 0);  // Cancel: keep everything
  ASSERT_EQ(messages.asked.size(), 1u);
  EXPECT_EQ(messages.asked[0], "Source modeling\n\nDo you want save changes?");
  EXPECT_EQ(doc.Model().GetSize(), kCompTypeCount);
  EXPECT_EQ(doc.IsModified(), 1);
  EXPECT_EQ(doc.AskSaveChanges(dialog, messages), 1);  // No: go on unsaved
  EXPECT_EQ(doc.IsModified(), 1);
  EXPECT_EQ(doc.AskSaveChanges(dialog, messages), 0);  // Yes, but the name dialog is cancelled
  dialog.answer = Path("c.mdl");
  EXPECT_EQ(doc.AskSaveChanges(dialog, messages), 1);  // Yes and saved
  EXPECT_EQ(doc.IsModified(), 0);
  EXPECT_TRUE(fs::exists(Path("c.mdl")));
  // Headless default: Cancel keeps the unsaved model.
  doc.Modified() = 1;
  SilentMessages silent;
  EXPECT_EQ(doc.AskSaveChanges(dialog, silent), 0);
}

}  // namespace
