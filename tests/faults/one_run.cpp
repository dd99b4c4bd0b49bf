// SPDX-License-Identifier: Apache-2.0
#include "tests/faults/one_run.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
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
#include <ctime>
#include <filesystem>
#include <fstream>
#include <new>
#include <stdexcept>

#include "tests/faults/life_cycle.h"
#include "tests/support/ipc_objects.h"

namespace faults {
namespace {

namespace fs = std::filesystem;

constexpr int kPatience = 60 * 1000;  // milliseconds
constexpr char kHung[] = "did not end";

Run* sharedRun() {
  static void* const memory =
      mmap(nullptr, sizeof(Run), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::runtime_error("no shared memory for a run");
  return new (memory) Run;
}

// What the C library keeps once it was needed is no leak of the library.
void warmUp() {
  tzset();
  std::tm parts{};
  const std::time_t now = 0;
  localtime_r(&now, &parts);
  timegm(&parts);
}

// Ends a process of a run; where the lines that it ran are counted, not before it wrote them down.
[[noreturn]] void leave() {
  if constexpr (ZEB_COUNTS_LINES) std::exit(0);
  _exit(0);
}

struct Pipe {
  Pipe() {
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  }
  ~Pipe() { closeBoth(); }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  void closeBoth() {
    for (int& end : ends) {
      if (end >= 0) close(end);
      end = -1;
    }
  }
  int ends[2];
};

// One of the two processes of a run.
class Process {
 public:
  Process(void (*body)(Turns&), const Pipe& in, const Pipe& out) {
    const pid_t parent = getpid();
    pid_ = fork();
    if (pid_ < 0) throw std::runtime_error("no process");
    if (pid_ == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      if (getppid() != parent) _exit(1);
      close(in.ends[1]);  // so that the end of the other process is the end of the pipe
      close(out.ends[0]);
      Turns turns(in.ends[0], out.ends[1]);
      body(turns);
      leave();
    }
    ended_ = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0));
  }
  ~Process() { close(ended_); }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  // Empty, or how it ended otherwise. One that does not end is ended.
  std::string ending() const {
    pollfd watched{ended_, POLLIN, 0};
    int ready = 0;
    do {
      ready = poll(&watched, 1, kPatience);
    } while (ready < 0 && errno == EINTR);
    if (ready == 0) kill(pid_, SIGKILL);
    int status = 0;
    while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    if (ready == 0) return kHung;
    if (WIFSIGNALED(status)) return "ended by signal " + std::to_string(WTERMSIG(status));
    if (WEXITSTATUS(status) == kAlone) return "was left alone";
    if (WEXITSTATUS(status) != 0) return "exited with " + std::to_string(WEXITSTATUS(status));
    return {};
  }

 private:
  pid_t pid_;
  int ended_;
};

std::string runBoth() {
  Pipe toFirst;
  Pipe toSecond;
  std::fflush(stdout);
  const Process first(liveFirst, toFirst, toSecond);
  const Process second(liveSecond, toSecond, toFirst);
  toFirst.closeBoth();
  toSecond.closeBoth();
  const std::string endings[] = {first.ending(), second.ending()};
  std::string both;
  if (!endings[0].empty()) both += "the first process " + endings[0] + "; ";
  if (!endings[1].empty()) both += "the second process " + endings[1];
  return both;
}

void find(Outcome& outcome, unsigned kind, const std::string& what) {
  if ((outcome.left & kind) != 0 || kind == kNothing) outcome.leftTwice += what + " ";
  outcome.left |= kind;
}

// The one object of each kind that keeps id 0 in use was there before.
void clearObjects(Outcome& outcome) {
  for (const auto& queue : support::messageQueues()) {
    if (queue.key == IPC_PRIVATE) continue;
    find(outcome, kQueue, "queue");
    msgctl(queue.id, IPC_RMID, nullptr);
  }
  for (const auto& set : support::semaphoreSets()) {
    if (set.key == IPC_PRIVATE) continue;
    find(outcome, kSemaphore, "semaphore");
    semctl(set.id, 0, IPC_RMID);
  }
  for (const auto& segment : support::segments()) {
    if (segment.key == IPC_PRIVATE) continue;
    find(outcome, kSegment, "segment");
    shmctl(segment.id, IPC_RMID, nullptr);
  }
}

void clearFiles(Outcome& outcome) {
  for (const auto& entry : fs::directory_iterator("/tmp")) {
    const std::string name = entry.path().filename();
    if (name.ends_with(".zebmutx"))
      find(outcome, kLockFile, name);
    else if (name.ends_with(".zebcshme"))
      find(outcome, kSegmentFile, name);
    else if (name == "zebregtemp")
      find(outcome, kProbeFile, name);
    else
      continue;
    fs::remove(entry.path());
  }
}

void writeFile(const fs::path& path, const char* content) {
  fs::create_directories(path.parent_path());
  std::ofstream file(path);
  file << content;
  if (!file.flush()) throw std::runtime_error("can't write " + path.string());
}

}  // namespace

void writeSettings(Settings settings) {
  constexpr char kContent[] = "ZEBNodeTrace Off\nZEBMemorySize 8192\nZEBTempDirectory /tmp\n";
  removeSettings();
  const bool probing = settings == Settings::kByProbing;
  writeFile("/var/holt/registry/BRK1/BrokerUUID", "UUID1\n");
  writeFile("/var/orva/install.properties", probing ? "installed/opt/probed=6.1\n" : "\n");
  writeFile(probing ? "/opt/probed/lil/zebpnode.cfg" : "/opt/holt/lil/zebpnode.cfg", kContent);
}

void removeSettings() {
  for (const char* folder : {"/opt/holt", "/opt/probed", "/var/orva", "/var/holt"}) {
    fs::remove_all(folder);
  }
}

Outcome runOnce(const Fault& fault) {
  warmUp();
  Outcome outcome;
  run = sharedRun();
  run->fault = fault;
  outcome.ending = runBoth();
  outcome.hung = outcome.ending.find(kHung) != std::string::npos;
  outcome.run = *run;
  run = nullptr;
  clearObjects(outcome);
  clearFiles(outcome);
  return outcome;
}

}  // namespace faults
