// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/waits.h"

#include <sys/syscall.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>

#include "agent/reader/bounded_file.h"
#include "agent/reader/folder.h"
#include "agent/reader/processes.h"

namespace reader {
namespace {

constexpr std::size_t kMostThreads = 4096;
constexpr std::size_t kMostOfCall = 256;

bool waitsForASemaphore(std::uint64_t call) {
#ifdef SYS_semop
  if (call == SYS_semop) return true;
#endif
  return call == SYS_semtimedop;
}

std::optional<int> semaphoreIn(std::string_view argument) {
  if (!argument.starts_with("0x")) return std::nullopt;
  const char* const end = argument.data() + argument.size();
  int id = 0;
  const auto [stopped, error] = std::from_chars(argument.data() + 2, end, id, 16);
  return error == std::errc() && stopped == end ? std::optional(id) : std::nullopt;
}

// A look at the threads of one process.
struct Sleep {
  std::set<int> semaphores;  // that they wait for
  bool unsure = false;       // one waits, and the kernel doesn't tell what for
};

// A call is a line such as "220 0x88000 0x7fa5 0x1 0x0 ...": its number, and what it was called
// with.
void lookAt(const std::string& thread, Sleep& sleep) {
  const FileText call = readFile(thread + "/syscall", kMostOfCall);
  if (call.error != 0 || call.text.empty()) {
    const std::string place = readFile(thread + "/wchan", kMostOfCall).text;
    sleep.unsure = sleep.unsure || place.find("semtimedop") != place.npos;
    return;
  }
  std::string_view rest = call.text;
  const auto number = unsignedOf(takeWord(rest));
  if (!number || !waitsForASemaphore(*number)) return;
  if (const auto id = semaphoreIn(takeWord(rest))) sleep.semaphores.insert(*id);
}

Sleep sleepOf(const std::string& folder) {
  Sleep sleep;
  for (const std::string& thread : readFolder(folder + "/task", kMostThreads).names) {
    lookAt(folder + "/task/" + thread, sleep);
  }
  return sleep;
}

}  // namespace

Waits readWaits(const std::set<int>& semaphores, const std::string& proc) {
  Waits waits;
  int error = 0;
  for (const std::int32_t process : listProcesses(Waits::kMostProcesses, error, proc)) {
    const Sleep sleep = sleepOf(proc + "/" + std::to_string(process));
    for (const int semaphore : sleep.semaphores) {
      if (semaphores.contains(semaphore)) waits.waiters.push_back({process, semaphore});
    }
    if (sleep.unsure) waits.unsure.push_back(process);
  }
  std::ranges::sort(waits.waiters);
  std::ranges::sort(waits.unsure);
  return waits;
}

}  // namespace reader
