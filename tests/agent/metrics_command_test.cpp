// SPDX-License-Identifier: Apache-2.0
// The command "metrics", as it is started.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "agent/front/cli/metrics_state.h"
#include "tests/agent/zebmon.h"
#include "tests/support/image.h"
#include "tests/support/live_segment.h"

namespace metrics_command_test {

namespace {

namespace fs = std::filesystem;

class ZebmonMetrics : public testing::Test {
 protected:
  ZebmonMetrics() { fs::create_directory(directory_); }
  ~ZebmonMetrics() override { fs::remove_all(directory_); }

  const std::string directory_ = testing::TempDir() + "textfiles";
  const std::string file_ = directory_ + "/zeb.prom";
};

std::string orders() {
  return "zeb_node_messages_total{broker=\"BRK1\",execution_group=\"orders\",flow=\"Fulfil\","
         "node=\"Reserve\",node_type=\"input\"} 3\n";
}

// What stands behind `sample` in its line.
std::string valueIn(const std::string& text, const std::string& sample) {
  const auto at = text.find("\n" + sample);
  if (at == text.npos) return "absent";
  const auto begin = at + 1 + sample.size();
  return text.substr(begin, text.find('\n', begin) - begin);
}

}  // namespace

TEST_F(ZebmonMetrics, OfALiveBrokerAreWritten) {
  const LiveSegment live("1-2-3", image::segment({image::ordersBlock()}));
  const Result result = run({"metrics"});
  EXPECT_EQ(0, result.code) << result.errors;
  EXPECT_EQ("", result.errors);
  EXPECT_TRUE(contains(result.out, orders())) << result.out;
  EXPECT_TRUE(contains(result.out, "zeb_execution_group_up{")) << result.out;
  EXPECT_TRUE(contains(result.out, "zebmon_build_info{version=")) << result.out;
  EXPECT_TRUE(contains(result.out, "zebmon_snapshot_duration_seconds ")) << result.out;
}

TEST_F(ZebmonMetrics, ReplaceAFileThatAllMayRead) {
  const LiveSegment live("1-2-3", image::segment({image::ordersBlock()}));
  std::ofstream(file_) << "old";
  umask(077);
  const Result result = run({"metrics", "--textfile", file_});
  EXPECT_EQ(0, result.code) << result.errors;
  EXPECT_EQ("", result.out);
  EXPECT_TRUE(contains(contents(file_), orders()));
  EXPECT_EQ(fs::perms(0644), fs::status(file_).permissions());
  EXPECT_EQ(1, std::distance(fs::directory_iterator(directory_), fs::directory_iterator()));
}

TEST_F(ZebmonMetrics, AFileThatCantBeWrittenIsSaid) {
  const Result result = run({"metrics", "--textfile", directory_ + "/none/zeb.prom"});
  EXPECT_EQ(74, result.code);
  EXPECT_TRUE(contains(result.errors, "zebmon: can't write " + directory_ +
                                          "/none/zeb.prom: No such file or directory. "))
      << result.errors;
}

// A first run can't tell what is new.
TEST_F(ZebmonMetrics, CountEventsFromRunToRun) {
  LiveSegment live("1-2-3", image::ordersAfter(3));
  const std::string state = directory_ + "/state";
  const auto observed = [&] {
    const Result result = run({"metrics", "--state", state});
    EXPECT_EQ(0, result.code) << result.errors;
    EXPECT_EQ("", result.errors);
    return valueIn(result.out, "zeb_events_observed_total{broker=\"BRK1\",kind=\"message\"} ") +
           ", missed " + valueIn(result.out, "zeb_events_missed_total{broker=\"BRK1\"} ");
  };
  EXPECT_FALSE(contains(run({"metrics"}).out, "zeb_events"));
  EXPECT_EQ("0, missed 0", observed());
  EXPECT_EQ(fs::perms(0600), fs::status(state).permissions());
  live.write(image::ordersAfter(5));
  EXPECT_EQ("2, missed 0", observed());
  EXPECT_EQ("2, missed 0", observed());
  live.write(image::ordersAfter(image::kOrdersSlots + 7));
  EXPECT_EQ(std::to_string(2 + image::kOrdersSlots) + ", missed 2", observed());
}

TEST_F(ZebmonMetrics, CountAllEventsOfABrokerThatCameBetweenTwoRuns) {
  const std::string state = directory_ + "/state";
  EXPECT_EQ(0, run({"metrics", "--state", state}).code);
  const LiveSegment live("1-2-3", image::ordersAfter(3));
  EXPECT_TRUE(contains(run({"metrics", "--state", state}).out,
                       "zeb_events_observed_total{broker=\"BRK1\",kind=\"message\"} 3\n"));
}

TEST_F(ZebmonMetrics, TakeNoStateThatIsNone) {
  const std::string state = directory_ + "/state";
  std::ofstream(state) << "{}";
  const Result result = run({"metrics", "--state", state});
  EXPECT_EQ(0, result.code);
  EXPECT_TRUE(contains(result.errors, "is no state of an earlier run. It is replaced."))
      << result.errors;
  EXPECT_FALSE(contains(run({"metrics", "--state", state}).errors, "no state"));
  EXPECT_EQ(74, run({"metrics", "--state", directory_ + "/none/state"}).code);
  EXPECT_EQ(64, run({"metrics", "--state", state, "--from", "/none"}).code);
}

// What a run leaves is read again, and nothing else is.
TEST(MetricsState, IsReadAsItWasWritten) {
  cli::MetricsState state;
  state.totals["/tmp/a"] = {.messages = 1, .exceptions = 2, .unknown = 3, .missed = 4};
  state.totals["/tmp/b"] = {};
  state.marks["/tmp/a"] = {.segmentId = 7,
                           .newest = reader::RecordId::fromHex(std::string(32, 'A')),
                           .newestAt = 32 + 144,
                           .templates = {}};
  state.marks["/tmp/b"] = {.segmentId = 0, .newest = {}, .newestAt = 0, .templates = {}};
  const std::string text = textOf(state);
  EXPECT_EQ(state, cli::metricsStateIn(text));
  const auto with = [&text](const std::string& part, const std::string& other) {
    std::string changed = text;
    EXPECT_TRUE(contains(changed, part)) << text;
    return changed.replace(changed.find(part), part.size(), other);
  };
  const std::string broken[] = {"",
                                "[]",
                                "null",
                                text.substr(0, text.size() / 2),
                                with("zebmon.metrics.state", "zebmon.state"),
                                with("\"version\":1", "\"version\":2"),
                                with("\"messages\":1", "\"messages\":-1"),
                                with("\"messages\":1", "\"messages\":1e300"),
                                with("\"newestAt\":176", "\"newestAt\":177"),
                                with("\"segment\":7", "\"segment\":-7"),
                                with("\"keyFile\":\"/tmp/a\"", "\"keyFile\":3")};
  for (const std::string& other : broken) EXPECT_FALSE(cli::metricsStateIn(other)) << other;
}

TEST_F(ZebmonMetrics, WithoutABrokerSayThatThereIsNone) {
  const Result result = run({"metrics"});
  EXPECT_EQ(0, result.code);
  EXPECT_TRUE(contains(result.out, "\nzeb_brokers 0\n")) << result.out;
  EXPECT_EQ(69, run({"metrics", "--broker", "BRK1"}).code);
}

}  // namespace metrics_command_test
