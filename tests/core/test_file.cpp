#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "core/file.h"
#include "core/paths.h"

namespace fs = std::filesystem;

namespace {

class TempDir : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() / ("qvl_core_" + std::to_string(::getpid()) + "_" +
                                        ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }
  std::string Path(const std::string& name) const { return (dir_ / name).string(); }
  fs::path dir_;
};

using AFileTest = TempDir;

TEST_F(AFileTest, BinaryWriteReadSeekAndLength) {
  AFile f;
  ASSERT_TRUE(f.Open(Path("a.bin"), AFile::modeWrite | AFile::modeBinary));
  const double x = 1.5;
  const int n = -7;
  ASSERT_TRUE(f.Write(&x, sizeof x));
  ASSERT_TRUE(f.Write(&n, sizeof n));
  EXPECT_EQ(f.GetPos(), 12);
  f.Close();

  ASSERT_TRUE(f.Open(Path("a.bin"), AFile::modeRead | AFile::modeBinary));
  EXPECT_EQ(f.Length(), 12);
  ASSERT_TRUE(f.Seek(8));
  int back = 0;
  ASSERT_TRUE(f.Read(&back, 4));
  EXPECT_EQ(back, -7);
  EXPECT_EQ(f.Remaining(), 0);
  EXPECT_FALSE(f.Read(&back, 1));  // past the end

  // Update in place keeps the rest of the file.
  f.Close();
  ASSERT_TRUE(f.Open(Path("a.bin"), AFile::modeReadWrite | AFile::modeBinary));
  const double y = -2.25;
  ASSERT_TRUE(f.Write(&y, sizeof y));
  f.Close();
  ASSERT_TRUE(f.Open(Path("a.bin"), AFile::modeRead | AFile::modeBinary));
  double yb = 0;
  ASSERT_TRUE(f.Read(&yb, 8));
  ASSERT_TRUE(f.Read(&back, 4));
  EXPECT_EQ(yb, -2.25);
  EXPECT_EQ(back, -7);
}

TEST_F(AFileTest, OpenFailures) {
  AFile f;
  EXPECT_FALSE(f.Open(Path("missing.bin"), AFile::modeRead));
  EXPECT_FALSE(f.Open(Path("missing.bin"), AFile::modeReadWrite));
  EXPECT_FALSE(f.Open(Path("no/such/dir/x.bin"), AFile::modeWrite));
  EXPECT_FALSE(f.Open(dir_.string(), AFile::modeRead));  // a folder is not a file
  EXPECT_FALSE(f.Open(Path("x"), 0));
  EXPECT_FALSE(f.IsOpen());
  char c;
  EXPECT_FALSE(f.Read(&c, 1));
  EXPECT_FALSE(f.Write(&c, 1));
}

TEST_F(AFileTest, LineReadCutsLongLinesAndSkipsTheirRest) {
  {
    std::ofstream out(Path("t.txt"), std::ios::binary);
    out << std::string(31, 'a') << "\n" << std::string(40, 'b') << "\n\ncrlf\r\nlast";
  }
  AFile f;
  ASSERT_TRUE(f.Open(Path("t.txt"), AFile::modeRead | AFile::modeText));
  std::string line;
  ASSERT_TRUE(f.ReadLine(line, 32));
  EXPECT_EQ(line, std::string(31, 'a'));  // 31 characters fit a 32-byte buffer
  ASSERT_TRUE(f.ReadLine(line, 32));
  EXPECT_EQ(line, std::string(31, 'b'));  // cut; the rest of the line is skipped
  ASSERT_TRUE(f.ReadLine(line, 32));
  EXPECT_EQ(line, "");
  ASSERT_TRUE(f.ReadLine(line, 128));
  EXPECT_EQ(line, "crlf");
  ASSERT_TRUE(f.ReadLine(line, 128));
  EXPECT_EQ(line, "last");  // no final line feed
  EXPECT_FALSE(f.ReadLine(line, 128));

  AMemoryFile mem(std::string(40, 'c') + "\nnext\n");
  ASSERT_TRUE(mem.ReadLine(line, 32));
  EXPECT_EQ(line, std::string(31, 'c'));
  ASSERT_TRUE(mem.ReadLine(line, 32));
  EXPECT_EQ(line, "next");
  EXPECT_FALSE(mem.ReadLine(line, 32));
}

TEST_F(AFileTest, RemoverDeletesUnlessKept) {
  const std::string a = Path("partial.uvx"), b = Path("done.uvx");
  std::ofstream(a) << "x";
  std::ofstream(b) << "y";
  {
    AFileRemover ra(a);
    AFileRemover rb(b);
    rb.Keep();
  }
  EXPECT_FALSE(fs::exists(a));
  EXPECT_TRUE(fs::exists(b));
  EXPECT_FALSE(RemoveFile(a));
}

TEST(MemoryFile, ShortReadFailsAndStopsAtEnd) {
  AMemoryFile mem(std::string("abc"));
  char buf[4];
  EXPECT_FALSE(mem.Read(buf, 4));
  EXPECT_EQ(mem.Remaining(), 0);
  EXPECT_FALSE(mem.Seek(4));
  ASSERT_TRUE(mem.Seek(1));
  ASSERT_TRUE(mem.Read(buf, 2));
  EXPECT_EQ(std::string(buf, 2), "bc");
}

TEST(PathPieces, FolderNameAndExtension) {
  EXPECT_EQ(getfPath("/data/obs/3C273_mdl.uvx"), "/data/obs/");
  EXPECT_EQ(getfPath("file.uvx"), "");
  EXPECT_EQ(getfName("/data/obs/3C273_mdl.uvx"), "3C273_mdl.uvx");
  EXPECT_EQ(replaceExtension("/a.b/c.obs", ".json"), "/a.b/c.json");
  EXPECT_EQ(replaceExtension("/a.b/c", ".obs"), "/a.b/c.obs");
  const std::string exe = getExePath();
  ASSERT_FALSE(exe.empty());
  EXPECT_EQ(exe.back(), '/');
  EXPECT_TRUE(fs::exists(exe));
}

TEST_F(AFileTest, BaseFolderFollowsOverrideThenEnvironment) {
  EXPECT_EQ(BaseFolder("/opt/qvl"), "/opt/qvl/");
  ::setenv("QVLMODEL_HOME", dir_.c_str(), 1);
  EXPECT_EQ(BaseFolder(), dir_.string() + "/");
  ::unsetenv("QVLMODEL_HOME");
  EXPECT_EQ(BaseFolder(), getExePath());  // the test's own folder is writable
}

}  // namespace
