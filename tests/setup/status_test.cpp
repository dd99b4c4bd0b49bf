// SPDX-License-Identifier: Apache-2.0
// "zebpnode status" as administrators start it.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "format/installed.h"
#include "tests/agent/zebmon.h"
#include "tests/setup/machine.h"

namespace status_test {

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

class Status : public testing::Test {
 protected:
  void SetUp() override {
    installHere();
    ASSERT_EQ(0, run({"enable", "--dir", kLil}).code);
  }
};

// It would not be loaded, which is said.
void expectNotLoaded(const std::string& why) {
  const Result result = run({"status", "--dir", kLil});
  EXPECT_EQ(1, result.code) << result.errors;
  EXPECT_TRUE(contains(result.out, "a host would not load it")) << result.out;
  EXPECT_TRUE(contains(result.out, why)) << result.out;
}

// What the schema has against these documents.
std::string complaintsOf(const std::vector<std::string>& documents) {
  std::ofstream lines("/opt/documents");
  for (const std::string& document : documents) lines << Json::parse(document).dump() << "\n";
  lines.close();
  return answerOf("/usr/bin/python3 -B " ZEB_DOCUMENTS "/../tests/agent/validate.py " ZEB_DOCUMENTS
                  "/schemas /opt/documents");
}

std::string document() {
  return run({"status", "--dir", kLil, "--format", "json"}).out;
}

}  // namespace

TEST_F(Status, TellsThatAHostWouldLoadIt) {
  const Result result = run({"status"});
  EXPECT_EQ(0, result.code) << result.errors;
  EXPECT_TRUE(result.out.starts_with("/opt/holt/lil\n  link     leads to ")) << result.out;
  EXPECT_TRUE(contains(result.out, "  result   a host would load it\n")) << result.out;
  EXPECT_TRUE(contains(result.out, "node class ComDravikMonitorNode")) << result.out;
  EXPECT_TRUE(contains(result.out, "settings   /opt/holt/lil/zebpnode.cfg is in force\n"));
  EXPECT_TRUE(contains(result.out, "key files  /tmp/, mode 1777, group root\n")) << result.out;
}

TEST(SetupCommandLine, TellsItsVersion) {
  const Result result = run({"--version"});
  EXPECT_EQ(0, result.code) << result.errors;
  EXPECT_TRUE(result.out.starts_with("zebpnode 1.")) << result.out;
}

TEST_F(Status, WritesADocument) {
  const Json document = Json::parse(run({"status", "--format", "json"}).out);
  EXPECT_EQ("zebpnode.status", document["schema"]);
  EXPECT_EQ(1, document["version"]);
  ASSERT_EQ(1U, document["directories"].size());
  EXPECT_EQ(true, document["directories"][0]["wouldLoad"]);
  EXPECT_EQ(layout::kInstalledLibrary, document["directories"][0]["target"]);
  EXPECT_EQ(64, document["library"]["bits"]);
  EXPECT_EQ("/opt/holt/lil/zebpnode.cfg", document["settings"]);
  fs::remove(kSettings);
  EXPECT_TRUE(Json::parse(run({"status", "--format", "json"}).out)["settings"].is_null());
}

TEST_F(Status, WritesWhatItsSchemaSays) {
  const std::string page = contents(ZEB_DOCUMENTS "/json.md");
  const auto begin = page.find("{\n  \"schema\": \"zebpnode.status\"");
  ASSERT_NE(page.npos, begin);
  std::vector<std::string> documents = {page.substr(begin, page.find("```", begin) - begin),
                                        document()};
  fs::remove(kLink);
  fs::remove(kSettings);
  documents.push_back(document());
  write(kLink, "");
  write(layout::kInstalledLibrary, "text");
  documents.push_back(document());
  EXPECT_EQ("", complaintsOf(documents));
}

TEST_F(Status, TellsWhatKeepsAHostFromLoadingIt) {
  fs::remove(kLink);
  expectNotLoaded("link     is not there");
  fs::create_symlink("/opt/old.lil", kLink);
  expectNotLoaded("link     leads to /opt/old.lil");
  fs::remove(kLink);
  write(kLink, "");
  expectNotLoaded("link     is a file of its own");
  fs::remove(kLink);
  fs::create_symlink(layout::kInstalledLibrary, kLink);
  EXPECT_EQ(0, run({"status"}).code);
  const std::string library = contents(layout::kInstalledLibrary);
  write(layout::kInstalledLibrary, library.substr(0, 4096));
  expectNotLoaded("ends its process by signal");
  write(layout::kInstalledLibrary, library.substr(0, 64));
  expectNotLoaded("can't load ");
  write(layout::kInstalledLibrary, "text");
  expectNotLoaded("file     is no ELF file");
  fs::remove(layout::kInstalledLibrary);
  expectNotLoaded("file     can't be read");
}

TEST_F(Status, SaysThatItCanNotTryWithoutItsProgram) {
  fs::remove(layout::kProbe);
  expectNotLoaded("loaded   can't be tried");
}

TEST_F(Status, NeverLoadsWhatALinkLeadsTo) {
  fs::remove(kLink);
  fs::copy(layout::kInstalledLibrary, "/opt/other.lil");
  fs::create_symlink("/opt/other.lil", kLink);
  expectNotLoaded("leads to /opt/other.lil");
  EXPECT_EQ(0, run({"status", "--dir", kLil, "--library", "/opt/other.lil"}).code);
}

TEST_F(Status, SaysThatItWasEnabledNowhere) {
  run({"disable", "--dir", kLil});
  const Result result = run({"status"});
  EXPECT_EQ(1, result.code);
  EXPECT_TRUE(contains(result.out, "The plug-in was enabled nowhere.")) << result.out;
}

TEST_F(Status, StaysPrintableWhateverNotesHold) {
  write(kNotes, "/opt/\x1B[31m\nno path\n/opt/holt/lil\n/opt/holt/lil\n");
  const Result result = run({"status"});
  EXPECT_TRUE(contains(result.out, "/opt/\\x1B[31m\n")) << result.out;
  EXPECT_FALSE(contains(result.out, "no path")) << result.out;
  const Json document = Json::parse(run({"status", "--format", "json"}).out);
  EXPECT_EQ(2U, document["directories"].size());
}

}  // namespace status_test
