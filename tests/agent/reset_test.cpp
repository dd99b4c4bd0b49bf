// SPDX-License-Identifier: Apache-2.0
// Statistics back to zero: what is written, under which lock, and what is left alone.
#include "agent/act/reset.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <thread>

#include "agent/act/held_lock.h"
#include "agent/front/cli/save.h"
#include "agent/model/collector.h"
#include "agent/model/selection.h"
#include "agent/render/reset_screens.h"
#include "tests/agent/live_lock.h"
#include "tests/agent/zebmon.h"
#include "tests/support/image.h"
#include "tests/support/ipc_objects.h"
#include "tests/support/live_segment.h"

namespace reset_test {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using act::HeldLock;
using act::Taken;
using image::Bytes;
using model::ResetResult;
using nlohmann::json;
using Outcome = model::ResetOutcome;

constexpr char kRecordLock[] = "06000000E8030000050000000F000000";
constexpr std::int64_t kNow = 1'795'000'000;

// The orders broker with a second node, which may have counted nothing yet.
Bytes twoNodes(const image::Numbers& second) {
  image::Block block = image::ordersBlock();
  block.add(image::node({5, 1000, 4, 24}, image::kFlow, u"Ship", 2));
  block.add(image::statistics({6, 1000, 5, 25}, {5, 1000, 4, 24}, second));
  return image::segment({block});
}

image::Numbers nothing() {
  return {.count = "",
          .sumSize = "",
          .maxSize = 0,
          .minSize = 0,
          .sumElapsed = "",
          .maxElapsed = 0,
          .minElapsed = 0,
          .sumQueued = "",
          .maxQueued = 0,
          .minQueued = 0,
          .first = 0,
          .last = 0};
}

class Reset : public testing::Test {
 protected:
  void make(const Bytes& bytes) { live_ = std::make_unique<LiveSegment>("1-2-3", bytes); }

  Bytes bytes() const {
    const auto segment = support::segmentOf(live_->keyFile());
    return support::bytesOf(*segment);
  }

  static std::shared_ptr<const model::Snapshot> look() { return model::Collector("/tmp").take(); }

  // Of the whole broker, waiting for no lock.
  static ResetResult resetAll() {
    const auto snapshot = look();
    const auto plans = model::resetPlans(*snapshot, *snapshot);
    return act::reset(plans.at(0), "/tmp/", kNow, 0ms);
  }

  static const reader::Statistics statistics() {
    return *look()->brokers[0]->tree->executionGroups[0].messageFlows[0].nodes[0].statistics;
  }
  static reader::Time resetTime() { return look()->brokers[0]->tree->resetTime; }

  std::unique_ptr<LiveSegment> live_ =
      std::make_unique<LiveSegment>("1-2-3", image::segment({image::ordersBlock()}));
};

constexpr char kFile[] = "/tmp/before.tar";

// In a working directory of its own, whose files go with it.
class ZebmonReset : public Reset {
 protected:
  void SetUp() override {
    fs::create_directory(kHere);
    fs::current_path(kHere);
  }
  void TearDown() override {
    fs::current_path("/");
    fs::remove_all(kHere);
    fs::remove(kFile);
  }

  static std::vector<std::string> filesHere() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(kHere))
      names.push_back(entry.path().filename());
    std::ranges::sort(names);
    return names;
  }

  static constexpr char kHere[] = "/tmp/here";
};

}  // namespace

TEST_F(Reset, SetsTheFiguresAndTheBrokersTimeAndNothingElse) {
  const LiveLock record(kRecordLock);
  const LiveLock area("1-2-3.zebcstar");
  const Bytes before = bytes();
  const ResetResult result = resetAll();
  ASSERT_EQ(1U, result.nodes.size());
  EXPECT_EQ(Outcome::reset, result.nodes[0].outcome);
  ASSERT_TRUE(result.resetTime);
  EXPECT_EQ(Outcome::reset, result.resetTime->outcome);
  EXPECT_EQ(kNow, resetTime());
  EXPECT_EQ(0, statistics().messageCount);
  EXPECT_FALSE(statistics().firstCollection);
  const Bytes after = bytes();
  const std::size_t last = image::segment({image::ordersBlock()}).size();
  ASSERT_EQ(before.size(), after.size());
  EXPECT_EQ(before.size(), last);
  std::size_t changed = 0;
  for (std::size_t i = 0; i < after.size(); ++i) changed += before[i] != after[i] ? 1U : 0U;
  EXPECT_GE(128U + 4U, changed);
  EXPECT_LT(20U, changed);
}

TEST_F(Reset, LeavesLocksAndReferencesAsTheyWere) {
  const LiveLock record(kRecordLock);
  record.refer();
  const LiveLock area("1-2-3.zebcstar");
  const std::size_t sets = support::semaphoreSets().size();
  resetAll();
  EXPECT_EQ(1, record.value());
  EXPECT_EQ(1, area.value());
  EXPECT_EQ(getpid(), reader::readLock(record.keyFile()).semaphore.lastProcess);
  EXPECT_EQ(1U, reader::readLock(record.keyFile()).queue.references);
  EXPECT_EQ(0U, reader::readLock(area.keyFile()).queue.references);
  EXPECT_EQ(sets, support::semaphoreSets().size());
  EXPECT_EQ(0U, live_->attached());
}

TEST_F(Reset, OfANodeWhoseLockSomebodyHasWritesNothingAndNamesHim) {
  const LiveLock record(kRecordLock);
  const LiveLock area("1-2-3.zebcstar");
  const pid_t holder = record.takenByADeadProcess();
  const Bytes before = bytes();
  const ResetResult result = resetAll();
  EXPECT_EQ(Outcome::timedOut, result.nodes[0].outcome);
  EXPECT_EQ(holder, result.nodes[0].holder);
  EXPECT_FALSE(result.resetTime);
  EXPECT_EQ(before, bytes());
  EXPECT_EQ(0, record.value());
}

TEST_F(Reset, ANodeWithoutALockIsSkippedAndTheTimeStays) {
  const LiveLock area("1-2-3.zebcstar");
  const Bytes before = bytes();
  const ResetResult result = resetAll();
  EXPECT_EQ(Outcome::noLock, result.nodes[0].outcome);
  EXPECT_FALSE(result.resetTime);
  EXPECT_EQ(before, bytes());
  EXPECT_FALSE(fs::exists(std::string("/tmp/") + kRecordLock + ".zebmutx"));
  std::ofstream(std::string("/tmp/") + kRecordLock + ".zebmutx");
  EXPECT_EQ(Outcome::noLock, resetAll().nodes[0].outcome) << "a key file alone";
  fs::remove(std::string("/tmp/") + kRecordLock + ".zebmutx");
}

TEST_F(Reset, ANodeThatCountedNothingNeedsNoLock) {
  live_.reset();
  make(twoNodes(nothing()));
  const LiveLock record(kRecordLock);
  const LiveLock area("1-2-3.zebcstar");
  const ResetResult result = resetAll();
  ASSERT_EQ(2U, result.nodes.size());
  EXPECT_EQ(Outcome::reset, result.nodes[0].outcome);
  EXPECT_EQ(Outcome::wasAtZero, result.nodes[1].outcome);
  EXPECT_EQ(kNow, resetTime());
}

TEST_F(Reset, OfSomeNodesLeavesTheBrokersTime) {
  live_.reset();
  make(twoNodes({}));
  const LiveLock record(kRecordLock);
  const LiveLock area("1-2-3.zebcstar");
  const auto snapshot = look();
  model::Selection selection;
  selection.node = "Reserve";
  const auto plans = model::resetPlans(*snapshot, model::select(*snapshot, selection));
  ASSERT_EQ(1U, plans.size());
  ASSERT_EQ(1U, plans[0].nodes.size());
  EXPECT_FALSE(plans[0].allNodes);
  const ResetResult result = act::reset(plans[0], "/tmp/", kNow, 0ms);
  EXPECT_EQ(Outcome::reset, result.nodes[0].outcome);
  EXPECT_FALSE(result.resetTime);
  EXPECT_EQ(snapshot->brokers[0]->tree->resetTime, resetTime());
  EXPECT_NE(kNow, resetTime());
  EXPECT_EQ(0, statistics().messageCount);
  EXPECT_EQ(3, look()
                   ->brokers[0]
                   ->tree->executionGroups[0]
                   .messageFlows[0]
                   .nodes[1]
                   .statistics->messageCount);
}

TEST_F(Reset, OfARecordThatIsNoLongerThereWritesNothing) {
  const LiveLock record(kRecordLock);
  const auto snapshot = look();
  const auto plans = model::resetPlans(*snapshot, *snapshot);
  image::Block other = image::ordersBlock();
  other.contents.resize(other.contents.size() - 168);
  other.add(image::statistics({6, 1000, 5, 16}, image::kNode));
  live_->write(image::segment({other}));
  const Bytes before = bytes();
  EXPECT_EQ(Outcome::recordMoved, act::reset(plans[0], "/tmp/", kNow, 0ms).nodes[0].outcome);
  EXPECT_EQ(before, bytes());
  live_->removeSegment();
  EXPECT_EQ(Outcome::recordMoved, act::reset(plans[0], "/tmp/", kNow, 0ms).nodes[0].outcome);
  EXPECT_EQ(1, record.value());
}

TEST_F(Reset, WithoutWritePermissionIsRefused) {
  const LiveLock record(kRecordLock, 0);
  const pid_t child = fork();
  if (child == 0) {
    _exit(giveUpRightsOverObjects() && resetAll().nodes[0].outcome == Outcome::noPermission ? 0
                                                                                            : 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(0, status);
}

TEST(HeldLocks, GoBackToTheKernelWhenTheirHolderDies) {
  const LiveLock lock("name");
  const pid_t child = fork();
  if (child == 0) {
    const HeldLock held(lock.keyFile(), 0ms);
    _exit(held.taken() == Taken::yes && lock.value() == 0 ? 0 : 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(0, status);
  EXPECT_EQ(1, lock.value());
}

TEST(HeldLocks, OfAReplacedKeyFileAreGivenBackUnused) {
  const LiveLock lock("name");
  lock.change(-1);
  Taken taken = Taken::failed;
  std::thread waiting([&] {
    const HeldLock held(lock.keyFile(), 60s);
    taken = held.taken();
  });
  while (semctl(lock.semaphore(), 0, GETNCNT) == 0) sched_yield();
  fs::rename(lock.keyFile(), "/tmp/aside");
  std::ofstream{lock.keyFile()};
  lock.change(1);
  waiting.join();
  EXPECT_EQ(Taken::changed, taken);
  EXPECT_EQ(1, lock.value());
  fs::remove("/tmp/aside");
}

TEST(HeldLocks, ThatAreNotThereAreNotMade) {
  EXPECT_EQ(Taken::noLock, HeldLock("/tmp/absent.zebmutx", 0ms).taken());
  EXPECT_FALSE(fs::exists("/tmp/absent.zebmutx"));
}

TEST_F(ZebmonReset, WithoutYesOnlyTells) {
  const LiveLock record(kRecordLock);
  const Bytes before = bytes();
  const Result result = run({"reset", "--columns", "node,messageCount,result"});
  EXPECT_EQ(0, result.code);
  EXPECT_EQ("node     messages  result\nReserve         3  would be reset\n", result.out);
  EXPECT_EQ("zebmon: nothing was reset. The same command with --yes does it.\n", result.errors);
  EXPECT_EQ(before, bytes());
}

TEST_F(ZebmonReset, WithYesDoesIt) {
  const LiveLock record(kRecordLock);
  const LiveLock area("1-2-3.zebcstar");
  const Result result =
      run({"reset", "--node", "Res*", "--yes", "--format", "json", "--snapshot", kFile});
  EXPECT_EQ(0, result.code) << result.errors;
  const json document = json::parse(result.out);
  EXPECT_EQ("zebmon.reset", document["schema"]);
  EXPECT_EQ(true, document["done"]);
  EXPECT_EQ("reset", document["brokers"][0]["nodes"][0]["outcome"]);
  EXPECT_EQ(3, document["brokers"][0]["nodes"][0]["messageCount"]);
  EXPECT_EQ("reset", document["brokers"][0]["resetTimeOutcome"]);
  EXPECT_EQ(kFile, document["snapshotFile"]);
  EXPECT_EQ(0, statistics().messageCount);
  EXPECT_TRUE(resetTime());
}

TEST_F(ZebmonReset, KeepsTheFiguresInASnapshotFirst) {
  const LiveLock record(kRecordLock);
  const LiveLock area("1-2-3.zebcstar");
  const Result result = run({"reset", "--yes"});
  EXPECT_EQ(0, result.code) << result.errors;
  const auto files = filesHere();
  ASSERT_EQ(1U, files.size());
  EXPECT_TRUE(files[0].starts_with("zebmon-BRK1-20")) << files[0];
  EXPECT_EQ(
      "zebmon: the figures of before are in " + files[0] + ". See them with zebmon stats --from.\n",
      result.errors);
  struct stat file {};
  ASSERT_EQ(0, stat(files[0].c_str(), &file));
  EXPECT_EQ(0600U, file.st_mode & 0777);
  EXPECT_EQ("messageCount\n3\n",
            run({"stats", "--from", files[0], "--format", "csv", "--columns", "messageCount"}).out);
  EXPECT_EQ(0, run({"locks", "--from", files[0]}).code) << "it has the machine's facts";
  EXPECT_EQ(0, statistics().messageCount);
}

TEST_F(ZebmonReset, OfSeveralBrokersKeepsThemInOneFile) {
  const LiveSegment other("4-5-6", image::segment({image::ordersBlock()}));
  const LiveLock record(kRecordLock);
  run({"reset", "--yes"});
  const auto files = filesHere();
  ASSERT_EQ(1U, files.size());
  EXPECT_TRUE(files[0].starts_with("zebmon-2-brokers-20")) << files[0];
}

TEST_F(ZebmonReset, ResetsNothingWhenTheSnapshotCannotBeWritten) {
  const LiveLock record(kRecordLock);
  const LiveLock area("1-2-3.zebcstar");
  const Bytes before = bytes();
  const Result absent = run({"reset", "--yes", "--snapshot", "/tmp/absent/a.tar"});
  EXPECT_EQ(66, absent.code);
  EXPECT_EQ("", absent.out);
  EXPECT_EQ(
      "zebmon: nothing was reset: can't write /tmp/absent/a.tar: No such file or directory. Name "
      "another file with --snapshot.\n",
      absent.errors);
  std::ofstream(kFile) << "precious";
  const Result there = run({"reset", "--yes", "--snapshot", kFile});
  EXPECT_EQ(74, there.code);
  EXPECT_EQ(
      "zebmon: nothing was reset: /tmp/before.tar is there already and was left as it is. Name "
      "another file with --snapshot.\n",
      there.errors);
  EXPECT_EQ("precious", contents(kFile));
  EXPECT_EQ(64, run({"reset", "--yes", "--snapshot", "-"}).code);
  EXPECT_EQ(64, run({"reset", "--snapshot", "/tmp/b.tar"}).code);
  EXPECT_EQ(before, bytes());
  EXPECT_EQ(0U, filesHere().size());
}

TEST_F(ZebmonReset, AFileOfTheSameNameIsNeverTouched) {
  const auto snapshot = look();
  const auto save = [&] {
    return cli::save(*snapshot, {}, "", archived::Existing::replace, "--snapshot");
  };
  const std::string first = save();
  std::ofstream(first) << "precious";
  const std::string second = save();
  EXPECT_EQ(first.substr(0, first.size() - 4) + "-2.tar", second);
  EXPECT_EQ(first.substr(0, first.size() - 4) + "-3.tar", save());
  EXPECT_EQ("precious", contents(first));
  EXPECT_EQ(3U, filesHere().size());
}

TEST_F(ZebmonReset, OfWhatCannotBeResetSaysSo) {
  const Result result = run({"reset", "--yes"});
  EXPECT_EQ(66, result.code);
  EXPECT_TRUE(contains(result.out, "skipped: it has no lock under that name")) << result.out;
  EXPECT_TRUE(contains(result.errors, "its reset time stays as it was"));
  EXPECT_EQ(3, statistics().messageCount);
  EXPECT_EQ(69, run({"reset", "--node", "X", "--yes"}).code);
}

TEST(ResetWords, EachOutcomeHasItsNameAndItsWords) {
  std::set<std::string> names;
  std::set<std::string> texts;
  for (int i = 0; i <= static_cast<int>(Outcome::failed); ++i) {
    const model::RecordReset record{static_cast<Outcome>(i), EIO, 42};
    names.insert(render::outcomeName(record.outcome));
    texts.insert(render::outcomeText(record));
  }
  EXPECT_EQ(7U, names.size());
  EXPECT_EQ(7U, texts.size());
  EXPECT_TRUE(texts.contains("not reset: process 42 has its lock, see zebmon locks"));
  EXPECT_TRUE(texts.contains("not reset: Input/output error"));
}

}  // namespace reset_test
