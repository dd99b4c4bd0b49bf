// SPDX-License-Identifier: Apache-2.0
// What "zebmon doctor" proves of an installation.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "format/installed.h"
#include "tests/agent/zebmon.h"
#include "tests/setup/machine.h"
#include "tests/support/image.h"
#include "tests/support/live_segment.h"

namespace doctor_test {

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

std::string zebpnode(const std::string& arguments) {
  return answerOf(ZEBPNODE " " + arguments);
}

class Installation : public testing::Test {
 protected:
  void SetUp() override {
    installHere();
    ASSERT_FALSE(zebpnode("enable --dir /opt/holt/lil").starts_with("failed"));
  }
};

Result doctor() {
  return run({"doctor", "--only", "install"});
}

void expectFound(int code, const std::string& id, const std::string& evidence,
                 const std::string& command) {
  const Result result = doctor();
  EXPECT_EQ(code, result.code) << result.errors;
  EXPECT_TRUE(contains(result.out, "  " + id + "\n")) << result.out;
  EXPECT_TRUE(contains(result.out, evidence)) << result.out;
  EXPECT_TRUE(contains(result.out, "    " + command)) << result.out;
}

// A process that has the installed library mapped, as a host has.
class Host {
 public:
  Host() {
    int ready[2];
    if (pipe(ready) != 0) abort();
    id_ = fork();
    if (id_ == 0) become(ready[1]);
    close(ready[1]);
    char byte = 0;
    if (read(ready[0], &byte, 1) != 1) abort();
    close(ready[0]);
  }
  ~Host() {
    kill(id_, SIGKILL);
    waitpid(id_, nullptr, 0);
  }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;
  std::string id() const { return std::to_string(id_); }

 private:
  [[noreturn]] static void become(int ready) {
    const int file = open(kLink, O_RDONLY);
    mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE, file, 0);
    close(file);
    if (write(ready, "", 1) != 1) _exit(1);
    for (;;) pause();
  }

  pid_t id_;
};

// As the package manager does it: the file of before stays with those who have it.
void upgrade() {
  const std::string path = layout::kInstalledLibrary;
  fs::copy_file(path, path + ".new");
  fs::rename(path + ".new", path);
}

}  // namespace

TEST_F(Installation, IsProvenWithoutABroker) {
  const Result result = run({"doctor"});
  EXPECT_NE(69, result.code);
  EXPECT_TRUE(contains(result.errors, "no broker has a key file")) << result.errors;
  EXPECT_TRUE(contains(result.out, "Plug-in: would be loaded from /opt/holt/lil (1."))
      << result.out;
  EXPECT_TRUE(contains(result.out, "/opt/holt/lil/zebpnode.cfg")) << result.out;
  EXPECT_EQ(0, doctor().code);
  EXPECT_EQ(69, run({"doctor", "--broker", "BRK1"}).code);
}

TEST_F(Installation, IsProvenToPrograms) {
  const Json document = Json::parse(run({"doctor", "--format", "json", "--only", "install"}).out);
  ASSERT_EQ(1U, document["plugIns"].size());
  EXPECT_EQ("/opt/holt/lil", document["plugIns"][0]["directory"]);
  EXPECT_EQ(true, document["plugIns"][0]["wouldLoad"]);
  EXPECT_TRUE(document["plugIns"][0]["version"].get<std::string>().starts_with("1."));
}

TEST_F(Installation, IsNotSpokenOfWhereNothingWasEnabled) {
  zebpnode("disable --dir /opt/holt/lil");
  fs::remove(layout::kInstalledLibrary);
  const Result result = doctor();
  EXPECT_EQ(0, result.code) << result.out;
  EXPECT_FALSE(contains(result.out, "lug-in")) << result.out;
}

TEST_F(Installation, MissesALink) {
  fs::remove(kLink);
  expectFound(2, "install.link", "it was enabled, and is not there",
              "zebpnode enable --dir /opt/holt/lil\n");
  EXPECT_FALSE(contains(doctor().out, "would be loaded"));
}

TEST_F(Installation, SeesALinkToAnotherVersionAndDoesNotLoadIt) {
  fs::remove(kLink);
  fs::create_symlink("/opt/old.lil", kLink);
  expectFound(1, "install.link", "it leads to /opt/old.lil", "rm /opt/holt/lil/zebpnode64.lil && ");
  EXPECT_FALSE(contains(doctor().out, "install.load"));
}

TEST_F(Installation, SeesAnotherFileInPlaceOfTheLink) {
  fs::remove(kLink);
  write(kLink, "");
  expectFound(1, "install.link", "it is a file of its own", "rm /opt/holt/lil/zebpnode64.lil && ");
}

TEST_F(Installation, SeesThatADirectoryIsGone) {
  fs::remove_all(kLil);
  expectFound(1, "install.directory", "the directory is gone",
              "zebpnode disable --dir /opt/holt/lil\n");
}

TEST_F(Installation, SeesALibraryOfAnotherKind) {
  std::string header = contents(layout::kInstalledLibrary).substr(0, 64);
  header[4] = 1;
  write(layout::kInstalledLibrary, header);
  expectFound(2, "install.library", "it is of 32 bits", "apt-get install --reinstall zebpnode\n");
  write(layout::kInstalledLibrary, "text");
  expectFound(2, "install.library", "it is no ELF file", "apt-get");
  fs::remove(layout::kInstalledLibrary);
  expectFound(2, "install.library", "it can't be read", "apt-get");
}

TEST_F(Installation, SeesALibraryThatCanNotBeLoaded) {
  const std::string library = contents(layout::kInstalledLibrary);
  write(layout::kInstalledLibrary, library.substr(0, 64));
  expectFound(2, "install.load", "can't load", "apt-get install --reinstall zebpnode\n");
  write(layout::kInstalledLibrary, library.substr(0, 4096));
  expectFound(2, "install.load", "ends a process that loads it", "apt-get");
}

TEST_F(Installation, SaysWhatCanNotBeTried) {
  fs::remove(layout::kProbe);
  const Result result = doctor();
  EXPECT_EQ(0, result.code);
  EXPECT_TRUE(contains(result.out, "Not checked: whether a host can load the plug-in"))
      << result.out;
  EXPECT_FALSE(contains(result.out, "would be loaded")) << result.out;
}

TEST_F(Installation, SeesSettingsThatAreNeverRead) {
  write("/opt/b/zebpnode.cfg", "");
  zebpnode("enable --dir /opt/b");
  expectFound(1, "install.settings", "/opt/holt/lil/zebpnode.cfg is the one in force",
              "zebmon config\n");
  EXPECT_TRUE(contains(doctor().out, "settings /opt/b/zebpnode.cfg\n")) << doctor().out;
}

TEST_F(Installation, AsksForARestartAfterAnUpgrade) {
  const Host host;
  EXPECT_EQ(0, doctor().code);
  upgrade();
  const Host later;
  const Result result = doctor();
  EXPECT_EQ(1, result.code);
  EXPECT_TRUE(contains(result.out, "  install.restart\n  what    process " + host.id() + " ("))
      << result.out;
  EXPECT_TRUE(contains(result.out, "restart the execution group to use 1.")) << result.out;
  EXPECT_FALSE(contains(result.out, "process " + later.id())) << result.out;
}

TEST_F(Installation, GivesTheDropInForTheGroupOfTheServices) {
  write("/etc/passwd", contents("/etc/passwd") + "zebmon:x:999:999::/:/bin/false\n");
  EXPECT_EQ(0, doctor().code) << "everybody may look into /tmp";
  zebpnode("enable --dir /opt/holt/lil --group brokers");
  write("/etc/group", "brokers:x:0:\nzebmon:x:999:\n");
  write(kSettings, "ZEBTempDirectory /run/zeb/\n");
  expectFound(1, "install.group", "are of the group brokers", "for i in zebmon zebmon-; do ");
  EXPECT_TRUE(contains(doctor().out, "SupplementaryGroups=%s\\n' brokers")) << doctor().out;
  write("/etc/systemd/system/zebmon.service.d/group.conf",
        "[Service]\nSupplementaryGroups=brokers\n");
  EXPECT_EQ(0, doctor().code) << doctor().out;
  fs::remove_all("/etc/systemd");
  write("/etc/group", "brokers:x:0:zebmon\nzebmon:x:999:\n");
  EXPECT_EQ(0, doctor().code) << doctor().out;
}

TEST_F(Installation, GivesTheDropInWhereOnlyTheSegmentIsClosed) {
  write("/etc/passwd", contents("/etc/passwd") + "zebmon:x:999:999::/:/bin/false\n");
  write("/etc/group", "brokers:x:0:\nzebmon:x:999:\n");
  const LiveSegment segment("1-2-3", image::segment({image::ordersBlock()}));
  const Result result = run({"doctor", "--only", "install.group"});
  EXPECT_TRUE(contains(result.out, "brokers in /tmp/ are of the group brokers")) << result.out;
}

// As the command that it prints does it.
TEST_F(Installation, IsContentWithItsOwnDropIn) {
  write("/etc/passwd", contents("/etc/passwd") + "zebmon:x:999:999::/:/bin/false\n");
  write("/etc/group", "brokers:x:0:\nzebmon:x:999:\n");
  write(kSettings, "ZEBTempDirectory /run/zeb/\n");
  zebpnode("enable --dir /opt/holt/lil --group brokers");
  const Json found =
      Json::parse(run({"doctor", "--only", "install.group", "--format", "json"}).out);
  const std::string command = found["findings"][0]["command"];
  write("/opt/mend", "systemctl() { :; }\n" + command + "\n");
  EXPECT_FALSE(answerOf("sh /opt/mend").starts_with("failed"));
  EXPECT_EQ(0, doctor().code) << doctor().out;
  EXPECT_TRUE(fs::exists("/etc/systemd/system/zebmon-.service.d/group.conf"));
}

TEST_F(Installation, IsKeptInASnapshotFile) {
  const LiveSegment segment("1-2-3", image::segment({image::ordersBlock()}));
  fs::remove(kLink);
  EXPECT_EQ(0, run({"snapshot", "-o", "/opt/one.tar"}).code);
  fs::remove(kNotes);
  const Result result = run({"doctor", "--only", "install", "--from", "/opt/one.tar"});
  EXPECT_EQ(2, result.code) << result.errors;
  EXPECT_TRUE(contains(result.out, "  install.link\n")) << result.out;
}

TEST_F(Installation, StaysPrintableWhateverNotesHold) {
  write(kNotes, "/opt/\x1B[31m\nno path\n/opt/holt/lil\n");
  const Result result = doctor();
  EXPECT_EQ(1, result.code);
  EXPECT_TRUE(contains(result.out, "directory /opt/\\x1B[31m")) << result.out;
  EXPECT_TRUE(contains(result.out, "would be loaded from /opt/holt/lil")) << result.out;
}

}  // namespace doctor_test
