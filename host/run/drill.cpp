// SPDX-License-Identifier: Apache-2.0
#include "host/run/drill.h"

#include <fmt/format.h>
#include <signal.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <vector>

#include "format/names.h"
#include "host/run/clock.h"

namespace host {
namespace {

namespace fs = std::filesystem;
using Kind = flowfile::Drill::Kind;

constexpr std::size_t kRecordDigits = 32;
constexpr timespec kPatience{5, 0};

std::string reason(const fs::path& file) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): one message at a time.
  return fmt::format("{}: {}", file.string(), std::strerror(errno));
}

fs::path directoryOf(const flowfile::Broker& broker) {
  return broker.tempDirectory.value_or(layout::kDefaultDirectory);
}

// The semaphore of a lock's key file; negative without one.
int semaphoreOf(const fs::path& keyFile) {
  const key_t key = ftok(keyFile.c_str(), layout::kKeyProject);
  return key == -1 ? -1 : semget(key, 1, 0);
}

bool isRecordLock(const std::string& name) {
  return name.size() == kRecordDigits + std::string_view(layout::kLockSuffix).size() &&
         name.ends_with(layout::kLockSuffix) &&
         name.find_first_not_of("0123456789ABCDEFabcdef") == kRecordDigits;
}

// The lock of some record that this process was the last to use; empty when there is none. Only the
// process of a node takes its record's lock for each message.
fs::path ownRecordLock(const fs::path& directory) {
  std::error_code error;
  for (fs::directory_iterator at(directory, error), end; !error && at != end; at.increment(error)) {
    if (!isRecordLock(at->path().filename().string())) continue;
    const int semaphore = semaphoreOf(at->path());
    if (semaphore >= 0 && semctl(semaphore, 0, GETPID) == getpid()) return at->path();
  }
  return {};
}

// The locks of areas that there are, the events area's first: each message with an event takes it.
std::vector<fs::path> areaLocks(const flowfile::Broker& broker) {
  std::vector<fs::path> locks;
  for (const char* area : {layout::kEventDataSuffix, layout::kStatisticsSuffix}) {
    fs::path file = directoryOf(broker) / (broker.uuid.value_or("") + area + layout::kLockSuffix);
    if (semaphoreOf(file) >= 0) locks.push_back(std::move(file));
  }
  return locks;
}

// False, with errno, when the lock is not free in time.
bool take(const fs::path& keyFile, short flags) {
  const int semaphore = semaphoreOf(keyFile);
  sembuf one{0, -1, flags};
  int taken = -1;
  do {
    taken = semtimedop(semaphore, &one, 1, &kPatience);
  } while (taken != 0 && errno == EINTR);
  return taken == 0;
}

// Dies with no other lock of an area than the one it holds. A message of this process may be in an
// area just now, so each area is waited for, and given back by the system at the end.
void die(const flowfile::Broker& broker, const fs::path& held = {}) {
  for (const fs::path& lock : areaLocks(broker)) {
    if (lock != held) take(lock, SEM_UNDO);
  }
  kill(getpid(), SIGKILL);
  for (;;) pause();
}

std::string dieHolding(const flowfile::Broker& broker, const fs::path& keyFile) {
  if (keyFile.empty()) {
    return "there is no such lock yet: a node makes them with its first message";
  }
  if (take(keyFile, 0)) die(broker, keyFile);
  return "can't take the lock " + reason(keyFile);
}

std::string removeKeyFile(const flowfile::Broker& broker) {
  const fs::path file = directoryOf(broker) / (broker.uuid.value_or("") + layout::kSegmentSuffix);
  return unlink(file.c_str()) == 0 ? std::string() : "can't remove the key file " + reason(file);
}

}  // namespace

std::string perform(const flowfile::Drill& drill, const flowfile::Broker& broker) {
  switch (drill.kind) {
    case Kind::kill:
      die(broker);
      break;
    case Kind::killHoldingRecord:
      return dieHolding(broker, ownRecordLock(directoryOf(broker)));
    case Kind::killHoldingArea: {
      const std::vector<fs::path> locks = areaLocks(broker);
      return dieHolding(broker, locks.empty() ? fs::path() : locks.front());
    }
    case Kind::clockBack:
      setClockBack(drill.time);
      break;
    case Kind::removeKeyFile:
      return removeKeyFile(broker);
    case Kind::stop:
    case Kind::redeploy:
      break;
  }
  return {};
}

}  // namespace host
