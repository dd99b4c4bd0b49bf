// SPDX-License-Identifier: Apache-2.0
// What surrounds key files: their directory, cleaners, logins, other views, objects without a file.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/msg.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "agent/reader/directory.h"
#include "agent/reader/keyless.h"
#include "agent/reader/locks.h"
#include "agent/reader/logins.h"
#include "agent/reader/views.h"

namespace surroundings_test {

namespace {

namespace fs = std::filesystem;

constexpr char kRoot[] = "/tmp/root";

// Files of another machine, below a root of their own.
class Files : public testing::Test {
 protected:
  ~Files() override { fs::remove_all(kRoot); }

  static void write(const std::string& name, const std::string& text) {
    const fs::path path = kRoot + name;
    fs::create_directories(path.parent_path());
    std::ofstream(path) << text;
  }
  static void makeFolder(const std::string& name) { fs::create_directories(kRoot + name); }
};

class CleanersOf : public Files {
 protected:
  CleanersOf() { makeFolder("/run/systemd/system"); }

  // "PATH:LINE", each.
  static std::string of(const std::string& directory) {
    std::string all;
    for (const reader::Cleaner& cleaner : reader::readCleaners(directory, kRoot).cleaners) {
      all += cleaner.path.substr(sizeof kRoot - 1) + ":" + std::to_string(cleaner.line) + " ";
    }
    return all;
  }
};

class LoginsOf : public Files {
 protected:
  LoginsOf() { makeFolder("/run/systemd/users"); }
};

// A child with the library in its memory. It ends with this.
class Stranger {
 public:
  Stranger(int namespaces, bool ownDirectory) {
    int ready[2];
    if (pipe(ready) != 0) throw std::runtime_error("pipe");
    id_ = fork();
    if (id_ == 0) live(namespaces, ownDirectory, ready[1]);
    close(ready[1]);
    char done = 0;
    made_ = read(ready[0], &done, 1) == 1;
    close(ready[0]);
  }
  ~Stranger() {
    kill(id_, SIGKILL);
    waitpid(id_, nullptr, 0);
    fs::remove("/tmp/zebpnode64.lil");
  }
  Stranger(const Stranger&) = delete;
  Stranger& operator=(const Stranger&) = delete;

  bool made() const { return made_; }

  const reader::OtherView* in(const reader::Views& views) const {
    for (const auto& view : views.others) {
      if (view.process == id_) return &view;
    }
    return nullptr;
  }

 private:
  [[noreturn]] static void live(int namespaces, bool ownDirectory, int ready) {
    std::ofstream("/tmp/zebpnode64.lil") << "x";
    const int file = open("/tmp/zebpnode64.lil", O_RDONLY);
    void* const at = mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE, file, 0);
    const bool done = at != MAP_FAILED && unshare(namespaces) == 0 &&
                      (!ownDirectory || mount("none", "/tmp", "tmpfs", 0, nullptr) == 0);
    if (done && write(ready, "x", 1) != 1) _exit(1);
    close(ready);
    for (;;) pause();
  }

  pid_t id_;
  bool made_ = false;
};

}  // namespace

TEST(Directory, TellsOfItselfAndItsFileSystem) {
  const reader::Directory tmp = reader::readDirectory("/tmp/");
  EXPECT_EQ(0, tmp.error);
  EXPECT_TRUE(tmp.directory);
  EXPECT_FALSE(tmp.readOnly);
  struct stat facts {};
  ASSERT_EQ(0, stat("/tmp", &facts));
  EXPECT_EQ(facts.st_ino, tmp.inode);
  EXPECT_EQ(facts.st_dev, tmp.device);
  ASSERT_TRUE(tmp.freeBytes);
  EXPECT_LT(0U, *tmp.freeBytes);
  std::ofstream("/tmp/file");
  EXPECT_FALSE(reader::readDirectory("/tmp/file").directory);
  fs::remove("/tmp/file");
  EXPECT_EQ(ENOENT, reader::readDirectory("/tmp/none/").error);
}

TEST(Directory, LetsUsersMakeFilesByItsMode) {
  reader::Directory directory;
  directory.owner = 1000;
  directory.mode = 0700;
  EXPECT_TRUE(directory.lets(0));
  EXPECT_TRUE(directory.lets(1000));
  EXPECT_FALSE(directory.lets(1001));
  directory.mode = 0070;
  EXPECT_FALSE(directory.lets(1000));
  EXPECT_TRUE(directory.lets(1001)) << "may be of the group";
  directory.mode = 01777;
  EXPECT_TRUE(directory.lets(1001));
  directory.mode = 0005;
  EXPECT_FALSE(directory.lets(1001)) << "can't write";
}

TEST_F(CleanersOf, TmpfilesAreTheRulesWithAnAge) {
  write("/usr/lib/tmpfiles.d/tmp.conf", "# comment\nq /tmp 1777 root root 10d\nD /run/x - - - -\n");
  EXPECT_EQ("/usr/lib/tmpfiles.d/tmp.conf:2 ", of("/tmp/"));
  EXPECT_EQ("/usr/lib/tmpfiles.d/tmp.conf:2 ", of("/tmp/below/"));
  EXPECT_EQ("", of("/tmpfs/"));
  EXPECT_EQ("", of("/run/x/"));
}

TEST_F(CleanersOf, TmpfilesCountOnlyWhereSystemdRuns) {
  fs::remove_all(kRoot + std::string("/run/systemd"));
  write("/usr/lib/tmpfiles.d/tmp.conf", "q /tmp 1777 root root 10d\n");
  EXPECT_EQ("", of("/tmp/"));
}

TEST_F(CleanersOf, TmpfilesOfOneNameAreThoseOfTheAdministrator) {
  write("/usr/lib/tmpfiles.d/tmp.conf", "q /tmp 1777 root root 10d\n");
  write("/etc/tmpfiles.d/tmp.conf", "d /tmp 1777 root root -\n");
  EXPECT_EQ("", of("/tmp/"));
}

TEST_F(CleanersOf, TmpfilesCleanNothingThatHasARuleOfItsOwn) {
  write("/usr/lib/tmpfiles.d/tmp.conf", "q /tmp 1777 root root 10d\nd /tmp/zeb 0770 a b -\n");
  EXPECT_EQ("", of("/tmp/zeb/"));
  EXPECT_NE("", of("/tmp/other/"));
}

TEST_F(CleanersOf, TmpfilesLeaveWhatIsExcluded) {
  write("/usr/lib/tmpfiles.d/tmp.conf", "q /tmp 1777 root root 10d\n");
  write("/etc/tmpfiles.d/zeb.conf", "x /tmp/*.zebcshme\n");
  EXPECT_NE("", of("/tmp/")) << "locks are not";
  write("/etc/tmpfiles.d/zeb.conf", "x /tmp/*.zebcshme\nx \"/tmp/*.zebmutx\"\n");
  EXPECT_EQ("", of("/tmp/"));
  write("/etc/tmpfiles.d/zeb.conf", "x /tmp/zeb\n");
  EXPECT_EQ("", of("/tmp/zeb/"));
  write("/etc/tmpfiles.d/zeb.conf", "X /tmp/zeb\n");
  EXPECT_NE("", of("/tmp/zeb/")) << "this spares the directory, and not what is in it";
}

TEST_F(CleanersOf, TmpfilesAtBootAreNone) {
  write("/etc/tmpfiles.d/a.conf", "D! /tmp 1777 root root 0\nr! /tmp/.X[0-9]*-lock\n");
  EXPECT_EQ("", of("/tmp/"));
  write("/etc/tmpfiles.d/a.conf", "D %T 1777 root root 0\n");
  EXPECT_EQ("/etc/tmpfiles.d/a.conf:1 ", of("/tmp/"));
}

TEST_F(CleanersOf, CronAreLinesThatRemoveThere) {
  write("/etc/cron.daily/clean", "#!/bin/sh\n# find /tmp -delete\nfind /tmp -mtime +7 -delete\n");
  write("/etc/crontab", "0 3 * * * root tmpwatch \\\n 240 /tmp\n0 4 * * * root ls /tmp\n");
  write("/etc/cron.d/other", "0 3 * * * root find /tmp/other -delete\n");
  write("/etc/cron.d/knows", "0 3 * * * root find /tmp ! -name '*.zebmutx' -delete\n");
  EXPECT_EQ("/etc/crontab:1 /etc/cron.daily/clean:3 ", of("/tmp/"));
  EXPECT_EQ("", of("/opt/"));
}

TEST_F(CleanersOf, TmpreaperIsOneUnlessItIsSwitchedOffOrKnowsKeyFiles) {
  write("/etc/cron.daily/tmpreaper", "#!/bin/sh\ntmpreaper $TMPREAPER_TIME $TMPREAPER_DIRS\n");
  EXPECT_EQ("/etc/tmpreaper.conf:0 ", of("/tmp/"));
  EXPECT_EQ("", of("/var/tmp/"));
  write("/etc/tmpreaper.conf", "TMPREAPER_DIRS='/tmp/. /var/tmp/.'\n");
  EXPECT_EQ("/etc/tmpreaper.conf:1 ", of("/var/tmp/"));
  write("/etc/tmpreaper.conf", "SHOWWARNING=true\n");
  EXPECT_EQ("", of("/tmp/"));
  write("/etc/tmpreaper.conf", "TMPREAPER_PROTECT_EXTRA='/tmp/*.zebcshme /tmp/*.zebmutx'\n");
  EXPECT_EQ("", of("/tmp/"));
}

TEST_F(CleanersOf, WhatCannotBeReadIsNamed) {
  makeFolder("/etc/tmpfiles.d");
  fs::create_symlink("loop.conf", kRoot + std::string("/etc/tmpfiles.d/loop.conf"));
  const auto unreadable = reader::readCleaners("/tmp/", kRoot).unreadable;
  ASSERT_EQ(1U, unreadable.size());
  EXPECT_TRUE(unreadable[0].ends_with("loop.conf"));
}

TEST_F(LoginsOf, OrdinaryUsersLoseTheirObjectsByDefault) {
  write("/etc/systemd/logind.conf", "[Login]\n#RemoveIPC=no\n");
  const reader::Logins logins = reader::readLogins(kRoot);
  EXPECT_TRUE(logins.removesIpcOf(1000));
  EXPECT_FALSE(logins.removesIpcOf(999));
  EXPECT_FALSE(logins.removesIpcOf(0));
  EXPECT_FALSE(logins.removesIpcOf(65534));
  EXPECT_EQ("", logins.path);
}

TEST_F(LoginsOf, TheLastDropInDecides) {
  write("/etc/systemd/logind.conf", "[Login]\nRemoveIPC=yes\n");
  write("/usr/lib/systemd/logind.conf.d/50.conf", "[Login]\n RemoveIPC = No\n");
  reader::Logins logins = reader::readLogins(kRoot);
  EXPECT_FALSE(logins.removesIpcOf(1000));
  EXPECT_TRUE(logins.path.ends_with("logind.conf.d/50.conf"));
  EXPECT_EQ(2U, logins.line);
  write("/run/systemd/logind.conf.d/60.conf", "[Other]\nRemoveIPC=yes\n[Login]\nRemoveIPC=odd\n");
  EXPECT_FALSE(reader::readLogins(kRoot).removesIpc);
  write("/run/systemd/logind.conf.d/60.conf", "[Login]\nRemoveIPC=on\n");
  EXPECT_TRUE(reader::readLogins(kRoot).removesIpc);
}

TEST_F(LoginsOf, SystemUsersEndWhereTheMachineSays) {
  write("/etc/login.defs", "UID_MIN 500\nSYS_UID_MAX 499\n");
  EXPECT_TRUE(reader::readLogins(kRoot).removesIpcOf(500));
  write("/etc/login.defs", "SYS_UID_MAX 99999999999999999999\n");
  EXPECT_EQ(999U, reader::readLogins(kRoot).lastSystemUser);
}

TEST_F(LoginsOf, NobodyLosesAnythingWhereNoneAreManaged) {
  fs::remove_all(kRoot + std::string("/run"));
  EXPECT_FALSE(reader::readLogins(kRoot).removesIpcOf(1000));
}

TEST(Views, OfThisDirectoryAndTheseObjectsAreNoOthers) {
  const Stranger same(0, false);
  ASSERT_TRUE(same.made());
  EXPECT_EQ(nullptr, same.in(reader::readViews("/tmp/")));
}

TEST(Views, AProcessWithADirectoryOfItsOwnIsAnother) {
  const Stranger stranger(CLONE_NEWNS, true);
  if (!stranger.made()) GTEST_SKIP() << "no mount namespace here";
  const reader::Views views = reader::readViews("/tmp/");
  const reader::OtherView* const view = stranger.in(views);
  ASSERT_NE(nullptr, view);
  EXPECT_EQ(true, view->otherDirectory);
  EXPECT_EQ(false, view->otherIpc);
}

TEST(Views, ANamespaceWithTheSameDirectoryIsNone) {
  const Stranger stranger(CLONE_NEWNS, false);
  if (!stranger.made()) GTEST_SKIP() << "no mount namespace here";
  EXPECT_EQ(nullptr, stranger.in(reader::readViews("/tmp/")));
}

TEST(Views, AProcessWithObjectsOfItsOwnIsAnother) {
  const Stranger stranger(CLONE_NEWIPC, false);
  if (!stranger.made()) GTEST_SKIP() << "no IPC namespace here";
  const reader::Views views = reader::readViews("/tmp/");
  const reader::OtherView* const view = stranger.in(views);
  ASSERT_NE(nullptr, view);
  EXPECT_EQ(false, view->otherDirectory);
  EXPECT_EQ(true, view->otherIpc);
}

// The service that it runs in, and what can't be read: from made files.
TEST_F(Files, OfAProcessTellItsServiceAndWhatIsHidden) {
  const auto link = [](const std::string& process, const char* name, const std::string& to) {
    fs::create_directories(kRoot + ("/" + process + "/ns"));
    fs::create_symlink(to, kRoot + ("/" + process + "/ns/" + name));
  };
  for (const char* const process : {"self", "10", "11"}) {
    link(process, "mnt", process == std::string("10") ? "mnt:[2]" : "mnt:[1]");
    link(process, "ipc", "ipc:[1]");
  }
  write("/10/maps", "7f00-7f01 r--p 00000000 00:01 5 /opt/holt/lil/zebpnode64.lil\n");
  write("/10/comm", "engine\n");
  write("/10/cgroup", "0::/system.slice/broker.service/worker\n");
  makeFolder("/10/root");
  write("/12/cmdline", "x");
  makeFolder("/13");
  const reader::Views views = reader::readViews("/tmp/", kRoot);
  ASSERT_EQ(1U, views.others.size());
  EXPECT_EQ(10, views.others[0].process);
  EXPECT_EQ("engine", views.others[0].command);
  EXPECT_EQ("broker.service", views.others[0].unit);
  EXPECT_EQ(true, views.others[0].otherDirectory) << "it has none of that name";
  EXPECT_EQ(1U, views.hidden) << "12; 13 is one of the kernel's";
  EXPECT_NE(0, reader::readViews("/tmp/", "/tmp/none").error);
}

// Real objects as the library makes them, whose key file goes.
TEST(Keyless, ObjectsAreThoseWithoutAKeyFile) {
  std::ofstream{"/tmp/file"};
  const key_t key = ftok("/tmp/file", 1);
  const reader::KeyFile file = reader::readKeyFile("/tmp/file");
  const int segment = shmget(key, 3 * 4096 + 32, IPC_CREAT | 0660);
  const int set = semget(key, 1, IPC_CREAT | 0660);
  const int queue = msgget(key, IPC_CREAT | 0660);
  const std::uint64_t device = reader::readDirectory("/tmp/").device;
  EXPECT_TRUE(reader::readKeyless(device, {file.key()}).objects.empty());
  const reader::KeylessList found = reader::readKeyless(device, {});
  ASSERT_TRUE(found.readable);
  ASSERT_EQ(2U, found.objects.size());
  EXPECT_EQ(reader::Keyless::Kind::segment, found.objects[0].kind);
  EXPECT_EQ(segment, found.objects[0].id);
  EXPECT_EQ(getpid(), found.objects[0].firstProcess);
  EXPECT_EQ(reader::Keyless::Kind::lock, found.objects[1].kind);
  EXPECT_EQ(set, found.objects[1].id);
  EXPECT_EQ(queue, found.objects[1].queue);
  EXPECT_TRUE(reader::readKeyless(device + 1, {}).objects.empty());
  shmctl(segment, IPC_RMID, nullptr);
  semctl(set, 0, IPC_RMID);
  EXPECT_TRUE(reader::readKeyless(device, {}).objects.empty()) << "a queue alone is no lock";
  msgctl(queue, IPC_RMID, nullptr);
  fs::remove("/tmp/file");
}

TEST_F(Files, OfTheKernelThatAreBrokenTellNothing) {
  const std::string heading = "key id perms size\n";
  const std::string ours = "16908289 5 660 12320 1 2 0 0 0 0\n";
  write("/sysvipc/shm", heading + ours);
  write("/sysvipc/sem", heading);
  EXPECT_FALSE(reader::readKeyless(2, {}, kRoot).readable) << "no list of queues";
  write("/sysvipc/msg", heading);
  EXPECT_EQ(1U, reader::readKeyless(2, {}, kRoot).objects.size());
  for (const char* const other : {"16908289 5 600 12320 1 2 0 0 0 0\n",     // other permissions
                                  "16908289 5 660 12321 1 2 0 0 0 0\n",     // no three areas
                                  "33685505 5 660 12320 1 2 0 0 0 0\n"}) {  // another project
    write("/sysvipc/shm", heading + other);
    EXPECT_TRUE(reader::readKeyless(2, {}, kRoot).objects.empty()) << other;
  }
  write("/sysvipc/shm", heading + ours + "x\n");
  EXPECT_FALSE(reader::readKeyless(2, {}, kRoot).readable);
  EXPECT_TRUE(reader::readKeyless(2, {}, kRoot).objects.empty());
}

}  // namespace surroundings_test
