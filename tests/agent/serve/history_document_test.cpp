// SPDX-License-Identifier: Apache-2.0
#include "agent/front/serve/history_document.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/agent/history/recorded.h"

namespace history_document_test {

namespace {

namespace fs = std::filesystem;
using nlohmann::ordered_json;

// A minute of one node, with a reset in it.
class HistoryDocument : public ::testing::Test {
 protected:
  HistoryDocument() {
    fs::create_directory(directory);
    fs::permissions(directory, fs::perms(0750));
    recording = std::make_unique<history::Recording>(
        history::Limits{.path = directory + "/history.db"}, [](const std::string&) {});
    for (int i = 0; i <= 20; ++i) look(i * 2, i < 10 ? counting(i) : reset(i - 10));
  }
  ~HistoryDocument() override {
    recording.reset();
    fs::remove_all(directory);
  }

  static std::shared_ptr<model::SeenBroker> reset(std::int64_t messages) {
    auto broker = counting(messages);
    broker->tree->resetTime = kBegin + 19;
    return broker;
  }

  void look(std::int64_t second, std::shared_ptr<model::SeenBroker> broker) {
    auto snapshot = std::make_shared<model::Snapshot>();
    snapshot->brokers = {std::move(broker)};
    snapshot->wall = std::chrono::system_clock::time_point(std::chrono::seconds(kBegin + second));
    snapshot->steady = std::chrono::steady_clock::time_point(std::chrono::seconds(second));
    recording->take(history::Sight{.snapshot = snapshot});
    recording->flush();
  }

  ordered_json document(const std::string& query) const {
    return ordered_json::parse(serve::historyDocument(serve::parseHistoryQuery(query).value(),
                                                      recording.get(), kBegin + 41));
  }

  const std::string directory = testing::TempDir() + "document";
  std::unique_ptr<history::Recording> recording;
};

std::string page() {
  std::ifstream in(ZEB_JSON_DOCUMENT);
  return {std::istreambuf_iterator<char>(in), {}};
}

constexpr char kFlow[] = "broker=SHOP&group=orders&flow=Fulfil&from=1800000000&points=6";

}  // namespace

TEST_F(HistoryDocument, IsShownOnThePage) {
  for (const char* const query : {kFlow, ""}) {
    const std::string block = "```json\n" + document(query).dump(2) + "\n```\n";
    EXPECT_NE(std::string::npos, page().find(block)) << block;
  }
}

TEST_F(HistoryDocument, HasTimesInMicroseconds) {
  const auto point = document(kFlow)["nodes"][0]["points"][0];
  EXPECT_EQ(kBegin, point[0]);
  EXPECT_EQ(point[2].get<std::int64_t>() * 10000, point[4]);
  EXPECT_EQ(point[2].get<std::int64_t>() * 1000, point[5]);
}

TEST_F(HistoryDocument, IsOfTheLastHourUnlessATimeIsNamed) {
  const auto all = document("broker=SHOP&group=orders&flow=Fulfil");
  EXPECT_EQ(kBegin + 41, all["until"]);
  EXPECT_GE(kBegin - 3559, all["from"].get<std::int64_t>());
}

TEST_F(HistoryDocument, HasEventsOfTheFlowWhenTheyAreAskedFor) {
  history::Database(directory + "/history.db", history::Database::Mode::write)
      .execute(
          "INSERT INTO template (id, broker, record, execution_group, flow, node, node_type, text) "
          "VALUES (1, 1, x'07', 'orders', 'Fulfil', 'Reserve', 3, 'Reserved'),"
          "(2, 1, x'08', 'orders', 'Stock', 'Reserve', 3, 'Counted');"
          "WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i < 1101) "
          "INSERT INTO event SELECT 1, 1800000005, x'0102', 1 + (i = 1101), i, x'0A', x'', 0, '', "
          "'', "
          "'', i FROM n");
  EXPECT_FALSE(document(kFlow).contains("events"));
  const auto found = document(std::string(kFlow) + "&events=1");
  EXPECT_EQ(1000, found["events"].size());
  EXPECT_TRUE(found["events_left_out"]);
  EXPECT_EQ("Reserved", found["events"][0]["template"]["text"]);
  EXPECT_EQ(101, found["events"][0]["threadId"]);
  EXPECT_EQ(1100, found["events"].back()["threadId"]);
  EXPECT_TRUE(found["gaps"].empty());
  EXPECT_TRUE(document(std::string(kFlow) + "&events=1&node=Other")["events"].empty());
}

TEST_F(HistoryDocument, HasTheGapsOfThoseEventsAndOfTheWholeBroker) {
  history::Database(directory + "/history.db", history::Database::Mode::write)
      .execute(
          "INSERT INTO gap (broker, look, time_ms, cause, execution_group, flow, node, kind, "
          "least) "
          "VALUES (1, 1, 1800000005000, 'overwritten', NULL, NULL, NULL, 'atLeast', 1), "
          "(1, 1, 1800000005000, 'overwritten', 'orders', 'Fulfil', 'Reserve', 'atLeast', 2), "
          "(1, 1, 1800000005000, 'overwritten', 'orders', 'Stock', 'Reserve', 'atLeast', 3)");
  const auto missedOf = [this](const std::string& more) {
    std::vector<int> missed;
    const auto found = document(kFlow + more);
    for (const auto& gap : found["gaps"]) missed.push_back(gap["missedAtLeast"]);
    return missed;
  };
  EXPECT_EQ((std::vector{1, 2}), missedOf("&events=1"));
  EXPECT_EQ((std::vector{1}), missedOf("&events=1&node=Other"));
}

TEST_F(HistoryDocument, TellsHowTheAreaOfNodesFilledUp) {
  EXPECT_TRUE(document("")["brokers"][0]["area"].is_null());
  history::Database(directory + "/history.db", history::Database::Mode::write)
      .execute(
          "INSERT INTO area_use VALUES (1, 499952, 4096, 1000), (1, 499999, 4096, 3000);"
          "UPDATE span SET begin_ms = 499952 * 3600000");
  const auto area = document("")["brokers"][0]["area"];
  EXPECT_EQ(499952 * 3600, area["since"]);
  EXPECT_EQ(kBegin + 40, area["until"]);
  EXPECT_EQ(3000, area["used_bytes"]);
  EXPECT_EQ(94716, area["full_in_seconds"]);
}

TEST_F(HistoryDocument, OfAFlowThatIsNotThereHasNoNodes) {
  const auto none = document("broker=NONE&group=orders&flow=Fulfil");
  EXPECT_EQ("NONE", none["broker"]);
  EXPECT_TRUE(none["nodes"].empty());
  EXPECT_TRUE(none["oldest"].is_null());
}

}  // namespace history_document_test
