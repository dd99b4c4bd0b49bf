// SPDX-License-Identifier: Apache-2.0
#include "agent/front/history/tables.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

namespace tables_test {

namespace {

using history::Database;
using history::Failure;
using history::Fit;

class Tables : public ::testing::Test {
 protected:
  Database database{":memory:", Database::Mode::write};

  // Names in the first column.
  std::set<std::string> names(const std::string& sql) const {
    std::set<std::string> found;
    for (auto rows = database.prepare(sql); rows.step();) found.insert(rows.text(0));
    return found;
  }
};

std::string documented() {
  std::ifstream in(ZEB_HISTORY_DOCUMENT);
  return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace

TEST_F(Tables, AreMadeInAnEmptyFile) {
  EXPECT_EQ(Fit::none, history::fitOf(database));
  history::migrate(database, history::steps());
  EXPECT_EQ(Fit::present, history::fitOf(database));
  EXPECT_TRUE(names("SELECT name FROM sqlite_schema").contains("sample"));
}

TEST_F(Tables, OfAnOlderVersionAreBroughtForwardStepByStep) {
  const std::vector<std::string> old = {"CREATE TABLE one(a); INSERT INTO one VALUES (7)"};
  history::migrate(database, old);
  const std::vector<std::string> steps = {"CREATE TABLE one(never)", "ALTER TABLE one ADD b",
                                          "UPDATE one SET b = a + 1"};
  history::migrate(database, steps);
  EXPECT_EQ(3, database.integerOf("PRAGMA user_version"));
  EXPECT_EQ(8, database.integerOf("SELECT b FROM one"));
}

TEST_F(Tables, OfTheFirstVersionGetATableOfAreas) {
  history::migrate(database, history::steps().first(1));
  database.execute("INSERT INTO broker (id, uuid, label) VALUES (1, 'u', 'SHOP')");
  EXPECT_EQ(Fit::older, history::fitOf(database));
  history::migrate(database, history::steps());
  EXPECT_EQ(Fit::present, history::fitOf(database));
  EXPECT_EQ(1, database.integerOf("SELECT count(*) FROM broker"));
  EXPECT_EQ(0, database.integerOf("SELECT count(*) FROM area_use"));
}

TEST_F(Tables, OfAnOlderVersionStayAsTheyWereWhenAStepFails) {
  const std::vector<std::string> steps = {"CREATE TABLE one(a)", "CREATE TABLE two(a); nonsense"};
  EXPECT_THROW(history::migrate(database, steps), Failure);
  EXPECT_EQ(0, database.integerOf("PRAGMA user_version"));
  EXPECT_EQ(Fit::none, history::fitOf(database));
}

TEST_F(Tables, OfANewerVersionAreKnownAsSuch) {
  history::migrate(database, history::steps());
  database.execute("PRAGMA user_version = " + std::to_string(history::kVersion + 1));
  EXPECT_EQ(Fit::newer, history::fitOf(database));
  database.execute("PRAGMA user_version = 0");
  EXPECT_EQ(Fit::older, history::fitOf(database));
}

TEST_F(Tables, OfAnotherProgramAreForeign) {
  database.execute("CREATE TABLE bookmarks(a)");
  EXPECT_EQ(Fit::foreign, history::fitOf(database));
}

TEST_F(Tables, AreDescribedWithEachColumn) {
  history::migrate(database, history::steps());
  const std::string text = documented();
  for (const std::string& table :
       names("SELECT name FROM sqlite_schema WHERE type IN ('table', 'view')")) {
    EXPECT_THAT(text, ::testing::HasSubstr("`" + table + "`"));
    for (const std::string& column : names("SELECT name FROM pragma_table_info('" + table + "')")) {
      EXPECT_THAT(text, ::testing::HasSubstr("`" + column + "`")) << table;
    }
  }
}

TEST_F(Tables, HaveAViewInWhichASampleIsReadable) {
  history::migrate(database, history::steps());
  database.execute(
      "INSERT INTO broker(id, uuid, label) VALUES (1, 'u', 'BRK');"
      "INSERT INTO node VALUES (1, 1, 'g', 'f', 'n', 1);"
      "INSERT INTO look VALUES (1, 1, 1500, 0);"
      "INSERT INTO recent VALUES (1, 1, 3, 300, 1250, NULL);"
      "INSERT INTO part VALUES (1, 1, 0, 0, 0, 1, 0, 0);"
      "INSERT INTO minute VALUES (1, 1, 2, 4, 400, 10, 20)");
  auto rows = database.prepare("SELECT * FROM readable ORDER BY time");
  ASSERT_TRUE(rows.step());
  EXPECT_EQ("look", rows.text(0));
  EXPECT_EQ("1970-01-01T00:00:01.500Z", rows.text(1));
  EXPECT_EQ("BRK", rows.text(2));
  EXPECT_EQ("input", rows.text(6));
  EXPECT_EQ(3, rows.integer(7));
  EXPECT_EQ(1.25, rows.real(9));
  EXPECT_TRUE(rows.isNull(10));
  ASSERT_TRUE(rows.step());
  EXPECT_EQ("1970-01-01T00:02:00.000Z", rows.text(1));
}

TEST_F(Tables, KeepTextsAndBytesAsTheyAre) {
  database.execute("CREATE TABLE one(a, b, c)");
  const std::string text("a\0\x1b[31m\xc3\xa4'", 10);
  const std::vector<std::uint8_t> bytes = {0, 1, 255};
  database.prepare("INSERT INTO one VALUES (?, ?, ?)")
      .run(text, history::Bytes(bytes), history::Integer());
  auto row = database.prepare("SELECT * FROM one");
  ASSERT_TRUE(row.step());
  EXPECT_EQ(text, row.text(0));
  EXPECT_THAT(std::vector<std::uint8_t>(row.bytes(1).begin(), row.bytes(1).end()),
              ::testing::ElementsAreArray(bytes));
  EXPECT_FALSE(row.number(2));
}

TEST_F(Tables, AreAsBeforeAfterATransactionThatIsNotCommitted) {
  database.execute("CREATE TABLE one(a)");
  {
    history::Transaction transaction(database);
    database.execute("INSERT INTO one VALUES (1)");
  }
  EXPECT_EQ(0, database.integerOf("SELECT count(*) FROM one"));
}

}  // namespace tables_test
