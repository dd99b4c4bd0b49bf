// SPDX-License-Identifier: Apache-2.0
#include "tests/support/private_namespaces.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/ipc.h>
#include <sys/mount.h>
#include <sys/msg.h>
#include <sys/prctl.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace support {
namespace {

namespace fs = std::filesystem;

constexpr char kStage[] = "ZEB_TEST_NAMESPACES";  // unset, then "new", then "ready"
constexpr const char* kCovered[] = {"/tmp", "/opt", "/var"};
constexpr int kNamespaces = CLONE_NEWNS | CLONE_NEWIPC;

[[noreturn]] void skip(const char* step, int error) {
  std::printf("[  SKIPPED ] no private namespaces: %s: %s\n", step, std::strerror(error));
  std::fflush(stdout);
  _exit(kSkipped);
}

void require(bool done, const char* step) {
  if (!done) skip(step, errno);
}

bool writeText(const std::string& path, const std::string& text) {
  const int file = open(path.c_str(), O_WRONLY | O_CLOEXEC);
  if (file < 0) return false;
  const bool written = write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  const int error = errno;
  close(file);
  errno = error;
  return written;
}

void mapIds(pid_t child) {
  const std::string proc = "/proc/" + std::to_string(child) + "/";
  require(writeText(proc + "setgroups", "deny"), "setgroups");
  require(writeText(proc + "uid_map", "0 " + std::to_string(geteuid()) + " 1"), "uid_map");
  require(writeText(proc + "gid_map", "0 " + std::to_string(getegid()) + " 1"), "gid_map");
}

// A process cloned by hand may only make system calls: the C library and the sanitizers don't know
// about it. It waits until its ids are mapped, then starts this program over.
[[noreturn]] void startOver(int mapped, char** arguments) {
  char byte = 0;
  syscall(SYS_prctl, PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0);
  if (syscall(SYS_read, mapped, &byte, 1) == 1) {
    syscall(SYS_execve, "/proc/self/exe", arguments, environ);
  }
  syscall(SYS_exit_group, kSkipped);
  __builtin_unreachable();
}

// Without the end of a program: a search for leaks would take as long as many a test.
[[noreturn]] void exitAs(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  std::fflush(stdout);
  if (WIFSIGNALED(status)) {
    std::printf("the test process was ended by signal %d\n", WTERMSIG(status));
    std::fflush(stdout);
    _exit(128 + WTERMSIG(status));
  }
  _exit(WEXITSTATUS(status));
}

[[noreturn]] void runInside(char** arguments) {
  setenv(kStage, "new", 1);
  int mapped[2];
  require(pipe2(mapped, O_CLOEXEC) == 0, "pipe");
  std::fflush(stdout);
  bool ownUsers = true;
  long child = syscall(SYS_clone, kNamespaces | CLONE_NEWUSER | SIGCHLD, 0, 0, 0, 0);
  if (child < 0 && geteuid() == 0) {  // user namespaces may be switched off; root needs none
    ownUsers = false;
    child = syscall(SYS_clone, kNamespaces | SIGCHLD, 0, 0, 0, 0);
  }
  require(child >= 0, "clone");
  if (child == 0) startOver(mapped[0], arguments);
  if (ownUsers) mapIds(static_cast<pid_t>(child));
  require(write(mapped[1], "", 1) == 1, "write");
  exitAs(static_cast<pid_t>(child));
}

bool liesUnder(const fs::path& path, const fs::path& folder) {
  const fs::path relative = path.lexically_relative(folder);
  return !relative.empty() && *relative.begin() != "..";
}

// A folder that an empty file system is about to hide.
struct Kept {
  fs::path path;
  int folder;
};

std::vector<Kept> openTrees(const fs::path& covered) {
  std::vector<Kept> kept;
  for (const char* tree : {ZEB_SOURCE_TREE, ZEB_BUILD_TREE}) {
    const fs::path path = fs::canonical(tree);
    if (!liesUnder(path, covered) || path == covered) continue;
    const int folder = open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    require(folder >= 0, "open of the tree");
    kept.push_back({path, folder});
  }
  return kept;
}

void cover(const char* folder) {
  const std::vector<Kept> kept = openTrees(folder);
  require(mount("tmpfs", folder, "tmpfs", MS_NOSUID | MS_NODEV, "mode=1777") == 0, "tmpfs");
  for (const Kept& tree : kept) {
    const std::string source = "/proc/self/fd/" + std::to_string(tree.folder);
    fs::create_directories(tree.path);
    require(mount(source.c_str(), tree.path.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0,
            "bind mount of the tree");
    close(tree.folder);
  }
}

void useUpFirstIds() {
  require(msgget(IPC_PRIVATE, 0600) >= 0, "msgget");
  require(semget(IPC_PRIVATE, 1, 0600) >= 0, "semget");
  require(shmget(IPC_PRIVATE, 1, 0600) >= 0, "shmget");
}

void furnish() {
  std::error_code ignored;
  const fs::path here = fs::current_path(ignored);
  require(mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "private mounts");
  for (const char* folder : kCovered) cover(folder);
  fs::current_path(here, ignored);
  if (ignored) fs::current_path("/");
  useUpFirstIds();
  setenv(kStage, "ready", 1);
}

}  // namespace

bool insidePrivateNamespaces() {
  const char* stage = std::getenv(kStage);
  return stage != nullptr && std::strcmp(stage, "ready") == 0;
}

void enterPrivateNamespaces(char** arguments) {
  if (insidePrivateNamespaces()) return;
  if (std::getenv(kStage) == nullptr) runInside(arguments);
  furnish();
}

}  // namespace support
