// SPDX-License-Identifier: Apache-2.0
// "zebpnode enable" and "zebpnode disable" as administrators start them.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <sstream>

#include "format/installed.h"
#include "format/names.h"
#include "tests/agent/zebmon.h"
#include "tests/setup/machine.h"

namespace enable_test {

namespace {

namespace fs = std::filesystem;

class Enable : public testing::Test {
 protected:
  void SetUp() override { installHere(); }
};
using Disable = Enable;

Result enable(std::vector<std::string> more = {}, const std::string& directory = kLil) {
  std::vector<std::string> arguments = {"enable", "--dir", directory};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return run(std::move(arguments));
}

Result disable(const std::string& directory = kLil) {
  return run({"disable", "--dir", directory});
}

// It says that, ends with that code, and changes nothing.
void expectRefused(int code, const std::string& why, const std::function<Result()>& asked) {
  const std::string before = everything();
  const Result result = asked();
  EXPECT_EQ(code, result.code) << result.errors;
  EXPECT_TRUE(contains(result.errors, why)) << result.errors;
  EXPECT_EQ("", result.out);
  EXPECT_EQ(before, everything());
}

}  // namespace

TEST_F(Enable, LinksNotesAndWritesSettings) {
  const Result result = enable();
  EXPECT_EQ(0, result.code) << result.errors;
  EXPECT_EQ(layout::kInstalledLibrary, fs::read_symlink(kLink));
  EXPECT_EQ("/opt/holt/lil\n", contents(kNotes));
  EXPECT_TRUE(contains(result.out, "Settings: /opt/holt/lil/zebpnode.cfg was written"))
      << result.out;
  EXPECT_EQ(contents(kSettings), contents(layout::kWrittenFiles + std::string(kSettings)));
  EXPECT_TRUE(
      result.out.ends_with("Restart the host's execution groups. \"zebpnode status\" and "
                           "\"zebmon doctor\" tell how it is.\n"))
      << result.out;
}

TEST_F(Enable, WritesSettingsThatAreCommentsAndHaveEachKey) {
  enable();
  const std::string text = contents(kSettings);
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    EXPECT_TRUE(line.empty() || line.starts_with("#")) << line;
  }
  for (const char* const key : {layout::kTraceKey, layout::kActivateKey, layout::kActivateForKey,
                                layout::kDirectoryKey, layout::kMemorySizeKey}) {
    EXPECT_TRUE(contains(text, std::string("\n#") + key)) << key;
  }
}

TEST_F(Enable, ASecondTimeChangesNothing) {
  enable({"--group", "brokers"});
  const std::string before = everything();
  const Result again = enable({"--group", "brokers"}, "/opt/holt/../holt/lil/");
  EXPECT_EQ(0, again.code) << again.errors;
  EXPECT_TRUE(contains(again.out, "already")) << again.out;
  EXPECT_EQ(before, everything());
}

TEST_F(Enable, TakesARelativeDirectoryAndNotesItWhole) {
  fs::current_path("/opt/holt");
  EXPECT_EQ(0, enable({}, "lil").code);
  EXPECT_EQ("/opt/holt/lil\n", contents(kNotes));
}

TEST_F(Enable, NotesEachDirectoryOnALineOfItsOwn) {
  fs::create_directories("/opt/b");
  enable();
  EXPECT_EQ(0, enable({}, "/opt/b").code);
  EXPECT_EQ("/opt/holt/lil\n/opt/b\n", contents(kNotes));
}

// A new file in the first place would shadow the one in the second.
TEST_F(Enable, WritesNoSettingsWhereSomeAreInForce) {
  write("/opt/orva/lil/zebpnode.cfg", "ZEBNodeTrace Off\n");
  const Result result = enable();
  EXPECT_EQ(0, result.code);
  EXPECT_FALSE(fs::exists(kSettings));
  EXPECT_EQ("ZEBNodeTrace Off\n", contents("/opt/orva/lil/zebpnode.cfg"));
  EXPECT_TRUE(contains(result.out, "/opt/orva/lil/zebpnode.cfg is in force")) << result.out;
  EXPECT_TRUE(contains(result.out, "a zebpnode.cfg in /opt/holt/lil would never be read"))
      << result.out;
}

// The host's account may well open it.
TEST_F(Enable, WritesNoSettingsBesideAFileThatItCanNotOpen) {
  fs::create_directories("/opt/orva/lil");
  fs::create_symlink("zebpnode.cfg", "/opt/orva/lil/zebpnode.cfg");
  const Result result = enable();
  EXPECT_EQ(0, result.code) << result.errors;
  EXPECT_FALSE(fs::exists(kSettings));
  EXPECT_TRUE(contains(result.out, "/opt/orva/lil/zebpnode.cfg can't be opened by this user"))
      << result.out;
}

TEST_F(Enable, WritesSettingsIntoTheFirstPlaceThatHasADirectory) {
  fs::create_directories("/opt/b/lil");
  fs::remove(kLil);
  write("/var/orva/install.properties", "/opt/b=6.1\n");
  EXPECT_EQ(0, enable({}, "/opt/b/lil").code);
  EXPECT_TRUE(fs::exists("/opt/b/lil/zebpnode.cfg"));
  EXPECT_FALSE(fs::exists("/opt/holt/lil"));
}

TEST_F(Enable, SaysWhereThereIsNoPlaceForSettings) {
  fs::create_directories("/opt/b");
  fs::remove(kLil);
  const Result result = enable({}, "/opt/b");
  EXPECT_EQ(0, result.code) << result.errors;
  EXPECT_TRUE(contains(result.out, "there are none, and no directory for them")) << result.out;
  EXPECT_FALSE(fs::exists("/opt/b/zebpnode.cfg"));
}

TEST_F(Enable, SaysThatAFileBesideThePlugInIsNeverRead) {
  write("/opt/b/zebpnode.cfg", "ZEBNodeTrace On\n");
  const Result result = enable({}, "/opt/b");
  EXPECT_TRUE(contains(result.out, "/opt/b/zebpnode.cfg is never read")) << result.out;
  EXPECT_EQ("ZEBNodeTrace On\n", contents("/opt/b/zebpnode.cfg"));
  EXPECT_FALSE(contains(enable().out, "never")) << "that of the place in force";
}

TEST_F(Enable, LeavesOtherFilesOfThatNameAlone) {
  write(kLink, "another version");
  expectRefused(74, "is a file of its own, and is left alone", [] { return enable(); });
  fs::remove(kLink);
  fs::create_directory(kLink);
  expectRefused(74, "is a file of its own", [] { return enable(); });
  fs::remove(kLink);
  fs::create_symlink("/opt/old/zebpnode64.lil", kLink);
  expectRefused(74, "leads to /opt/old/zebpnode64.lil", [] { return enable(); });
}

TEST_F(Enable, RefusesADirectoryThatCanNotBeUsed) {
  expectRefused(66, "No such file", [] { return enable({}, "/opt/none"); });
  expectRefused(66, "Not a directory", [] { return enable({}, "/etc/group"); });
  expectRefused(64, "can't be noted", [] { return enable({}, "/opt/a\nb"); });
  expectRefused(64, "can't be noted", [] { return enable({}, ""); });
  EXPECT_EQ(64, run({"enable"}).code);
}

TEST_F(Enable, RefusesADirectoryThatThisUserMayNotWriteTo) {
  fs::permissions(kLil, fs::perms(0555));
  const std::string before = everything();
  const std::string said = answerOf(std::string("unshare -U " ZEBPNODE " enable --dir ") + kLil);
  EXPECT_TRUE(contains(said, "Permission denied. Run it as root.")) << said;
  EXPECT_EQ(before, everything());
}

TEST_F(Enable, RefusesAPlugInThatIsNone) {
  expectRefused(66, "can't be read", [] { return enable({"--library", "/opt/none.lil"}); });
  expectRefused(65, "no 64-bit library", [] { return enable({"--library", "/etc/group"}); });
  std::string other = contents(layout::kInstalledLibrary).substr(0, 64);
  other[4] = 1;
  write("/opt/32.lil", other);
  expectRefused(65, "no 64-bit library", [] { return enable({"--library", "/opt/32.lil"}); });
  other[4] = 2;
  other[18] = 0x7F;
  write("/opt/foreign.lil", other);
  expectRefused(65, "of this machine", [] { return enable({"--library", "/opt/foreign.lil"}); });
}

TEST_F(Enable, MakesADirectoryOfKeyFilesForAGroup) {
  const Result result = enable({"--group", "brokers"});
  EXPECT_EQ(0, result.code) << result.errors;
  struct stat facts {};
  ASSERT_EQ(0, stat("/run/zeb", &facts));
  EXPECT_EQ(02770U, facts.st_mode & 07777U);
  EXPECT_TRUE(contains(contents(kEntry), "\nd /run/zeb 2770 root brokers -\n")) << contents(kEntry);
  EXPECT_EQ(contents(kEntry), contents(layout::kWrittenFiles + std::string(kEntry)));
  EXPECT_TRUE(contains(result.out, "    ZEBTempDirectory /run/zeb/\n")) << result.out;
}

TEST_F(Enable, NeverChangesSettingsForAGroup) {
  write(kSettings, "ZEBMemorySize 65536\n");
  const Result result = enable({"--group", "brokers"});
  EXPECT_EQ("ZEBMemorySize 65536\n", contents(kSettings));
  EXPECT_TRUE(contains(result.out, "Put this line into /opt/holt/lil/zebpnode.cfg")) << result.out;
  write(kSettings, "ZEBTempDirectory=/run/zeb\n");
  EXPECT_FALSE(contains(enable({"--group", "brokers"}).out, "Put this line"));
}

TEST_F(Enable, SaysWhatToDoForAGroupWithoutSystemd) {
  fs::remove_all("/run/systemd");
  const Result result = enable({"--group", "brokers"});
  EXPECT_EQ(0, result.code) << result.errors;
  EXPECT_TRUE(contains(result.out, "No systemd runs here")) << result.out;
  EXPECT_TRUE(contains(result.out, "    install -d -m 2770 -g brokers /run/zeb/\n")) << result.out;
  EXPECT_TRUE(fs::exists("/run/zeb"));
  EXPECT_FALSE(fs::exists(kEntry));
}

TEST_F(Enable, RefusesAGroupThatCanNotBeServed) {
  expectRefused(69, "there is no group \"nobodies\"", [] {
    return enable({"--group", "nobodies"});
  });
  write(kEntry, "d /run/zeb 0755 root root -\n");
  expectRefused(74, "says something else", [] { return enable({"--group", "brokers"}); });
  fs::remove(kEntry);
  fs::create_directory("/run/zeb");
  expectRefused(74, "is not that group's directory", [] { return enable({"--group", "brokers"}); });
  fs::remove("/run/zeb");
  fs::create_directory_symlink("/opt", "/run/zeb");
  expectRefused(74, "is not that group's directory", [] { return enable({"--group", "brokers"}); });
}

// Each step in turn finds no room, after all before it were done.
TEST_F(Enable, TakesBackWhatWasDoneWhenALaterStepFails) {
  fs::create_directories("/opt/plug");
  for (const std::string full :
       {"/var/lib/zebpnode", "/var/lib/zebpnode/written", kLil, "/etc/tmpfiles.d", "/opt/plug"}) {
    SCOPED_TRACE(full);
    mountEmpty(full, kFull);
    expectRefused(74, "No space left on device", [] {
      return enable({"--group", "brokers"}, "/opt/plug");
    });
    unmount(full);
  }
}

TEST_F(Enable, SaysThatItIsTheSettingsThatCanNotBeWritten) {
  fs::create_directories("/opt/plug");
  mountEmpty(kLil);
  ASSERT_EQ(0, mount(nullptr, kLil, nullptr, MS_REMOUNT | MS_RDONLY, nullptr));
  expectRefused(74, "the directory of the settings /opt/holt/lil can't be written to",
                [] { return enable({}, "/opt/plug"); });
}

TEST_F(Enable, WritesToTheDirectoryOnlyWhereTheLinkIsMissing) {
  const auto allow = [](unsigned long flags) {
    ASSERT_EQ(0, mount(nullptr, "/opt/plug", nullptr, MS_REMOUNT | flags, nullptr));
  };
  mountEmpty("/opt/plug");
  allow(MS_RDONLY);
  expectRefused(74, "the directory /opt/plug can't be written to",
                [] { return enable({}, "/opt/plug"); });
  allow(0);
  EXPECT_EQ(0, enable({}, "/opt/plug").code);
  allow(MS_RDONLY);
  EXPECT_EQ(0, enable({}, "/opt/plug").code);
}

TEST_F(Enable, TakesBackADirectoryThatCanNotBeGivenToTheGroup) {
  expectRefused(74, "can't be given to its group", [] { return enable({"--group", "others"}); });
}

TEST_F(Enable, TakesBackANoteBesideOthers) {
  enable();
  mountEmpty("/opt/plug", kFull);
  expectRefused(74, "No space left", [] { return enable({}, "/opt/plug"); });
}

TEST_F(Enable, WaitsForAnotherThatNotesADirectory) {
  const int other = open(layout::kInstallationLock, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_EQ(0, flock(other, LOCK_EX));
  Zebmon late({{"enable", "--dir", kLil}});
  while (!contains(contents("/proc/locks"), "-> FLOCK") && !late.hasEnded()) {
  }
  ASSERT_FALSE(late.hasEnded()) << "it didn't wait";
  write(kNotes, "/opt/other\n");
  fs::remove(layout::kInstallationLock);
  close(other);
  EXPECT_EQ(0, late.wait()) << late.errors();
  EXPECT_EQ("/opt/other\n/opt/holt/lil\n", contents(kNotes));
  EXPECT_FALSE(fs::exists(layout::kInstallationLock));
}

// A tree that was unpacked elsewhere has its own.
TEST_F(Enable, TakesTheLibraryOfItsOwnTree) {
  const auto there = [](const fs::path& path) {
    return "/opt/unpacked" / path.lexically_relative(ZEB_PREFIX);
  };
  const fs::path program = "/opt/unpacked/bin/zebpnode";
  for (const auto& [from, to] : {std::pair<fs::path, fs::path>{ZEBPNODE, program},
                                 {layout::kInstalledLibrary, there(layout::kInstalledLibrary)},
                                 {layout::kProbe, there(layout::kProbe)}}) {
    fs::create_directories(to.parent_path());
    fs::copy_file(from, to);
  }
  fs::remove_all(fs::path(layout::kInstalledLibrary).parent_path());
  answerOf(program.string() + " enable --dir /opt/holt/lil");
  EXPECT_EQ(there(layout::kInstalledLibrary), fs::read_symlink(kLink));
  const std::string status = answerOf(program.string() + " status");
  EXPECT_TRUE(contains(status, "a host would load it")) << status;
}

TEST_F(Disable, RemovesItsLinkAndLeavesSettings) {
  enable({"--group", "brokers"});
  const Result result = disable();
  EXPECT_EQ(0, result.code) << result.errors;
  EXPECT_FALSE(fs::is_symlink(kLink));
  EXPECT_EQ("", contents(kNotes));
  EXPECT_TRUE(fs::exists(kSettings));
  EXPECT_TRUE(fs::exists("/run/zeb"));
  EXPECT_TRUE(contains(result.out, "was removed")) << result.out;
}

TEST_F(Disable, LeavesWhatIsNotItsLink) {
  enable();
  fs::remove(kLink);
  fs::create_symlink("/opt/other.lil", kLink);
  const Result result = disable();
  EXPECT_EQ(0, result.code);
  EXPECT_TRUE(contains(result.out, "stays. The directory was forgotten")) << result.out;
  EXPECT_EQ("/opt/other.lil", fs::read_symlink(kLink));
  EXPECT_EQ("", contents(kNotes));
}

TEST_F(Disable, ForgetsADirectoryThatIsGoneAndNoOther) {
  fs::create_directories("/opt/b");
  enable({}, "/opt/b");
  enable();
  fs::remove_all("/opt/b");
  EXPECT_EQ(0, disable("/opt/b").code);
  EXPECT_EQ("/opt/holt/lil\n", contents(kNotes));
  expectRefused(66, "No such file", [] { return disable("/opt/b"); });
}

TEST_F(Disable, PutsTheLinkBackWhenTheDirectoryCanNotBeForgotten) {
  enable();
  mountEmpty("/var/lib/zebpnode", 1);
  write(kNotes, "/opt/holt/lil\n");
  expectRefused(74, "can't be written", [] { return disable(); });
  EXPECT_TRUE(fs::is_symlink(kLink));
}

}  // namespace enable_test
