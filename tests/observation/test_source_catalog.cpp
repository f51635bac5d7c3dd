// The source catalogue and choosing the observed source.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "obs_test_util.h"
#include "observation/source_catalog.h"

TEST(SourceCatalog, ReadingWithCommentsAndTheKeptCoordinatesQuirk) {
  std::istringstream in(
      "; name other RA Dec\n"
      "3C273 J1229+0203 12:29:06.6997 +02:03:08.598\n"
      "\n"
      "Broken J0000+0000 xx:yy -91:zz\r\n"
      "SgrA* J1745-2900 17:45:40.0409 -29:00:28.118\n");
  AMSourceCatalog cat;
  ASSERT_TRUE(ReadSources(in, cat));
  ASSERT_EQ(cat.count, 3);
  EXPECT_EQ(cat[0].name, "3C273");
  EXPECT_EQ(cat[0].other_name, "J1229+0203");
  EXPECT_DOUBLE_EQ(cat[0].ra_time_s, 12 * 3600 + 29 * 60 + 6.6997);
  EXPECT_DOUBLE_EQ(cat[0].dec_arcsec, 2 * 3600 + 3 * 60 + 8.598);
  // The broken line keeps the coordinates of the line before it.
  EXPECT_EQ(cat[1].name, "Broken");
  EXPECT_EQ(cat[1].ra_time_s, cat[0].ra_time_s);
  EXPECT_EQ(cat[1].dec_arcsec, cat[0].dec_arcsec);
  EXPECT_DOUBLE_EQ(cat[2].dec_arcsec, -(29 * 3600 + 28.118));
  EXPECT_EQ(FindSource(cat, "j1745-2900"), 2);
  EXPECT_EQ(FindSource(cat, "3c273"), 0);
  EXPECT_EQ(FindSource(cat, "M87"), -1);

  std::istringstream comments("; only\n;comments\n\n");
  AMSourceCatalog none;
  ReadSources(comments, none);
  EXPECT_EQ(none.count, 0);
}

TEST(SourceCatalog, MissingFileShowsTheFixedMessage) {
  TempFolder tmp;
  MessageRecorder rec;
  AMSourceCatalog cat;
  EXPECT_FALSE(LoadSourceFile(tmp.Path("Sources.dat"), cat, &rec));
  ASSERT_EQ(rec.shown.size(), 1u);
  EXPECT_EQ(rec.shown[0], "ca`t open");
  {
    std::ofstream f(tmp.Path("Sources.dat"));
    f << "OJ287 J0854+2006 08:54:48.8749 +20:06:30.641\n";
  }
  ASSERT_TRUE(LoadSourceFile(tmp.Path("Sources.dat"), cat, &rec));
  EXPECT_EQ(cat.count, 1);
  EXPECT_EQ(rec.shown.size(), 1u);
}

TEST(SourceChoice, SetsNameCoordinatesAndRenamesTheOutputInItsFolder) {
  AMObservation obs(std::string("/data/out/"));
  AMSourceInfoItem s{"3C279", "J1256-0547", 46977.4, -20853.6};
  ChooseSource(obs, s, false);
  EXPECT_EQ(obs.source_name, "3C279");
  EXPECT_EQ(obs.ra_time_s, 46977.4);
  EXPECT_EQ(obs.dec_arcsec, -20853.6);
  EXPECT_EQ(obs.output_path, "/data/out/3C279_mdl.uvx");
  ChooseSource(obs, s, true);
  EXPECT_EQ(obs.source_name, "J1256-0547");
  EXPECT_EQ(obs.output_path, "/data/out/J1256-0547_mdl.uvx");
  obs.output_path = "relative.uvx";
  ChooseSource(obs, s, false);
  EXPECT_EQ(obs.output_path, "3C279_mdl.uvx");
}
