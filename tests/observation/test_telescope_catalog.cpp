// The telescope catalogue: line format, reading quirks, ordering, insertion and validation.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "core/messages.h"
#include "obs_test_util.h"
#include "observation/telescope_catalog.h"

namespace {

AMTlscInfoItem Ground(const std::string& name, const std::string& id) {
  AMTlscInfoItem t;
  t.name = name;
  t.id_name = id;
  const double p[8] = {1.0, 2.0, 3.0, 25.0, 0.0, 360.0, 0.0, 80.0};
  std::copy(p, p + 8, t.params);
  t.ground = 1;
  return t;
}

AMTlscInfoItem Orbital(double a_km, double e) {
  AMTlscInfoItem t;
  t.name = "Sat";
  t.id_name = "ST";
  t.ground = 0;
  t.params[tlsc::kSemimajorKm] = a_km;
  t.params[tlsc::kEccentricity] = e;
  return t;
}

}  // namespace

TEST(TelescopeFileFormat, LineLayoutAndInvertedKindCode) {
  AMTlscInfoItem g = Ground("Effelsberg", "EB");
  g.params[0] = 4033947.2616;
  g.params[1] = -486990.7866;
  EXPECT_EQ(FormatTelescopeLine(3, g), "3 EB Effelsberg\t4033947.2616\t-486990.7866\t3\t25\t0\t360\t0\t80\t0");
  AMTlscInfoItem o = Orbital(10000, 0.1);
  o.params[5] = 2451545.0;
  EXPECT_EQ(FormatTelescopeLine(1, o), "1 ST Sat\t10000\t0.1\t0\t0\t0\t2451545\t0\t0\t1");
  // %.15g keeps fifteen significant digits.
  AMTlscInfoItem p = Ground("P", "P");
  p.params[0] = 0.1234567890123456789;
  EXPECT_NE(FormatTelescopeLine(1, p).find("\t0.123456789012346\t"), std::string::npos);

  AMTlscInfoItem back;
  EXPECT_EQ(ParseTelescopeLine("7 EB Effelsberg 4033947.2616 -486990.7866 3 25 0 360 0 80 0", back), 12);
  EXPECT_EQ(back.name, "Effelsberg");
  EXPECT_EQ(back.id_name, "EB");
  EXPECT_EQ(back.params[1], -486990.7866);
  EXPECT_EQ(back.ground, 1);
  EXPECT_EQ(ParseTelescopeLine("1 ST Sat 10000 0.1 0 0 0 2451545 0 0 1", back), 12);
  EXPECT_EQ(back.ground, 0);
  EXPECT_EQ(back.extra, 0);
  // A short line keeps what was read; the rest stays cleared.
  EXPECT_EQ(ParseTelescopeLine("2 XX Partial 5.5", back), 4);
  EXPECT_EQ(back.name, "Partial");
  EXPECT_EQ(back.params[0], 5.5);
  EXPECT_EQ(back.params[1], 0.0);
}

TEST(TelescopeFileFormat, ReadSkipsCommentsAndWriteReadRoundTrips) {
  std::istringstream in(
      "; catalogue header\n"
      "\n"
      "1 B Beta\t1\t2\t3\t4\t5\t6\t7\t8\t0\r\n"
      ";1 X Hidden\t1\t2\t3\t4\t5\t6\t7\t8\t0\n"
      "2 A Alpha\t1\t2\t3\t4\t5\t6\t7\t8\t1\n");
  AMTlscCatalog cat;
  ASSERT_TRUE(ReadTelescopes(in, cat));
  ASSERT_EQ(cat.count, 2);
  EXPECT_EQ(cat[0].name, "Beta");  // file order, not sorted
  EXPECT_EQ(cat[1].name, "Alpha");
  EXPECT_EQ(cat[1].ground, 0);
  EXPECT_EQ(cat[0].params[7], 8.0);

  std::ostringstream out;
  WriteTelescopes(out, cat);
  EXPECT_EQ(out.str(), "1 B Beta\t1\t2\t3\t4\t5\t6\t7\t8\t0\n2 A Alpha\t1\t2\t3\t4\t5\t6\t7\t8\t1\n");
  std::istringstream again(out.str());
  AMTlscCatalog cat2;
  ReadTelescopes(again, cat2);
  std::ostringstream out2;
  WriteTelescopes(out2, cat2);
  EXPECT_EQ(out2.str(), out.str());
}

TEST(TelescopeFileFormat, FileSaveLoadAndFailures) {
  TempFolder tmp;
  AMTlscCatalog cat;
  cat.Add(Ground("Alpha", "A"));
  cat.Add(Ground("Beta", "B"));
  MessageRecorder rec;
  const std::string path = tmp.Path("Telescopes.dat");
  ASSERT_TRUE(SaveTelescopeFile(path, cat, &rec));
  EXPECT_TRUE(rec.shown.empty());
  EXPECT_FALSE(std::filesystem::exists(path + ".part"));
  AMTlscCatalog back;
  ASSERT_TRUE(LoadTelescopeFile(path, back));
  ASSERT_EQ(back.count, 2);
  EXPECT_EQ(back[1].name, "Beta");

  EXPECT_FALSE(LoadTelescopeFile(tmp.Path("none.dat"), back));
  EXPECT_EQ(back.count, 0);
  back.Add(Ground("AfterMissing", "M"));  // the emptied catalogue is usable again
  EXPECT_EQ(back.count, 1);

  EXPECT_FALSE(SaveTelescopeFile(tmp.Path("no/folder/Telescopes.dat"), cat, &rec));
  ASSERT_EQ(rec.shown.size(), 1u);
  EXPECT_EQ(rec.shown[0], "err telescope file");
}

TEST(TelescopeFileFormat, LeadingCommentBlockAndDuplicateIds) {
  TempFolder tmp;
  const std::string path = tmp.Path("Telescopes.dat");
  std::ofstream(path) << "; header one\r\n\n; header two\n1 A Alpha\t1\t2\t3\t25\t0\t360\t0\t80\t0\n; inner\n";
  const std::string block = LeadingComments(path);
  EXPECT_EQ(block, "; header one\n\n; header two\n");  // the inner comment is not part of it
  EXPECT_EQ(LeadingComments(tmp.Path("none.dat")), "");

  AMTlscCatalog cat;
  ASSERT_TRUE(LoadTelescopeFile(path, cat));
  cat.Add(Ground("Beta", "a"));  // the same identifier in another letter case
  cat.Add(Ground("Gamma", "G"));
  ASSERT_TRUE(SaveTelescopeFile(path, cat, nullptr, block));
  std::ifstream in(path);
  const std::string text((std::istreambuf_iterator<char>(in)), {});
  EXPECT_EQ(text.rfind(block + "1 A Alpha\t", 0), 0u) << text;
  AMTlscCatalog back;
  ASSERT_TRUE(LoadTelescopeFile(path, back));
  EXPECT_EQ(back.count, 3);

  const std::vector<std::string> dup = DuplicateTelescopeIds(cat);
  ASSERT_EQ(dup.size(), 1u);
  EXPECT_EQ(dup[0], "ID A: Alpha, Beta");
  cat.RemoveAt(1);
  EXPECT_TRUE(DuplicateTelescopeIds(cat).empty());
}

TEST(TelescopeOrdering, CaseInsensitiveByNameThenId) {
  EXPECT_EQ(CompareTlscInfo(Ground("Alpha", "Z"), Ground("beta", "A")), 1);
  EXPECT_EQ(CompareTlscInfo(Ground("beta", "A"), Ground("Alpha", "Z")), -1);
  EXPECT_EQ(CompareTlscInfo(Ground("Ef", "X"), Ground("EF", "x")), 0);
  EXPECT_EQ(CompareTlscInfo(Ground("Ef", "A"), Ground("EF", "b")), 1);
  EXPECT_EQ(CompareTlscInfoForSort(Ground("Alpha", "Z"), Ground("beta", "A")), -1);
  EXPECT_EQ(CompareTlscInfoForSort(Ground("Ef", "X"), Ground("EF", "x")), 0);

  AMTlscCatalog cat;
  for (const char* n : {"delta", "Alpha", "charlie", "Bravo"}) cat.Add(Ground(n, "X"));
  SortTlscCatalog(cat);
  const char* want[] = {"Alpha", "Bravo", "charlie", "delta"};
  for (int i = 0; i < 4; ++i) EXPECT_EQ(cat[i].name, want[i]);
}

TEST(TelescopeInsertion, BinarySearchPositionAndOverwriteQuestion) {
  AMTlscCatalog cat;
  MessageRecorder rec;
  for (const char* n : {"Mike", "Charlie", "Xray", "alpha", "Kilo", "zulu", "Echo"}) {
    const AMInsertOutcome r = InsertTelescope(cat, Ground(n, "ID"), &rec);
    EXPECT_EQ(r.result, AMInsertResult::Inserted);
    EXPECT_EQ(cat[r.row].name, n);
  }
  EXPECT_TRUE(rec.asked.empty());
  ASSERT_EQ(cat.count, 7);
  for (int i = 1; i < cat.count; ++i) EXPECT_EQ(CompareTlscInfo(cat[i - 1], cat[i]), 1) << i;

  // Same name and ID in another case: the question is asked; No keeps the entry.
  AMTlscInfoItem dup = Ground("KILO", "id");
  dup.params[0] = 42;
  rec.answers = {Answer::No, Answer::Yes};
  AMInsertOutcome r = InsertTelescope(cat, dup, &rec);
  EXPECT_EQ(r.result, AMInsertResult::Declined);
  ASSERT_EQ(rec.asked.size(), 1u);
  EXPECT_EQ(rec.asked[0], "Telescope already exists. Do you want overwrite this?");
  EXPECT_EQ(cat.count, 7);
  const int kilo = FindTelescope(cat, "kilo");
  EXPECT_EQ(cat[kilo].name, "Kilo");
  EXPECT_EQ(cat[kilo].params[0], 1.0);
  // Yes overwrites every field in place.
  r = InsertTelescope(cat, dup, &rec);
  EXPECT_EQ(r.result, AMInsertResult::Overwritten);
  EXPECT_EQ(r.row, kilo);
  EXPECT_EQ(cat.count, 7);
  EXPECT_EQ(cat[kilo].name, "KILO");
  EXPECT_EQ(cat[kilo].id_name, "id");
  EXPECT_EQ(cat[kilo].params[0], 42.0);
  // Same name, other ID: a new entry next to it.
  r = InsertTelescope(cat, Ground("Kilo", "ZZ"), &rec);
  EXPECT_EQ(r.result, AMInsertResult::Inserted);
  EXPECT_EQ(r.row, kilo + 1);
  // Without a sink the question defaults to No.
  EXPECT_EQ(InsertTelescope(cat, Ground("echo", "ID"), nullptr).result, AMInsertResult::Declined);
  EXPECT_EQ(FindTelescope(cat, "Kilo", "zz"), kilo + 1);
  EXPECT_EQ(FindTelescope(cat, "Nobody"), -1);
}

TEST(TelescopeValidation, EveryMessageWithItsPassingNeighbour) {
  MessageRecorder rec;
  AMTlscInfoItem t = Ground(" Big  Dish ", "  B D");
  AMTlscCheck c = ValidateTelescope(t, &rec);
  EXPECT_TRUE(c.ok);
  EXPECT_EQ(t.name, "Big__Dish");
  EXPECT_EQ(t.id_name, "B_D");
  EXPECT_TRUE(rec.shown.empty());

  t = Ground("   ", "ID");
  c = ValidateTelescope(t, &rec);
  EXPECT_STREQ(c.message, "Telescope name must be not empty.");
  EXPECT_EQ(c.field, 0);
  ASSERT_EQ(rec.shown.size(), 1u);
  EXPECT_EQ(rec.shown[0], "Telescope name must be not empty.");
  t = Ground("N", " ");
  EXPECT_STREQ(ValidateTelescope(t).message, "Telescope ID name must be not empty.");
  EXPECT_EQ(ValidateTelescope(t).field, 1);

  t = Orbital(-7000, 0.01);
  EXPECT_STREQ(ValidateTelescope(t).message, "Invalid semimajor axis.");
  t = Orbital(20000, 1.01);
  EXPECT_STREQ(ValidateTelescope(t).message, "Invalid eccentrity.");
  t = Orbital(7000, 0.08);  // perigee 6440 km
  EXPECT_STREQ(ValidateTelescope(t).message, "Pericentric distance of orbit is too low!");
  t = Orbital(7000, 0.07);  // perigee 6510 km
  EXPECT_TRUE(ValidateTelescope(t).ok);
  t = Orbital(6478, 0.0);  // exactly on the bound
  EXPECT_TRUE(ValidateTelescope(t).ok);
  t = Orbital(0, 0.0);  // zero axis passes its own check but not the pericentre one
  EXPECT_STREQ(ValidateTelescope(t).message, "Pericentric distance of orbit is too low!");
  t = Orbital(180000, 0.95);  // perigee 9000 km
  EXPECT_TRUE(ValidateTelescope(t).ok);

  t = Ground("G", "G");
  t.params[tlsc::kAzMin] = 360;
  EXPECT_STREQ(ValidateTelescope(t).message, "AZmin must be less than AZmax");
  t.params[tlsc::kAzMin] = 359.9;
  t.params[tlsc::kZMin] = 80;
  EXPECT_STREQ(ValidateTelescope(t).message, "Zmin must be less than Zmax");
  t.params[tlsc::kZMin] = 5;
  EXPECT_TRUE(ValidateTelescope(t).ok);
  // The orbital checks do not apply to a ground entry and vice versa.
  AMTlscInfoItem g = Ground("G", "G");
  g.params[tlsc::kEccentricity] = 5;
  EXPECT_TRUE(ValidateTelescope(g).ok);
}

TEST(TelescopeSelection, CatalogueEntryCopiedIntoTheObservation) {
  AMTlscInfoItem o = Orbital(10000, 0.2);
  o.params[6] = 33;
  const AMTlscItem t(o);
  EXPECT_EQ(t.name, "Sat");
  EXPECT_EQ(t.kind, kTlscOrbital);
  EXPECT_TRUE(t.IsOrbital());
  EXPECT_EQ(t.params[6], 33.0);
  EXPECT_EQ(t.use_orbit_file, 0);
  EXPECT_EQ(AMTlscItem(Ground("G", "G")).kind, kTlscGround);
}
