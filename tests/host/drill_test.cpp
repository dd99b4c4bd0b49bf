// SPDX-License-Identifier: Apache-2.0
// Drills: as the flow file has them, in time, and what a process does to itself.
#include "flowfile/drill.h"

#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <thread>

#include "flowfile/quantity.h"
#include "flowfile/reader.h"
#include "format/names.h"
#include "host/run/clock.h"
#include "host/run/drill.h"
#include "host/run/drill_plan.h"
#include "host/run/standstill.h"
#include "host/sources/source.h"

namespace drill_test {

using namespace flowfile;
using namespace host;
using namespace std::chrono_literals;
using Kind = Drill::Kind;

namespace {

// Two groups; what a test adds begins in line 15.
constexpr char kGroups[] =
    "[broker]\n"
    "label = \"B\"\n"
    "[[execution-group]]\n"
    "label = \"one\"\n"
    "[[execution-group.flow]]\n"
    "label = \"F\"\n"
    "[execution-group.flow.input]\n"
    "generated = { count = 3 }\n"
    "[[execution-group]]\n"
    "label = \"two\"\n"
    "[[execution-group.flow]]\n"
    "label = \"F\"\n"
    "[execution-group.flow.input]\n"
    "generated = { count = 3 }\n";

ReadResult readFile(const std::string& drills) {
  return flowfile::read(kGroups + drills, "/tmp/flows.toml", readSource);
}

std::vector<Drill> right(const std::string& drills) {
  const ReadResult result = readFile(drills);
  for (const Finding& finding : result.findings) ADD_FAILURE() << findingText("f", finding);
  return result.file.drills;
}

std::string findings(const std::string& drills) {
  std::string text;
  for (const Finding& finding : readFile(drills).findings) text += findingText("f", finding) + "\n";
  return text;
}

std::string drill(const std::string& keys) {
  return "[[drill]]\nat = \"5s\"\ngroup = \"two\"\n" + keys + "\n";
}

Drill made(Kind kind, std::size_t group, std::chrono::nanoseconds at) {
  return {kind, at, group, {}};
}

}  // namespace

TEST(DrillFile, HappensInTheOrderOfTime) {
  const auto drills =
      right(drill("kill = true") + "[[drill]]\nat = \"1s\"\ngroup = \"two\"\nredeploy = true\n" +
            "[[drill]]\nat = \"2s\"\ngroup = \"one\"\nclock-back = \"1h\"\n" +
            "[[drill]]\nat = \"0s\"\ngroup = \"one\"\nremove-key-file = true\n" +
            "[[drill]]\nat = \"3s\"\ngroup = \"one\"\nstop = true\n" +
            "[[drill]]\nat = \"4s\"\ngroup = \"one\"\nstop = true\nfor = \"2s\"\n");
  ASSERT_EQ(drills.size(), 6U);
  std::string all;
  for (const Drill& one : drills) {
    all += durationText(one.at) + " " + std::to_string(one.group) + " " + nameOf(one) + "\n";
  }
  EXPECT_EQ(all,
            "0us 0 remove-key-file\n1s 1 redeploy\n2s 0 clock-back 1h\n3s 0 stop\n"
            "4s 0 stop for 2s\n5s 1 kill\n");
}

TEST(DrillFile, HoldingSaysWhichLock) {
  EXPECT_EQ(right(drill("kill-holding = \"record\""))[0].kind, Kind::killHoldingRecord);
  EXPECT_EQ(right(drill("kill-holding = \"area\""))[0].kind, Kind::killHoldingArea);
  EXPECT_EQ(nameOf(right(drill("kill-holding = \"area\""))[0]), "kill-holding area");
  EXPECT_EQ(nameOf(right(drill("kill-holding = \"record\""))[0]), "kill-holding record");
  EXPECT_EQ(findings(drill("kill-holding = \"segment\"")),
            "f:18:16: 'kill-holding' is \"segment\"; expected one of \"record\", \"area\", in "
            "exactly these letters\n");
}

TEST(DrillFile, NeedsATimeAGroupAndOneKind) {
  EXPECT_EQ(findings("[[drill]]\n"),
            "f:15:1: [[drill]] has no 'at'; expected at = \"20s\"\n"
            "f:15:1: [[drill]] has no 'group'; expected group = \"...\"\n"
            "f:15:1: expected exactly one of kill, kill-holding, stop, redeploy, clock-back, "
            "remove-key-file in a drill\n");
  EXPECT_TRUE(findings(drill("kill = true\nstop = true")).starts_with("f:15:1: expected exactly"));
  EXPECT_EQ(findings(drill("kill = false")),
            "f:18:8: 'kill' is false; expected true, or no drill\n");
  EXPECT_EQ(findings(drill("kil = true\nkill = true")).substr(0, 40),
            "f:18:1: unknown key 'kil' in [[drill]]; ");
}

TEST(DrillFile, TimesAreDurations) {
  const std::string expected = "; expected a duration such as \"5ms\" (units us, ms, s, m, h)\n";
  for (const char* absurd : {"\"-1s\"", "\"1e300h\"", "\"5\"", "\"nan s\"", "\"99999999h\""}) {
    EXPECT_EQ(findings("[[drill]]\ngroup = \"two\"\nkill = true\nat = " + std::string(absurd)),
              "f:18:6: 'at' is " + std::string(absurd) + expected);
    EXPECT_EQ(findings(drill("clock-back = " + std::string(absurd))),
              "f:18:14: 'clock-back' is " + std::string(absurd) + expected);
  }
  EXPECT_EQ(right("[[drill]]\ngroup = \"two\"\nkill = true\nat = \"250000h\"\n")[0].at, 250000h);
  EXPECT_EQ(findings("[[drill]]\ngroup = \"two\"\nkill = true\nat = 5\n"),
            "f:18:6: 'at' is 5" + expected);
}

TEST(DrillFile, ForGoesWithStopAlone) {
  EXPECT_EQ(findings(drill("kill = true\nfor = \"1s\"")), "f:19:7: 'for' goes with 'stop' only\n");
  EXPECT_EQ(findings(drill("stop = true\nfor = \"0s\"")),
            "f:19:7: 'for' is no time; expected a longer one, or none: then the process goes on at "
            "the run's end\n");
  EXPECT_EQ(right(drill("stop = true\nfor = \"250ms\""))[0].time, 250ms);
}

TEST(DrillFile, NamesTheGroupsThatThereAre) {
  EXPECT_EQ(findings("[[drill]]\nat = \"1s\"\ngroup = \"three\"\nkill = true\n"),
            "f:17:9: no execution group \"three\"; expected one of \"one\", \"two\"\n");
}

TEST(DrillFile, AKilledGroupHasNoLaterDrill) {
  const std::string early = "[[drill]]\nat = \"1s\"\ngroup = \"two\"\n";
  EXPECT_EQ(findings(drill("stop = true") + early + "kill = true\n"),
            "f:17:9: execution group \"two\" was killed by then, in line 21; expected an earlier "
            "'at'\n");
  EXPECT_EQ(
      findings(early + "kill = true\n" + "[[drill]]\nat = \"1s\"\ngroup = \"one\"\nkill = true"),
      "");
}

TEST(DrillFile, TenThousandAreRead) {
  std::string text;
  for (int i = 0; i < 10000; ++i) text += drill("clock-back = \"1s\"");
  EXPECT_EQ(right(text).size(), 10000U);
  text.clear();
  for (int i = 0; i < 10000; ++i) text += drill("kill = true");
  EXPECT_EQ(readFile(text).findings.size(), 9999U);
}

TEST(DrillPlan, GivesEachOnceWhenItIsDue) {
  const std::vector<Drill> drills{made(Kind::stop, 0, 1s), made(Kind::stop, 1, 1s),
                                  made(Kind::kill, 0, 2s)};
  DrillPlan plan(drills);
  EXPECT_EQ(plan.next(), 1s);
  EXPECT_EQ(plan.due(999ms), std::nullopt);
  EXPECT_EQ(plan.due(1s), 0U);
  EXPECT_EQ(plan.due(1s), 0U) << "it has not begun";
  plan.begin();
  EXPECT_EQ(plan.due(1s), 1U);
  plan.begin();
  EXPECT_EQ(plan.due(1s), std::nullopt);
  EXPECT_EQ(plan.next(), 2s);
  EXPECT_EQ(plan.due(1h), 2U);
  plan.begin();
  EXPECT_EQ(plan.next(), std::nullopt);
  EXPECT_EQ(plan.due(1h), std::nullopt);
}

TEST(DrillPlan, KnowsWhatBecameOfEach) {
  using State = DrillResult::State;
  const std::vector<Drill> drills{made(Kind::clockBack, 0, 1s), made(Kind::removeKeyFile, 0, 1s),
                                  made(Kind::redeploy, 0, 1s),  made(Kind::kill, 0, 1s),
                                  made(Kind::kill, 1, 1s),      made(Kind::kill, 2, 9s)};
  DrillPlan plan(drills);
  while (plan.due(1s)) plan.begin();
  plan.finish(0);
  plan.finish(1, "no");
  plan.finish(77);
  EXPECT_TRUE(plan.kills(0));
  EXPECT_FALSE(plan.kills(2)) << "not begun";
  plan.endGroup(0, true);
  EXPECT_FALSE(plan.kills(0));
  plan.endGroup(1, false);
  plan.endGroup(2, true);
  const auto& results = plan.results();
  EXPECT_EQ(results[0].state, State::done);
  EXPECT_EQ(results[1].state, State::failed);
  EXPECT_EQ(results[1].problem, "no");
  EXPECT_EQ(results[2].problem, "the process had ended");
  EXPECT_EQ(results[3].state, State::done);
  EXPECT_EQ(results[4].problem, "the process had ended") << "it ended otherwise";
  EXPECT_EQ(results[5].state, State::waiting);
}

TEST(Standstill, IsNoticedWhenNothingLeavesTheFlows) {
  const Standstill::Clock::time_point begin(1h);
  Standstill standstill;
  EXPECT_FALSE(standstill.look(5, 0, begin));
  EXPECT_FALSE(standstill.look(9, 0, begin + 4999ms));
  EXPECT_TRUE(standstill.look(9, 0, begin + 5s));
  EXPECT_FALSE(standstill.look(9, 1, begin + 6s)) << "one more";
  EXPECT_FALSE(standstill.look(9, 9, begin + 11s)) << "none is in there";
  EXPECT_FALSE(standstill.look(10, 9, begin + 15s));
  EXPECT_TRUE(standstill.look(10, 9, begin + 16s));
}

// In a child, since there is no way forward again.
TEST(Clock, GoesBackForPluginsAndMessagesButNeverBefore1970) {
  const pid_t child = fork();
  if (child == 0) {
    const auto machine = [] {
      timespec now{};
      clock_gettime(CLOCK_REALTIME, &now);
      return now.tv_sec;
    };
    bool right = machine() - time(nullptr) <= 1;
    host::setClockBack(1h);
    host::setClockBack(30min);
    timeval now{};
    gettimeofday(&now, nullptr);
    time_t stored = 0;
    time(&stored);
    const auto close = [&](time_t seconds) {
      const time_t back = machine() - seconds;
      return back >= 5400 && back <= 5401;
    };
    right = right && close(now.tv_sec) && close(stored) && close(time(nullptr)) &&
            now.tv_usec >= 0 && now.tv_usec < 1000000 &&
            close(std::chrono::system_clock::to_time_t(host::wallClock()));
    for (int i = 0; i < 10000; ++i) host::setClockBack(250000h);
    gettimeofday(&now, nullptr);
    right = right && now.tv_sec >= 0 && now.tv_sec <= 1;
    _exit(right ? 0 : 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(DrillOfAProcess, WithoutItsLockIsNotDone) {
  const Broker broker;
  for (const Kind kind : {Kind::killHoldingArea, Kind::killHoldingRecord}) {
    EXPECT_EQ(perform(made(kind, 0, 0s), broker),
              "there is no such lock yet: a node makes them with its first message");
  }
  EXPECT_EQ(perform(made(Kind::removeKeyFile, 0, 0s), broker),
            "can't remove the key file /tmp/.zebcshme: No such file or directory");
}

// A message that is in the events area while its process gets a drill: the process lets it leave.
TEST(DrillOfAProcess, DiesWhenNoMessageIsInAnArea) {
  const Broker broker;
  const std::string file = std::string("/tmp/") + layout::kEventDataSuffix + layout::kLockSuffix;
  std::ofstream(file).put(' ');
  const int lock = semget(ftok(file.c_str(), layout::kKeyProject), 1, IPC_CREAT | 0600);
  ASSERT_GE(lock, 0);
  const pid_t child = fork();
  if (child == 0) {
    std::thread([lock] {
      while (semctl(lock, 0, GETNCNT) == 0) std::this_thread::yield();
      sembuf leave{0, 1, 0};
      semop(lock, &leave, 1);
    }).detach();
    perform(made(Kind::kill, 0, 0s), broker);
    _exit(1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(semctl(lock, 0, GETVAL), 1);
  semctl(lock, 0, IPC_RMID);
  std::filesystem::remove(file);
}

}  // namespace drill_test
