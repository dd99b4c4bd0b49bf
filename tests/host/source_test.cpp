// SPDX-License-Identifier: Apache-2.0
#include "host/sources/source.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

#include "host/sources/schedule.h"

namespace source_test {

using namespace flowfile;
using namespace host;
namespace fs = std::filesystem;

namespace {

class Sources : public testing::Test {
 protected:
  void SetUp() override { fs::create_directories(folder_); }
  void TearDown() override { fs::remove_all(folder_); }

  fs::path write(const std::string& name, const std::string& text) {
    std::ofstream(folder_ / name, std::ios::binary) << text;
    return folder_ / name;
  }

  std::vector<Draft> all(const SourceSettings& settings, std::uint64_t seed = 1) {
    std::vector<Draft> drafts;
    const auto source = openSource(settings, seed, stop_);
    for (Draft draft; source->next(draft);) drafts.push_back(draft);
    return drafts;
  }

  fs::path folder_ = fs::temp_directory_path() / "host_sources";
  StopSignal stop_;
};

Lines linesIn(const fs::path& path) {
  return {path, 1};
}

Generated generated(std::uint64_t count, const Distribution& size) {
  return {count, size};
}

}  // namespace

TEST_F(Sources, LinesKeepEmptyOnesAndNeedNoNewlineAtTheEnd) {
  const auto drafts = all(linesIn(write("l.txt", "one\n\nthree")));
  ASSERT_EQ(drafts.size(), 3U);
  EXPECT_EQ(drafts[0].body, "one");
  EXPECT_EQ(drafts[1].body, "");
  EXPECT_EQ(drafts[2].body, "three");
  EXPECT_EQ(drafts[2].name, "l.txt:3");
}

TEST_F(Sources, LinesMayBeLongerThanAnyBuffer) {
  const std::string line(300000, 'x');
  const auto drafts = all(linesIn(write("l.txt", line + "\n" + line + "y\n")));
  ASSERT_EQ(drafts.size(), 2U);
  EXPECT_EQ(drafts[0].body, line);
  EXPECT_EQ(drafts[1].body, line + "y");
}

TEST_F(Sources, AFileIsReadAsOftenAsAsked) {
  Lines input = linesIn(write("l.txt", "a\nb\n"));
  input.repeat = 3;
  const auto drafts = all(input);
  ASSERT_EQ(drafts.size(), 6U);
  EXPECT_EQ(drafts[4].body, "a");
  EXPECT_EQ(drafts[4].name, "l.txt:1");
}

TEST_F(Sources, AnEmptyFileGivesNothingHoweverOftenItIsRead) {
  Lines input = linesIn(write("l.txt", ""));
  input.repeat = 1000000000000;
  EXPECT_TRUE(all(input).empty());
}

TEST_F(Sources, WithoutEndEachKindBeginsAgainButWhatCannotBeReadTwice) {
  write("l.txt", "a\nb\n");
  const auto fifth = [this](const SourceSettings& settings) {
    const auto source = openSource(withoutEnd(settings), 1, stop_);
    Draft draft;
    for (int i = 0; i < 5; ++i) EXPECT_TRUE(source->next(draft));
    return draft.name;
  };
  EXPECT_EQ(fifth(linesIn(folder_ / "l.txt")), "l.txt:1");
  EXPECT_EQ(fifth(Files{folder_, 1}), "l.txt");
  EXPECT_EQ(fifth(generated(2, {})), "generated:5");
  EXPECT_EQ(std::get<Lines>(withoutEnd(linesIn("-"))).repeat, 1U);
}

TEST_F(Sources, AMissingFileIsSaid) {
  EXPECT_THROW(all(linesIn(folder_ / "nosuch")), std::system_error);
}

TEST_F(Sources, FilesOfAFolderComeInTheOrderOfTheirNames) {
  // So many, made in such an order, that no file system gives them back sorted by chance.
  std::vector<std::string> names;
  for (int i = 0; i < 50; ++i) names.push_back("m" + std::to_string(100 + i * 37 % 50));
  for (const std::string& name : names) write(name, "one\ntwo of " + name);
  fs::create_directory(folder_ / "m000");
  fs::create_symlink("m100", folder_ / "z");
  std::sort(names.begin(), names.end());
  const auto drafts = all(Files{folder_, 1});
  ASSERT_EQ(drafts.size(), 51U);
  for (std::size_t i = 0; i < names.size(); ++i) {
    EXPECT_EQ(drafts[i].name, names[i]);
    EXPECT_EQ(drafts[i].body, "one\ntwo of " + names[i]);
  }
  EXPECT_EQ(drafts[50].name, "z") << "a link to a regular file counts as one";
}

TEST_F(Sources, AFolderIsReadAsOftenAsAsked) {
  write("a", "1");
  write("b", "2");
  const auto drafts = all(Files{folder_, 2});
  ASSERT_EQ(drafts.size(), 4U);
  EXPECT_EQ(drafts[2].name, "a");
  EXPECT_EQ(drafts[3].name, "b");
}

TEST_F(Sources, AnEmptyFolderGivesNothingAndAMissingOneIsSaid) {
  EXPECT_TRUE(all(Files{folder_, 1000000}).empty());
  EXPECT_THROW(all(Files{folder_ / "nosuch", 1}), std::system_error);
  EXPECT_TRUE(inputsOf(Files{folder_ / "nosuch", 1}).empty());
}

TEST_F(Sources, APipeIsOpenedBeforeItsWriterComes) {
  const fs::path pipe = folder_ / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const auto source = openSource(linesIn(pipe), 1, stop_);
  std::thread writer([&] { std::ofstream(pipe) << "one\ntwo"; });
  Draft draft;
  EXPECT_TRUE(source->next(draft));
  EXPECT_EQ(draft.body, "one");
  EXPECT_TRUE(source->next(draft));
  EXPECT_EQ(draft.body, "two");
  EXPECT_FALSE(source->next(draft)) << "the writer is gone";
  writer.join();
}

TEST_F(Sources, AStopEndsWaitingForAWriterThatNeverComes) {
  const fs::path pipe = folder_ / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const auto source = openSource(linesIn(pipe), 1, stop_);
  std::thread stopper([&] { stop_.raise(); });
  Draft draft;
  EXPECT_FALSE(source->next(draft));
  stopper.join();
}

TEST_F(Sources, GeneratedMessagesDependOnTheSeedAlone) {
  const Generated input = generated(20, {Distribution::Kind::uniform, 10, 90});
  const auto first = all(input, 5);
  const auto again = all(input, 5);
  const auto other = all(input, 6);
  ASSERT_EQ(first.size(), 20U);
  for (std::size_t i = 0; i < first.size(); ++i) {
    EXPECT_EQ(first[i].body, again[i].body);
    EXPECT_NE(first[i].body, other[i].body);
    EXPECT_GE(first[i].body.size(), 10U);
    EXPECT_LT(first[i].body.size(), 90U);
  }
}

TEST_F(Sources, AStopEndsASourceWithoutEnd) {
  const auto source = openSource(generated(0, {}), 1, stop_);
  Draft draft;
  EXPECT_TRUE(source->next(draft));
  stop_.raise();
  EXPECT_FALSE(source->next(draft));
}

TEST_F(Sources, AStopEndsAReadThatWaits) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  stop_.raise();
  EXPECT_FALSE(stop_.waitReadable(ends[0]));
  close(ends[0]);
  close(ends[1]);
}

TEST(Schedule, AConstantRateDoesNotDrift) {
  Input input;
  input.rate = 4;
  const Schedule::Clock::time_point start{};
  Schedule schedule(input, 1, start);
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(schedule.next() - start, std::chrono::milliseconds(250) * i);
  }
}

TEST(Schedule, APoissonRateHoldsOnAverage) {
  Input input;
  input.rate = 100;
  input.arrival = Input::Arrival::poisson;
  const Schedule::Clock::time_point start{};
  Schedule schedule(input, 1, start);
  Schedule::Clock::time_point last = start;
  for (int i = 0; i <= 20000; ++i) {
    const auto due = schedule.next();
    EXPECT_GE(due, last);
    last = due;
  }
  EXPECT_NEAR(std::chrono::duration<double>(last - start).count(), 200, 5);
}

TEST(Schedule, WithoutARateEverythingIsDueAtOnce) {
  const Schedule::Clock::time_point start{};
  Schedule schedule(Input{}, 1, start);
  EXPECT_EQ(schedule.next(), start);
  EXPECT_EQ(schedule.next(), start);
}

TEST(Schedule, LatenessCountsInWholeMilliseconds) {
  using namespace std::chrono_literals;
  const Schedule::Clock::time_point due{};
  EXPECT_EQ(millisecondsLate(due, due + 1999us), 1U);
  EXPECT_EQ(millisecondsLate(due, due + 3s), 3000U);
  EXPECT_EQ(millisecondsLate(due, due - 5s), 0U);
}

}  // namespace source_test
