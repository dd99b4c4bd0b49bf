// SPDX-License-Identifier: Apache-2.0
// What becomes of a plug-in that is tried.
#include "agent/reader/probe.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <csignal>
#include <filesystem>

#include "tests/agent/zebmon.h"
#include "tests/setup/machine.h"

namespace probe_test {

namespace {

using reader::Probe;
using Outcome = Probe::Outcome;

constexpr char kProgram[] = "/opt/probe";

// What a program that does that says of a plug-in.
Probe triedBy(const std::string& script, std::chrono::milliseconds time = std::chrono::minutes(1)) {
  write(kProgram, "#!/bin/sh\n" + script + "\n");
  std::filesystem::permissions(kProgram, std::filesystem::perms::owner_all);
  return reader::tryPlugIn(kProgram, "/opt/a.lil", time);
}

}  // namespace

TEST(Probe, TellsWhatAPlugInIs) {
  const Probe probe = reader::tryPlugIn(ZEB_BUILT_PROBE, ZEB_PLUG_IN);
  EXPECT_TRUE(probe.loaded()) << probe.line;
  EXPECT_TRUE(probe.value("version").starts_with("1.")) << probe.line;
  EXPECT_EQ("ComDravikMonitorNode", probe.value("nodeClass"));
  EXPECT_EQ("", probe.value("error"));
}

TEST(Probe, TellsWhyAFileIsNoPlugIn) {
  write("/opt/a.lil", "no \"library\"");
  const Probe probe = reader::tryPlugIn(ZEB_BUILT_PROBE, "/opt/a.lil");
  EXPECT_EQ(Outcome::ended, probe.outcome);
  EXPECT_FALSE(probe.loaded());
  EXPECT_TRUE(contains(probe.value("error"), "can't load /opt/a.lil")) << probe.line;
}

// A host that starts at this moment uses a file of the same name.
TEST(Probe, RunsNoCommandsAndLeavesTheirFileAlone) {
  write("/tmp/zebregtemp", "a host's");
  EXPECT_TRUE(reader::tryPlugIn(ZEB_BUILT_PROBE, ZEB_PLUG_IN).loaded());
  EXPECT_EQ("a host's", contents("/tmp/zebregtemp"));
  std::filesystem::remove("/tmp/zebregtemp");
}

TEST(Probe, GivesThePathAndNothingOfTheEnvironment) {
  setenv("ZEB_SECRET", "secret", 1);
  EXPECT_EQ("/opt/a.lil ", triedBy("echo \"$1 $ZEB_SECRET\"").line);
}

TEST(Probe, OutlivesACrash) {
  const Probe probe = triedBy("kill -SEGV $$");
  EXPECT_EQ(Outcome::killed, probe.outcome);
  EXPECT_EQ(SIGSEGV, probe.code);
  EXPECT_FALSE(probe.loaded());
}

TEST(Probe, EndsWhatDoesNotEndAndWaitsForThat) {
  EXPECT_EQ(Outcome::late, triedBy("exec sleep 1000", std::chrono::milliseconds(1)).outcome);
  EXPECT_EQ(Outcome::late,
            triedBy("exec >&-; exec sleep 1000", std::chrono::milliseconds(1)).outcome);
  EXPECT_EQ(-1, waitpid(-1, nullptr, WNOHANG)) << "a child is left";
}

TEST(Probe, KeepsALineOfBoundedLength) {
  EXPECT_EQ(Probe::kMostOfLine, triedBy("head -c 1000000 /dev/zero | tr '\\0' x").line.size());
  EXPECT_EQ("one", triedBy("echo one; echo two").line);
}

TEST(Probe, SaysThatItIsNotThere) {
  const Probe probe = reader::tryPlugIn("/opt/none", "/opt/a.lil");
  EXPECT_EQ(Outcome::notTried, probe.outcome);
  EXPECT_EQ(ENOENT, probe.error);
}

TEST(Probe, ReadsOnlyWhatItsLineHolds) {
  const auto valueIn = [](const std::string& line) {
    const Probe probe{Outcome::ended, 0, 0, line};
    return probe.value("version");
  };
  EXPECT_EQ("a\"b\\c", valueIn(R"({"version":"a\"b\\c"})"));
  EXPECT_EQ("cut", valueIn(R"({"version":"cut)"));
  EXPECT_EQ("\\", valueIn(R"({"version":"\)"));
  EXPECT_EQ("", valueIn("version"));
  EXPECT_EQ("", valueIn(""));
}

}  // namespace probe_test
