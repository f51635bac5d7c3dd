// The errors and SEFD tables matched against the telescopes of a UVX file: names that differ from
// the AN names of their identifiers, and baselines whose telescopes have no row.
#include <gtest/gtest.h>

#include "errors/table_match.h"
#include "errors_test_util.h"

TEST(TableMatch, NamesAndBaselinesAgainstTheFile) {
  TempDir dir;
  const std::string path = dir.File("s.uvx");
  WriteSampleFile(path, 9);  // AN: 1 EFLSBERG, 2 ONSALA60, 3 MEDICINA, 4 NOTO; baselines 1-2, 2-3, 3-4
  const struct {
    const char* what;
    std::vector<AMTableRow> rows;
    std::vector<std::string> lines;
  } cases[] = {
      {"every telescope, names as in the file (case ignored)",
       {{"eflsberg", 1}, {"ONSALA60", 2}, {"Medicina", 3}, {"NOTO", 4}},
       {}},
      {"a longer name is compared by the 8 characters AN holds",
       {{"EFLSBERG_100m", 1}, {"ONSALA60", 2}, {"MEDICINA", 3}, {"NOTO", 4}},
       {}},
      {"a row named after another telescope, one without a row",
       {{"EFLSBERG", 1}, {"NOTO", 2}, {"MEDICINA", 3}},
       {"row 2 (ID 2) \"NOTO\": the file's AN table names ID 2 \"ONSALA60\"",
        "1 of 3 baselines have a telescope without a row (ID 4): their records are left unchanged (\"index "
        "telescope not found\")"}},
      {"an identifier the file does not have",
       {{"EFLSBERG", 1}, {"ONSALA60", 2}, {"MEDICINA", 3}, {"NOTO", 4}, {"SPACE", 9}},
       {"row 5 (ID 9) \"SPACE\": the file has no telescope 9"}},
      {"an empty table",
       {},
       {"3 of 3 baselines have a telescope without a row (ID 1, 2, 3, 4): their records are left unchanged "
        "(\"index telescope not found\")"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    AMTableMatch m;
    std::string error;
    ASSERT_TRUE(MatchTableToFile(path, c.rows, m, &error)) << error;
    EXPECT_EQ(m.baselines, 3);
    EXPECT_EQ(m.Lines(), c.lines);
    EXPECT_EQ(m.Clean(), c.lines.empty());
  }
  AMTableMatch m;
  std::string error;
  EXPECT_FALSE(MatchTableToFile(dir.File("absent.uvx"), {}, m, &error));
  EXPECT_NE(error.find("absent.uvx"), std::string::npos) << error;
}
