// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/processes.h"

#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <string_view>

#include "agent/reader/bounded_file.h"
#include "agent/reader/folder.h"

namespace reader {
namespace {

constexpr std::size_t kMostOfStat = 4096;
constexpr std::size_t kMostOfBoot = 1 << 20;
constexpr std::size_t kMostOfMaps = 1 << 24;
constexpr std::size_t kMostThreads = 4096;

struct Stat {
  std::string command;
  char state = 0;  // 0: there is none
  std::optional<std::uint64_t> threads;
  std::optional<std::uint64_t> startTicks;
  std::optional<std::uint64_t> userTicks;
  std::optional<std::uint64_t> systemTicks;
};

// A name may hold blanks, parentheses and line ends: it ends at the last parenthesis.
Stat statOf(const std::string& folder) {
  constexpr int kState = 3;
  constexpr int kUserTicks = 14;
  constexpr int kSystemTicks = 15;
  constexpr int kThreads = 20;
  constexpr int kStart = 22;
  Stat stat;
  const FileText file = readFile(folder + "/stat", kMostOfStat);
  const std::size_t begin = file.text.find('(');
  const std::size_t end = file.text.rfind(')');
  if (file.error != 0 || begin == file.text.npos || end == file.text.npos || end < begin)
    return stat;
  stat.command = file.text.substr(begin + 1, end - begin - 1);
  std::string_view rest = std::string_view(file.text).substr(end + 1);
  for (int field = kState; field <= kStart; ++field) {
    const std::string_view word = takeWord(rest);
    if (field == kState && word.size() == 1) stat.state = word.front();
    if (field == kUserTicks) stat.userTicks = unsignedOf(word);
    if (field == kSystemTicks) stat.systemTicks = unsignedOf(word);
    if (field == kThreads) stat.threads = unsignedOf(word);
    if (field == kStart) stat.startTicks = unsignedOf(word);
  }
  return stat;
}

std::optional<std::uint64_t> sumOf(const std::optional<std::uint64_t>& one,
                                   const std::optional<std::uint64_t>& other) {
  std::uint64_t sum = 0;
  const bool known = one && other && !__builtin_add_overflow(*one, *other, &sum);
  return known ? std::optional(sum) : std::nullopt;
}

bool endedIn(char state) {
  return state == 'Z' || state == 'X' || state == 'x';
}

bool stoppedIn(char state) {
  return state == 'T' || state == 't';
}

// Looks until it finds a thread that runs. A thread that ends meanwhile has no file any more.
void lookAtThreads(Process& process, const std::string& folder) {
  const Folder threads = readFolder(folder + "/task", kMostThreads);
  bool allRead = true;
  bool oneIsStopped = false;
  for (const std::string& name : threads.names) {
    const std::string thread = folder + "/task/" + name;
    const char state = statOf(thread).state;
    if (state != 0 && !endedIn(state) && !stoppedIn(state)) {
      process.ended = process.stopped = false;
      return;
    }
    oneIsStopped = oneIsStopped || stoppedIn(state);
    allRead = allRead && (state != 0 || !std::filesystem::exists(thread));
  }
  if (threads.names.size() == kMostThreads) return;
  if (oneIsStopped) process.ended = false;
  if (threads.error != 0 || threads.names.empty() || !allRead) return;
  process.ended = !oneIsStopped;
  process.stopped = oneIsStopped;
}

// The segment of a line such as "7f00-7f01 rw-s 00000000 00:01 32769    /SYSV0101abcd (deleted)".
std::optional<MappedSegment> segmentIn(std::string_view line) {
  constexpr std::string_view kName = "/SYSV";
  for (int field = 0; field < 4; ++field) takeWord(line);
  const auto id = unsignedOf(takeWord(line));
  const std::string_view name = takeWord(line);
  if (!id || !name.starts_with(kName)) return std::nullopt;
  const std::string_view digits = name.substr(kName.size());
  const char* const last = digits.data() + digits.size();
  std::uint32_t key = 0;
  const auto [stopped, failed] = std::from_chars(digits.data(), last, key, 16);
  if (failed != std::errc() || stopped != last) return std::nullopt;
  return MappedSegment{key, *id};
}

// A process that has ended, and the kernel's own, map nothing: an empty file tells nothing.
std::optional<std::vector<MappedSegment>> segmentsOf(const std::string& folder) {
  const FileText file = readFile(folder + "/maps", kMostOfMaps);
  if (file.error != 0 || file.cut || file.text.empty()) return std::nullopt;
  std::vector<MappedSegment> segments;
  for (std::string_view rest = file.text; !rest.empty();) {
    const std::string_view line = takeLine(rest);
    const auto segment = segmentIn(line);
    if (segment && std::ranges::find(segments, *segment) == segments.end()) {
      segments.push_back(*segment);
    }
  }
  return segments;
}

std::chrono::milliseconds now(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return std::chrono::seconds(time.tv_sec) + std::chrono::duration_cast<std::chrono::milliseconds>(
                                                 std::chrono::nanoseconds(time.tv_nsec));
}

}  // namespace

Process readProcess(std::int32_t id, const std::string& proc) {
  Process process;
  process.id = id;
  if (id < 1) return process;
  process.exists = kill(id, 0) == 0 || errno != ESRCH;
  if (!*process.exists) return process;
  const std::string folder = proc + "/" + std::to_string(id);
  Stat stat = statOf(folder);
  process.threads = stat.threads;
  process.startTicks = stat.startTicks;
  process.processorTicks = sumOf(stat.userTicks, stat.systemTicks);
  if (stat.state != 0) process.command = std::move(stat.command);
  lookAtThreads(process, folder);
  process.segments = segmentsOf(folder);
  return process;
}

std::vector<std::int32_t> listProcesses(std::size_t most, int& error, const std::string& proc) {
  std::vector<std::int32_t> processes;
  const Folder list = readFolder(proc);
  error = list.error;
  for (const std::string& name : list.names) {
    const auto id = unsignedOf(name);
    const bool isOne = id && *id <= INT32_MAX && processes.size() < most;
    if (isOne) processes.push_back(static_cast<std::int32_t>(*id));
  }
  return processes;
}

bool isUsers(const std::string& folder) {
  return !readFile(folder + "/cmdline", 1).text.empty();
}

std::string mapsOf(const std::string& folder) {
  return readFile(folder + "/maps", kMostOfMaps).text;
}

Clocks readClocks(const std::string& proc) {
  Clocks clocks;
  clocks.wall = now(CLOCK_REALTIME);
  clocks.sinceBoot = now(CLOCK_BOOTTIME);
  clocks.ticksPerSecond = sysconf(_SC_CLK_TCK);
  const FileText file = readFile(proc + "/stat", kMostOfBoot);
  const std::string_view text = file.text;
  const std::size_t at = text.find("\nbtime ");
  if (at == text.npos) return clocks;
  std::string_view rest = text.substr(at);
  takeWord(rest);
  const auto seconds = unsignedOf(takeWord(rest));
  constexpr std::uint64_t kLargest = INT64_MAX / 1000;
  if (seconds && *seconds <= kLargest) clocks.bootTime = static_cast<std::int64_t>(*seconds);
  return clocks;
}

}  // namespace reader
