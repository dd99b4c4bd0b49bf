// SPDX-License-Identifier: Apache-2.0
// The command "metrics", as it is started.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "tests/agent/zebmon.h"
#include "tests/support/image.h"
#include "tests/support/live_segment.h"

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

TEST_F(ZebmonMetrics, WithoutABrokerSayThatThereIsNone) {
  const Result result = run({"metrics"});
  EXPECT_EQ(0, result.code);
  EXPECT_TRUE(contains(result.out, "\nzeb_brokers 0\n")) << result.out;
  EXPECT_EQ(69, run({"metrics", "--broker", "BRK1"}).code);
}
