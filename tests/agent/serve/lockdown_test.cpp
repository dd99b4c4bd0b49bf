// SPDX-License-Identifier: Apache-2.0
// What a locked server can't do any more, tried in its thread and in the one that speaks HTTP.
#include "agent/front/serve/lockdown.h"

#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sched.h>
#include <sys/ipc.h>
#include <sys/mount.h>
#include <sys/msg.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>

#include "agent/front/serve/http_server.h"
#include "agent/front/serve/watcher.h"
#include "agent/model/collector.h"
#include "tests/agent/serve/client.h"
#include "tests/support/image.h"
#include "tests/support/leftovers.h"
#include "tests/support/live_segment.h"

namespace lockdown_test {

namespace {

// System V objects that the calls below could harm.
struct Objects {
  int segment = shmget(IPC_PRIVATE, 4096, 0600);
  int semaphore = semget(IPC_PRIVATE, 1, 0600);
  int queue = msgget(IPC_PRIVATE, 0600);

  ~Objects() {
    shmctl(segment, IPC_RMID, nullptr);
    semctl(semaphore, 0, IPC_RMID);
    msgctl(queue, IPC_RMID, nullptr);
  }
};

struct Call {
  const char* name;
  std::function<long()> make;
};

// With bits that the kernel ignores, a number means the same to it and another to a careless
// filter.
constexpr long kAbove = 1L << 40;

std::vector<Call> sharedMemoryCalls(const Objects& on) {
  return {
      {"shmat to write", [&] { return syscall(SYS_shmat, on.segment, nullptr, 0); }},
      {"shmat to execute and write",
       [&] { return syscall(SYS_shmat, on.segment, nullptr, SHM_EXEC); }},
      {"shmat with bits above", [&] { return syscall(SYS_shmat, on.segment, nullptr, kAbove); }},
      {"shmctl IPC_RMID", [&] { return syscall(SYS_shmctl, on.segment, IPC_RMID, nullptr); }},
      {"shmctl IPC_RMID with bits above",
       [&] { return syscall(SYS_shmctl, on.segment, kAbove | IPC_RMID, nullptr); }},
      {"shmctl IPC_SET", [&] { return syscall(SYS_shmctl, on.segment, IPC_SET, nullptr); }},
      {"shmctl SHM_LOCK", [&] { return syscall(SYS_shmctl, on.segment, SHM_LOCK, nullptr); }},
      {"shmctl SHM_UNLOCK", [&] { return syscall(SYS_shmctl, on.segment, SHM_UNLOCK, nullptr); }},
      {"shmget IPC_CREAT", [] { return syscall(SYS_shmget, 77, 4096, IPC_CREAT | 0600); }},
      {"shmget IPC_PRIVATE", [] { return syscall(SYS_shmget, IPC_PRIVATE, 4096, 0600); }},
      {"shmget IPC_PRIVATE with bits above",
       [] { return syscall(SYS_shmget, kAbove | IPC_PRIVATE, 4096, 0600); }}};
}

std::vector<Call> lockCalls(const Objects& on) {
  return {
      {"semop", [&] { return syscall(SYS_semop, on.semaphore, nullptr, 0); }},
      {"semtimedop", [&] { return syscall(SYS_semtimedop, on.semaphore, nullptr, 0, nullptr); }},
      {"semctl SETVAL", [&] { return syscall(SYS_semctl, on.semaphore, 0, SETVAL, 1); }},
      {"semctl SETVAL with bits above",
       [&] { return syscall(SYS_semctl, on.semaphore, 0, kAbove | SETVAL, 1); }},
      {"semctl SETALL", [&] { return syscall(SYS_semctl, on.semaphore, 0, SETALL, nullptr); }},
      {"semctl IPC_SET", [&] { return syscall(SYS_semctl, on.semaphore, 0, IPC_SET, nullptr); }},
      {"semctl IPC_RMID", [&] { return syscall(SYS_semctl, on.semaphore, 0, IPC_RMID, 0); }},
      {"semget IPC_CREAT", [] { return syscall(SYS_semget, 77, 1, IPC_CREAT | 0600); }},
      {"semget IPC_PRIVATE", [] { return syscall(SYS_semget, IPC_PRIVATE, 1, 0600); }},
      {"msgsnd", [&] { return syscall(SYS_msgsnd, on.queue, nullptr, 0, IPC_NOWAIT); }},
      {"msgrcv", [&] { return syscall(SYS_msgrcv, on.queue, nullptr, 0, 0, IPC_NOWAIT); }},
      {"msgctl IPC_SET", [&] { return syscall(SYS_msgctl, on.queue, IPC_SET, nullptr); }},
      {"msgctl IPC_RMID", [&] { return syscall(SYS_msgctl, on.queue, IPC_RMID, nullptr); }},
      {"msgget IPC_CREAT", [] { return syscall(SYS_msgget, 77, IPC_CREAT | 0600); }},
      {"msgget IPC_PRIVATE", [] { return syscall(SYS_msgget, IPC_PRIVATE, 0600); }}};
}

// In a child that such a call made, nothing may go on.
long childOf(long made) {
  if (made == 0) _exit(0);
  if (made > 0) waitpid(static_cast<pid_t>(made), nullptr, 0);
  return made;
}

std::vector<Call> processCalls() {
  return {
      {"fork", [] { return childOf(syscall(SYS_fork)); }},
      {"clone of a process", [] { return childOf(syscall(SYS_clone, SIGCHLD, 0, 0, 0, 0)); }},
      {"execve", [] { return syscall(SYS_execve, "/nonexistent", nullptr, nullptr); }},
      {"execveat", [] { return syscall(SYS_execveat, -1, "/nonexistent", nullptr, nullptr, 0); }},
      {"ptrace", [] { return syscall(SYS_ptrace, PTRACE_ATTACH, getppid(), 0, 0); }},
      {"process_vm_writev",
       [] { return syscall(SYS_process_vm_writev, getppid(), nullptr, 0, nullptr, 0, 0); }},
      {"mount", [] { return syscall(SYS_mount, "none", "/var", "tmpfs", 0, nullptr); }},
      {"umount2", [] { return syscall(SYS_umount2, "/nonexistent", 0); }},
      {"setns", [] { return syscall(SYS_setns, -1, 0); }},
      {"unshare", [] { return syscall(SYS_unshare, 0); }}};
}

std::vector<Call> allCalls(const Objects& on) {
  std::vector<Call> calls = sharedMemoryCalls(on);
  for (auto& call : lockCalls(on)) calls.push_back(call);
  for (auto& call : processCalls()) calls.push_back(call);
  return calls;
}

// Which of the calls were not refused with EPERM.
std::string allowed(const Objects& on) {
  std::string names;
  for (const Call& call : allCalls(on)) {
    errno = 0;
    if (call.make() == -1 && errno == EPERM) continue;
    names += std::string(call.name) + ": " + std::to_string(errno) + "\n";
  }
  return names;
}

// What `work` returns in a process of its own, in which it may give up what it likes.
std::string inProcess(const std::function<std::string()>& work) {
  int ends[2];
  EXPECT_EQ(0, pipe(ends));
  const pid_t child = fork();
  if (child == 0) {
    close(ends[0]);
    const std::string text = work() + "end";
    [[maybe_unused]] const ssize_t written = write(ends[1], text.data(), text.size());
    _exit(0);
  }
  close(ends[1]);
  std::string text;
  char buffer[4096];
  for (ssize_t got; (got = read(ends[0], buffer, sizeof buffer)) > 0;) {
    text.append(buffer, static_cast<std::size_t>(got));
  }
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  return WIFSIGNALED(status) ? text + "signal " + std::to_string(WTERMSIG(status)) : text;
}

class Locked : public testing::Test {
 protected:
  void SetUp() override {
    if (!serve::whyNotLocked().empty()) GTEST_SKIP() << serve::whyNotLocked();
  }
};

serve::Reply textReply(std::string text) {
  return {.body = std::make_shared<const std::string>(std::move(text))};
}

std::string capabilities() {
  __user_cap_header_struct header{.version = _LINUX_CAPABILITY_VERSION_3, .pid = 0};
  __user_cap_data_struct sets[_LINUX_CAPABILITY_U32S_3] = {};
  syscall(SYS_capget, &header, sets);
  std::string text;
  for (int capability = 0; capability < 64; ++capability) {
    const auto& set = sets[CAP_TO_INDEX(capability)];
    const auto bit = CAP_TO_MASK(capability);
    if (((set.effective | set.permitted) & bit) != 0) text += std::to_string(capability) + " ";
    if ((set.inheritable & bit) != 0) text += "inheritable " + std::to_string(capability) + " ";
  }
  return text;
}

}  // namespace

TEST_F(Locked, WithoutItMostOfTheseCallsDoSomething) {
  const Objects on;
  const std::string names = inProcess([&] {
    std::string text;
    for (const Call& call : sharedMemoryCalls(on)) {
      if (call.make() != -1) text += std::string(call.name) + "\n";
    }
    return text;
  });
  EXPECT_NE(std::string::npos, names.find("shmat to write\n")) << names;
  EXPECT_NE(std::string::npos, names.find("shmctl IPC_RMID\n")) << names;
  support::leavesThingsBehind();
}

TEST_F(Locked, EveryCallIsRefusedInTheServersThread) {
  const Objects on;
  EXPECT_EQ("end", inProcess([&] {
              serve::forbidCalls();
              return allowed(on);
            }));
}

TEST_F(Locked, EveryCallIsRefusedInTheThreadOfHttp) {
  const Objects on;
  const FreePort port;
  EXPECT_EQ("200end", inProcess([&] {
              serve::forbidCalls();
              const serve::HttpServer server(
                  {port.socket()}, {},
                  [&](const serve::Request&) { return textReply(allowed(on)); },
                  [](serve::HttpServer::Shut) {});
              const std::string answer = Client(port.number()).get("/");
              return std::to_string(statusIn(answer)) + bodyIn(answer);
            }));
}

TEST_F(Locked, ThreadsThatWereThereBeforeAreLockedToo) {
  const Objects on;
  const FreePort port;
  EXPECT_EQ("200end", inProcess([&] {
              const serve::HttpServer server(
                  {port.socket()}, {},
                  [&](const serve::Request&) { return textReply(allowed(on)); },
                  [](serve::HttpServer::Shut) {});
              serve::forbidCalls();
              const std::string answer = Client(port.number()).get("/");
              return std::to_string(statusIn(answer)) + bodyIn(answer);
            }));
}

TEST_F(Locked, ACallOfAnotherAbiEndsTheProcess) {
#ifdef __x86_64__
  constexpr long kOfX32 = 0x40000000;
  EXPECT_EQ("signal " + std::to_string(SIGSYS), inProcess([] {
              serve::forbidCalls();
              syscall(kOfX32 | SYS_getpid);
              return std::string("alive");
            }));
#else
  GTEST_SKIP() << "this processor has no second ABI that could be tried";
#endif
}

TEST_F(Locked, LooksGoOn) {
  const LiveSegment live("1-2-3", image::segment({image::ordersBlock()}));
  const std::string seen = inProcess([&] {
    serve::dropCapabilities();
    serve::forbidCalls();
    model::Collector collector("/tmp", model::Events::read, model::MachineFacts::read);
    return collector.take()->brokers.at(0)->label() + collector.take()->brokers.at(0)->label();
  });
  EXPECT_EQ("BRK1BRK1end", seen);
}

TEST(Capabilities, AreTwoForRoot) {
  ASSERT_EQ(0U, geteuid()) << "tests are root in their namespace";
  EXPECT_EQ(std::to_string(CAP_DAC_READ_SEARCH) + " " + std::to_string(CAP_IPC_OWNER) + " end",
            inProcess([] {
              serve::dropCapabilities();
              return capabilities();
            }));
}

TEST(Capabilities, DontComeBack) {
  EXPECT_EQ("0end", inProcess([] {
              serve::dropCapabilities();
              return std::to_string(prctl(PR_CAPBSET_READ, CAP_SYS_ADMIN, 0, 0, 0));
            }));
}

}  // namespace lockdown_test
