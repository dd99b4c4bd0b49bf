// SPDX-License-Identifier: Apache-2.0
// "zebmon doctor" as people and scripts start it.
#include <gtest/gtest.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "tests/agent/live_lock.h"
#include "tests/agent/zebmon.h"
#include "tests/support/image.h"
#include "tests/support/live_segment.h"

namespace {

using Json = nlohmann::json;

constexpr char kLock[] = "lock.stuck:/tmp/1-2-3.zebcedar.zebmutx";

image::Bytes brokersSegment() {
  return image::segment({image::ordersBlock()});
}

}  // namespace

TEST(Doctor, FindsAStuckLockAndEndsWithTwo) {
  const LiveSegment segment("1-2-3", brokersSegment());
  const LiveLock lock("1-2-3.zebcedar");
  const pid_t dead = lock.takenByADeadProcess();
  const Result result = run({"doctor", "--only", "lock"});
  EXPECT_EQ(2, result.code);
  EXPECT_TRUE(result.out.starts_with("CRITICAL  lock.stuck\n")) << result.out;
  EXPECT_TRUE(contains(result.out, "process " + std::to_string(dead) + " took it and is dead"));
  EXPECT_TRUE(contains(result.out, "--repair " + std::string(kLock) + " --yes\n"));
  EXPECT_EQ(0, lock.value()) << "a look changes nothing";
}

TEST(Doctor, ShowsAPlanAndChangesNothingWithoutYes) {
  const LiveSegment segment("1-2-3", brokersSegment());
  const LiveLock lock("1-2-3.zebcedar");
  lock.takenByADeadProcess();
  const Result result = run({"doctor", "--repair", "lock.stuck"});
  EXPECT_EQ(2, result.code);
  EXPECT_TRUE(contains(result.out, "add 1 to its semaphore")) << result.out;
  EXPECT_TRUE(contains(result.out, "Nothing was changed."));
  EXPECT_EQ(0, lock.value());
}

TEST(Doctor, FreesOneLockAndEndsWithWhatIsLeft) {
  const LiveSegment segment("1-2-3", brokersSegment());
  const LiveLock lock("1-2-3.zebcedar");
  const LiveLock other("1-2-3.zebcetar");
  lock.takenByADeadProcess();
  other.takenByADeadProcess();
  const Result result = run({"doctor", "--only", "lock", "--repair", kLock, "--yes"});
  EXPECT_EQ(2, result.code) << "the other one is left";
  EXPECT_TRUE(contains(result.out, "done: it is free. What may be half done:")) << result.out;
  EXPECT_EQ(1, lock.value());
  EXPECT_EQ(0, other.value());
  EXPECT_EQ(0, run({"doctor", "--only", "lock", "--repair", "lock.stuck", "--yes"}).code);
  EXPECT_EQ(1, other.value());
}

TEST(Doctor, LeavesALivingHoldersLock) {
  const LiveSegment segment("1-2-3", brokersSegment());
  const LiveLock lock("1-2-3.zebcedar");
  lock.change(-1);
  const Result result = run({"doctor", "--repair", "lock.stuck", "--yes"});
  EXPECT_TRUE(contains(result.errors, "there is no lock.stuck to repair now")) << result.errors;
  EXPECT_EQ(0, lock.value());
}

TEST(Doctor, SaysWhatItCanRepairAndFind) {
  const Result repair = run({"doctor", "--repair", "area.full"});
  EXPECT_EQ(64, repair.code);
  EXPECT_TRUE(contains(repair.errors, "there are lock.stuck and leftover.lock")) << repair.errors;
  const Result only = run({"doctor", "--only", "nonsense"});
  EXPECT_EQ(64, only.code);
  EXPECT_TRUE(contains(only.errors, "lock.held-long")) << only.errors;
  EXPECT_EQ(64, run({"doctor", "--yes"}).code);
}

TEST(Doctor, WithoutABrokerEndsWithNoBroker) {
  const Result result = run({"doctor", "--only", "lock"});
  EXPECT_EQ(69, result.code);
  EXPECT_EQ("", result.out);
}

TEST(Doctor, WritesADocument) {
  const LiveSegment segment("1-2-3", brokersSegment());
  const LiveLock lock("1-2-3.zebcedar");
  lock.takenByADeadProcess();
  const Result result = run({"doctor", "--format", "json", "--only", "lock"});
  const Json document = Json::parse(result.out);
  EXPECT_EQ("zebmon.doctor", document["schema"]);
  EXPECT_EQ(1, document["version"]);
  EXPECT_TRUE(document.contains("collectedAt"));
  EXPECT_EQ(1, document["criticalCount"]);
  ASSERT_EQ(1U, document["findings"].size());
  EXPECT_EQ(kLock, document["findings"][0]["key"]);
  EXPECT_EQ("critical", document["findings"][0]["severity"]);
  EXPECT_TRUE(document["notChecked"].is_array());
}
