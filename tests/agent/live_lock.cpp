// SPDX-License-Identifier: Apache-2.0
#include "tests/agent/live_lock.h"

#include <linux/capability.h>
#include <sched.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/sem.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <stdexcept>

namespace {

union SemaphoreArgument {
  int value;
  semid_ds* state;
};

void require(bool done, const char* what) {
  if (!done) throw std::runtime_error(what);
}

}  // namespace

LiveLock::LiveLock(const std::string& name, int mode) : keyFile_("/tmp/" + name + ".zebmutx") {
  std::ofstream{keyFile_};
  const key_t key = ftok(keyFile_.c_str(), 1);
  semaphore_ = semget(key, 1, IPC_CREAT | IPC_EXCL | mode);
  queue_ = msgget(key, IPC_CREAT | IPC_EXCL | mode);
  require(semaphore_ >= 0 && queue_ >= 0, "no semaphore or no queue");
  require(semctl(semaphore_, 0, SETVAL, SemaphoreArgument{1}) == 0, "semctl");
}

LiveLock::~LiveLock() {
  semctl(semaphore_, 0, IPC_RMID);
  msgctl(queue_, IPC_RMID, nullptr);
  unlink(keyFile_.c_str());
}

void LiveLock::refer() const {
  struct {
    long type = 1;
    char body[1] = {0};
  } reference;
  require(msgsnd(queue_, &reference, 1, IPC_NOWAIT) == 0, "msgsnd");
}

void LiveLock::change(int by) const {
  sembuf operation{0, static_cast<short>(by), 0};
  require(semop(semaphore_, &operation, 1) == 0, "semop");
}

pid_t LiveLock::takenByADeadProcess() const {
  const pid_t child = fork();
  if (child == 0) {
    change(-1);
    _exit(0);
  }
  waitpid(child, nullptr, 0);
  return child;
}

int LiveLock::value() const {
  return semctl(semaphore_, 0, GETVAL);
}

Waiting::Waiting(const LiveLock& lock) : id_(fork()) {
  if (id_ == 0) {
    lock.change(-1);
    _exit(0);
  }
  while (semctl(lock.semaphore(), 0, GETNCNT) == 0) sched_yield();
}

Waiting::~Waiting() {
  kill(id_, SIGKILL);
  waitpid(id_, nullptr, 0);
}

bool giveUpRightsOverObjects() {
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct none[2]{};
  return syscall(SYS_capset, &header, none) == 0;
}
