// The INI profile: lookups without regard to case, defaults, integer parsing, writes in place
// that leave everything else as it stood, and a save that is complete or absent.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "app/ini_file.h"

namespace {

AIniFile FromText(const std::string& text) {
  std::istringstream in(text);
  AIniFile ini;
  ini.Parse(in);
  return ini;
}

}  // namespace

TEST(IniFile, LookupsIgnoreCaseAndFallBackToDefaults) {
  const AIniFile ini = FromText(
      "; a comment\r\n"
      "[QVLMODEL-PROCESS1]\r\n"
      "OBS FILE = /data/obs one.obs \r\n"
      "[qvlmodel-common]\n"
      "cur task=3\n"
      "quoted=\"  spaced  \"\n"
      "[QVLMODEL-COMMON]\n"  // a second section of the same name is not consulted
      "CUR TASK=4\n");
  EXPECT_EQ(ini.GetProfileString("qvlmodel-process1", "obs file", "x"), "/data/obs one.obs");
  EXPECT_EQ(ini.GetProfileInt("QVLMODEL-COMMON", "CUR TASK", 1), 3);
  EXPECT_EQ(ini.GetProfileString("QVLMODEL-COMMON", "QUOTED", ""), "  spaced  ");
  EXPECT_EQ(ini.GetProfileString("QVLMODEL-PROCESS2", "MODEL FILE", "dflt"), "dflt");
  EXPECT_EQ(ini.GetProfileInt("QVLMODEL-PROCESS2", "USE_EXT", 7), 7);
  EXPECT_FALSE(ini.HasKey("QVLMODEL-PROCESS1", "a comment"));
}

TEST(IniFile, IntegersAreReadLikeTheProfileFunctions) {
  const AIniFile ini = FromText("[S]\na=12abc\nb=abc\nc=-42\nd=+5\ne=\nf= 17 \n");
  EXPECT_EQ(ini.GetProfileInt("S", "a", 9), 12);
  EXPECT_EQ(ini.GetProfileInt("S", "b", 9), 0);   // present but not a number
  EXPECT_EQ(ini.GetProfileInt("S", "c", 9), -42);
  EXPECT_EQ(ini.GetProfileInt("S", "d", 9), 5);
  EXPECT_EQ(ini.GetProfileInt("S", "e", 9), 0);
  EXPECT_EQ(ini.GetProfileInt("S", "f", 9), 17);
  EXPECT_EQ(ini.GetProfileInt("S", "missing", 9), 9);
}

TEST(IniFile, WritesChangeOneLineAndKeepTheRest) {
  AIniFile ini = FromText(
      "; kept\n"
      "[A]\n"
      "Key1=old\n"
      "other=1\n"
      "\n"
      "[B]\n"
      "x=2\n");
  ini.WriteProfileString("a", "KEY1", "new");  // same key, other spelling: replaced in place
  ini.WriteProfileInt("A", "added", 5);        // new key: end of its section, before the blank
  ini.WriteProfileString("C", "k", "v");       // new section at the end
  EXPECT_EQ(ini.Text(),
            "; kept\n"
            "[A]\n"
            "KEY1=new\n"
            "other=1\n"
            "added=5\n"
            "\n"
            "[B]\n"
            "x=2\n"
            "\n"
            "[C]\n"
            "k=v\n");
  // Read back after a round trip through the text.
  const AIniFile again = FromText(ini.Text());
  EXPECT_EQ(again.GetProfileString("A", "key1", ""), "new");
  EXPECT_EQ(again.GetProfileInt("A", "ADDED", 0), 5);
  EXPECT_EQ(again.GetProfileString("c", "K", ""), "v");
}

TEST(IniFile, SaveIsCompleteOrAbsentAndAMissingFileIsEmpty) {
  const auto dir = std::filesystem::temp_directory_path() / ("qvl_ini_" + std::to_string(::getpid()));
  std::filesystem::create_directories(dir);
  const std::string path = (dir / "QvlModel.ini").string();
  AIniFile ini;
  EXPECT_FALSE(ini.Load(path));
  EXPECT_EQ(ini.GetProfileString("X", "Y", "d"), "d");
  ini.WriteProfileString("QVLMODEL-ROW", "ROW-COL", "2\t3");
  ASSERT_TRUE(ini.Save(path));
  AIniFile back;
  ASSERT_TRUE(back.Load(path));
  EXPECT_EQ(back.GetProfileString("QVLMODEL-ROW", "ROW-COL", ""), "2\t3");
  EXPECT_FALSE(std::filesystem::exists(path + ".tmp"));
  // A folder that does not exist: nothing is written and failure is reported.
  EXPECT_FALSE(ini.Save((dir / "absent" / "QvlModel.ini").string()));
  std::filesystem::remove_all(dir);
}
