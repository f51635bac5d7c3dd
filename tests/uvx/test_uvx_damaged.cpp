// Damaged files: every prefix, random byte flips, a foreign magic, a newer version, absurd counts.
// Open must fail cleanly or, when it succeeds, every record and table must be readable without a
// crash or an allocation beyond what the file length justifies.
#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "rlimit_child.h"
#include "uvfits_mini.h"
#include "uvx/fast_read.h"
#include "uvx/uvfits_import.h"
#include "uvx_test_util.h"

namespace {

// Opens and reads everything; returns whether Open succeeded.
bool OpenAndReadAll(const std::string& path, std::string* error = nullptr) {
  AUVXFile f;
  if (!f.Open(path, AUVXFile::modeRead)) {
    if (error) *error = f.Error();
    return false;
  }
  AUVXHeader h(f);
  AUVXFqTbl fq(f);
  if (AUVXTable* an = f.GetTable("AN")) AUVXAntenns ants(*an);
  if (AUVXTable* su = f.GetTable("SU")) AUVXSources src(*su);
  for (int i = 0; i < f.TableCount(); ++i) {
    const AUVXTable* t = f.TableAt(i);
    for (int r = 0; r < t->n_rows; ++r)
      for (int c = 0; c < t->n_cols; ++c) (void)t->GetNumber(r, c, t->ColumnRepeat(c) - 1);
  }
  AUVXFastRead reader(&f, nullptr);
  AUVXGroup g;
  AUVXVisibility v;
  int status = 0;
  while (reader.GetUVGVis(g, v, status)) {
  }
  EXPECT_EQ(status, -1);  // a file that opened is readable to its end
  return true;
}

}  // namespace

TEST(DamagedFile, EveryPrefixIsRefusedAndRandomByteFlipsNeverCrash) {
  TempDir dir;
  const std::string good = dir.File("good.uvx");
  WriteSampleFile(good, 3);
  const std::string bytes = ReadAll(good);
  ASSERT_TRUE(OpenAndReadAll(good));
  const std::string bad = dir.File("bad.uvx");
  WriteAllBytes(bad, bytes);
  // Shortening the same file, longest prefix first.
  for (std::size_t n = bytes.size(); n-- > 0;) {
    std::filesystem::resize_file(bad, n);
    std::string error;
    ASSERT_FALSE(OpenAndReadAll(bad, &error)) << "prefix of " << n << " bytes opened";
    ASSERT_FALSE(error.empty());
  }

  std::mt19937 gen(20240501u);  // fixed initial state: the same damage every run
  std::uniform_int_distribution<std::size_t> where(0, bytes.size() - 1);
  std::uniform_int_distribution<int> value(0, 255);
  int opened = 0;
  for (int trial = 0; trial < 400; ++trial) {
    std::string damaged = bytes;
    for (int k = 0; k <= trial % 4; ++k) damaged[where(gen)] = static_cast<char>(value(gen));
    WriteAllBytes(bad, damaged);
    opened += OpenAndReadAll(bad);
  }
  // Flips inside visibility data leave a valid file; flips in the structure are refused.
  EXPECT_GT(opened, 0);
  EXPECT_LT(opened, 400);
}

TEST(DamagedFile, ForeignMagicNewerVersionAndAbsurdCounts) {
  TempDir dir;
  const std::string good = dir.File("good.uvx");
  WriteSampleFile(good, 3);
  const std::string bytes = ReadAll(good);
  const std::string bad = dir.File("bad.uvx");
  // Each case: a value patched in at an offset, and a word the message must hold.
  auto refused = [&](std::size_t offset, auto value, const char* words) {
    std::string s = bytes;
    std::memcpy(&s[offset], &value, sizeof value);
    WriteAllBytes(bad, s);
    std::string error;
    EXPECT_FALSE(OpenAndReadAll(bad, &error)) << offset;
    EXPECT_NE(error.find(words), std::string::npos) << error;
  };
  refused(0, 'X', "magic");
  refused(8, std::uint32_t{2}, "newer");
  refused(40, std::int64_t{1} << 40, "");         // groups
  refused(24, std::int32_t{1} << 30, "absurd");  // IFs
  // A table claiming two billion rows.
  AUVXFile f;
  ASSERT_TRUE(f.Open(good, AUVXFile::modeRead));
  refused(std::size_t(1024 + 3 * f.RecordBytes() + 12), std::int32_t{2000000000}, "");

  // An empty file, a file of zeros, trailing garbage after the tables.
  for (const std::string& s : {std::string(), std::string(bytes.size(), '\0'), bytes + "junk"}) {
    WriteAllBytes(bad, s);
    EXPECT_FALSE(OpenAndReadAll(bad)) << s.size();
  }
}

namespace {

// Sets the value of FITS header card `key` (the first one after byte `from`) to `value`.
void SetCardValue(std::string& fits, const std::string& key, const std::string& value, std::size_t from = 0) {
  std::string name = key;
  name.resize(8, ' ');
  for (std::size_t at = from; at + 80 <= fits.size(); at += 80)
    if (fits.compare(at, 8, name) == 0) {
      std::string text(20, ' ');
      text.replace(20 - value.size(), value.size(), value);
      fits.replace(at + 10, 20, text);
      return;
    }
  ADD_FAILURE() << key << " not found";
}

}  // namespace

// Files declaring far more than they hold are refused before anything is sized from the counts:
// with 64 MB of address space to spare, no reader runs out of memory.
TEST(DamagedFile, AbsurdCountsAreRefusedUnderAMemoryLimit) {
#ifdef QVL_TEST_ADDRESS_SANITIZER
  GTEST_SKIP() << "no address-space limit under the address sanitizer";
#else
  TempDir dir;
  const std::string good = dir.File("good.uvx"), bad = dir.File("bad.uvx");
  WriteSampleFile(good, 3);
  const std::string bytes = ReadAll(good);
  AUVXFile f;
  ASSERT_TRUE(f.Open(good, AUVXFile::modeRead));
  const std::size_t table = std::size_t(1024 + 3 * f.RecordBytes());
  f.Close();
  const struct {
    std::size_t offset;
    std::int32_t value;
  } uvx[] = {{40, 0x7fffffff}, {24, 65536}, {28, 65536}, {table + 12, 0x7fffffff}, {table + 16, 4096},
             {table + 20, 1 << 24}, {table + 24, 4096}};
  for (const auto& c : uvx) {
    std::string s = bytes;
    std::memcpy(&s[c.offset], &c.value, 4);
    WriteAllBytes(bad, s);
    EXPECT_EQ(RunWithMemoryLimit(64 << 20, [&] { return OpenAndReadAll(bad) ? 1 : 0; }), 0) << c.offset;
  }

  // UVFITS: two billion groups, a million telescopes, in files of a few blocks.
  const std::string fits = dir.File("mini.uvfits"), out = dir.File("out.uvx");
  uvfits_mini::Mini().Write(fits);
  const std::string fits_bytes = ReadAll(fits);
  std::string many_groups = fits_bytes, many_rows = fits_bytes;
  SetCardValue(many_groups, "GCOUNT", "2147483647");
  SetCardValue(many_rows, "NAXIS2", "1048576", fits_bytes.rfind("XTENSION", fits_bytes.find("AIPS AN")));
  for (const std::string& s : {many_groups, many_rows}) {
    WriteAllBytes(bad, s);
    EXPECT_EQ(RunWithMemoryLimit(64 << 20, [&] {
                std::string error;
                return ImportUVFITS(bad, out, nullptr, nullptr, nullptr, error) ? 1 : 0;
              }),
              0);
    EXPECT_FALSE(std::filesystem::exists(out));
  }
#endif
}
