// SPDX-License-Identifier: Apache-2.0
// What is found in facts of an installation, as a snapshot file has them.
#include <gtest/gtest.h>

#include <cerrno>

#include "agent/model/findings.h"
#include "agent/model/plug_in.h"

namespace findings_test {

namespace {

using model::Finding;
using reader::Installation;
using reader::LibraryFile;
using reader::Probe;

constexpr char kPath[] = "/opt/lil/a.lil";

// Enabled in /opt/a, and all is well with it but what `change` does.
template <class Change>
model::Findings foundAfter(Change change) {
  auto machine = std::make_shared<model::Machine>();
  Installation& installation = machine->installation.emplace();
  installation.library = reader::readLibraryFile("/proc/self/exe");
  installation.library.path = kPath;
  installation.entries = {
      {"/opt/a", 0, reader::PlugInEntry::Kind::link, installation.library.path}};
  installation.probe = {Probe::Outcome::ended, 0, 0, R"({"version":"1.0.1, commit a"})"};
  change(installation);
  model::Snapshot snapshot;
  snapshot.directory = "/run/zeb/";
  snapshot.machine = machine;
  model::Findings findings = model::findingsOf(nullptr, snapshot);
  std::erase_if(findings.found, [](const Finding& one) { return !one.is("install"); });
  return findings;
}

// The only one.
template <class Change>
Finding found(Change change) {
  const model::Findings findings = foundAfter(change);
  EXPECT_EQ(1U, findings.found.size());
  return findings.found.empty() ? Finding() : findings.found.front();
}

}  // namespace

TEST(InstallationFindings, AreNoneWhereAllIsWell) {
  EXPECT_EQ(0U, foundAfter([](Installation&) {}).found.size());
}

TEST(InstallationFindings, TellAPersonToJoinTheGroup) {
  const Finding finding = found([](Installation& seen) {
    seen.memberships = {{"brokers", "alice", false}};
  });
  EXPECT_EQ("install.group:brokers", finding.key());
  EXPECT_EQ("usermod -aG brokers alice", finding.command);
}

TEST(InstallationFindings, QuoteWhatAShellWouldTakeApart) {
  const Finding finding = found([](Installation& seen) {
    seen.memberships = {{"a b;c", "zebmon", false}};
  });
  EXPECT_NE(std::string::npos, finding.command.find(" 'a b;c' > ")) << finding.command;
}

TEST(InstallationFindings, TellWhatBecameOfTheTrial) {
  const auto triedTo = [](Probe::Outcome outcome, int code, const char* line) {
    return found([&](Installation& seen) { seen.probe = {outcome, 0, code, line}; });
  };
  EXPECT_EQ("signal 11 ends a process that loads it",
            triedTo(Probe::Outcome::killed, 11, "").evidence);
  EXPECT_EQ("a process that loads it does not go on",
            triedTo(Probe::Outcome::late, 9, "").evidence);
  EXPECT_EQ("the process that tried ended with 127",
            triedTo(Probe::Outcome::ended, 127, "").evidence);
  EXPECT_EQ("no such symbol",
            triedTo(Probe::Outcome::ended, 1, R"({"error":"no such symbol"})").evidence);
}

TEST(InstallationFindings, SayWhatThisUserMayNotSee) {
  const auto expectLeft = [](const std::string& kind, const std::string& words, auto change) {
    const model::Findings findings = foundAfter(change);
    EXPECT_EQ(0U, findings.found.size());
    EXPECT_EQ(1U, findings.unchecked.count(kind)) << kind;
    std::string all;
    for (const model::Unchecked& one : findings.notChecked) all += one.why + "\n";
    EXPECT_NE(std::string::npos, all.find(words)) << all;
  };
  expectLeft("install.link",
             "/opt/a: ", [](Installation& seen) { seen.entries[0].error = EACCES; });
  expectLeft("install.load", "whether a host can load the plug-in", [](Installation& seen) {
    seen.probe = {Probe::Outcome::notTried, EACCES, 0, ""};
  });
  expectLeft("install.restart", "2 processes: whether they have an older library",
             [](Installation& seen) { seen.hidden = 2; });
  expectLeft("install", "/directories: ", [](Installation& seen) { seen.error = EACCES; });
}

TEST(InstallationFindings, NameTheVersionToRestartFor) {
  const Finding finding = found([](Installation& seen) { seen.olderHosts = {{7, "host"}}; });
  EXPECT_EQ("process 7 (host)", finding.object);
  EXPECT_EQ("restart the execution group to use 1.0.1", finding.remedy);
}

TEST(OlderLibrary, IsOneOfThatPathThatIsAnotherFile) {
  const LibraryFile library{kPath, 0, 64, 62, 0xFE01, 17};
  const auto older = [&library](const std::string& rest) {
    return reader::hasOlder("7f00-7f01 r--p 00000000 " + rest + "\n", library);
  };
  EXPECT_FALSE(older("fe:01 17                         /opt/lil/a.lil"));
  EXPECT_TRUE(older("fe:01 18                         /opt/lil/a.lil"));
  EXPECT_TRUE(older("fe:01 18                         /opt/lil/a.lil (deleted)"));
  EXPECT_FALSE(older("fe:02 18                         /opt/lil/a.lil")) << "of another root";
  EXPECT_FALSE(older("fe:01 18                         /opt/lil/a.lil.old"));
  EXPECT_FALSE(older("fe:01 18                         /x/opt/lil/a.lil"));
  EXPECT_FALSE(older("00:00 0"));
  EXPECT_FALSE(reader::hasOlder("", library));
  EXPECT_FALSE(reader::hasOlder("\n\n", library));
}

}  // namespace findings_test
