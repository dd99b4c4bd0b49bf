// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "host/sandbox/private_view.h"

namespace view_test {

using namespace flowfile;
using namespace host;
namespace fs = std::filesystem;

namespace {

std::string contents(const fs::path& path) {
  std::ifstream stream(path);
  return {std::istreambuf_iterator<char>(stream), {}};
}

void write(const fs::path& path, const std::string& text) {
  fs::create_directories(path.parent_path());
  std::ofstream(path) << text;
}

Broker broker() {
  Broker made;
  made.label = "BRK 1";
  made.uuid = "1234";
  made.memorySize = 8192;
  made.activateForBroker = "EventOnly";
  made.trace = true;
  return made;
}

}  // namespace

TEST(PrivateView, HoldsTheSettingsOfTheFlowFile) {
  enterPrivateView(broker());
  EXPECT_EQ(contents("/opt/holt/lil/zebpnode.cfg"),
            "ZEBNodeTrace=On\nZEBActivateNodeForBRK 1=EventOnly\nZEBMemorySize=8192\n");
  EXPECT_EQ(contents("/var/holt/registry/BRK 1/BrokerUUID"), "1234\n");
}

TEST(PrivateView, HidesTheMachinesSettingsAndKeepsEverythingElse) {
  write("/opt/holt/lil/zebpnode.cfg", "ZEBActivateNode=No\n");
  write("/opt/orva/lil/zebpnode.cfg", "ZEBActivateNode=No\n");
  write("/opt/holt/lil/zebpnode64.lil", "library");
  write("/var/holt/registry/OTHER/BrokerUUID", "x\n");
  write("/var/orva/registry/BRK 1/BrokerUUID", "x\n");
  write("/var/orva/install.properties", "x\n");
  write("/var/orva/log/today", "kept");
  fs::create_symlink("/tmp", "/var/link");
  Broker plain;
  plain.label = "BRK 1";
  enterPrivateView(plain);
  EXPECT_EQ(contents("/opt/holt/lil/zebpnode.cfg"), "");
  EXPECT_FALSE(fs::exists("/opt/orva/lil/zebpnode.cfg"));
  EXPECT_EQ(contents("/opt/holt/lil/zebpnode64.lil"), "library");
  EXPECT_FALSE(fs::exists("/var/holt/registry"));
  EXPECT_FALSE(fs::exists("/var/orva/registry"));
  EXPECT_FALSE(fs::exists("/var/orva/install.properties"));
  EXPECT_EQ(contents("/var/orva/log/today"), "kept");
  EXPECT_EQ(fs::read_symlink("/var/link"), "/tmp");
}

TEST(PrivateView, KeepsTheIdsOfItsUser) {
  const uid_t user = geteuid();
  const gid_t group = getegid();
  enterPrivateView(broker());
  EXPECT_EQ(geteuid(), user);
  EXPECT_EQ(getegid(), group);
}

TEST(PrivateView, WorksWithoutStandardInput) {
  close(STDIN_FILENO);  // the next file gets its number
  enterPrivateView(broker());
  EXPECT_EQ(contents("/var/holt/registry/BRK 1/BrokerUUID"), "1234\n");
}

// In a chroot the root is no mount point.
TEST(PrivateView, WorksInAChroot) {
  for (const char* folder : {"opt", "var", "proc", "tmp"}) {
    fs::create_directories(fs::path("/tmp/root") / folder);
  }
  // Shared mounts, as systemd makes them: what is mounted in one place appears in the other.
  ASSERT_EQ(mount("/proc", "/tmp/root/proc", nullptr, MS_BIND | MS_REC, nullptr), 0);
  ASSERT_EQ(mount("none", "/tmp/root/opt", "tmpfs", 0, nullptr), 0);
  ASSERT_EQ(mount(nullptr, "/tmp", nullptr, MS_SHARED | MS_REC, nullptr), 0);
  const pid_t pid = fork();
  if (pid == 0) {
    if (chroot("/tmp/root") != 0 || chdir("/tmp") != 0) _exit(1);
    try {
      enterPrivateView(broker());
    } catch (const ViewRefused& refused) {
      std::fprintf(stderr, "%s\n", refused.what());
      _exit(2);
    }
    if (contents("/opt/holt/lil/zebpnode.cfg") != configurationText(broker())) _exit(3);
    _exit(fs::current_path() == "/tmp" ? 0 : 4);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(fs::is_empty("/tmp/root/opt")) << "nothing is seen outside";
  EXPECT_TRUE(fs::is_empty("/tmp/root/var"));
  EXPECT_TRUE(fs::exists("/tmp/root/proc/self"));
  umount2("/tmp/root/proc", MNT_DETACH);
  umount2("/tmp/root/opt", MNT_DETACH);
  fs::remove_all("/tmp/root");
}

}  // namespace view_test
