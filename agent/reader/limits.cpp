// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/limits.h"

#include <unistd.h>

#include "agent/reader/bounded_file.h"

namespace reader {
namespace {

using Count = Limits::Count;

constexpr std::size_t kMostOfNumber = 256;
constexpr std::size_t kMostOfObjects = 1 << 24;

std::string numbersOf(const std::string& proc, const char* name) {
  return readFile(proc + "/sys/kernel/" + name, kMostOfNumber).text;
}

Count numberOf(const std::string& proc, const char* name) {
  const std::string text = numbersOf(proc, name);
  std::string_view rest = text;
  return unsignedOf(takeWord(rest));
}

// Adds up one object a line. `amount` takes what an object adds from the words of its line.
struct Usage {
  Count objects;
  Count amount;
};

// Nothing of a list that could not be read to its end, or that is none.
template <class Amount>
Usage usageIn(const std::string& path, Amount amount) {
  const FileText file = readFile(path, kMostOfObjects);
  if (file.error != 0 || file.cut || file.text.empty()) return {};
  Usage usage{.objects = 0, .amount = 0};
  std::string_view rest = file.text;
  takeLine(rest);  // the heading
  while (!rest.empty()) {
    std::string_view line = takeLine(rest);
    const Count added = amount(line);
    if (!added || __builtin_add_overflow(*usage.amount, *added, &*usage.amount)) return {};
    ++*usage.objects;
  }
  return usage;
}

// The word at that place of a line, counted from 0.
Count numberAt(std::string_view line, int place) {
  while (place-- > 0) takeWord(line);
  return unsignedOf(takeWord(line));
}

}  // namespace

Limits readLimits(const std::string& proc) {
  Limits limits;
  limits.segmentBytes = numberOf(proc, "shmmax");
  limits.memoryPages = numberOf(proc, "shmall");
  limits.segments = numberOf(proc, "shmmni");
  limits.queueBytes = numberOf(proc, "msgmnb");
  limits.queues = numberOf(proc, "msgmni");
  const std::string four = numbersOf(proc, "sem");
  std::string_view rest = four;
  for (Count* const number : {&limits.semaphoresPerSet, &limits.semaphores,
                              &limits.operationsPerCall, &limits.semaphoreSets}) {
    *number = unsignedOf(takeWord(rest));
  }

  const auto page = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
  limits.pageBytes = page;
  // Behind key, id and permissions stand a segment's bytes and a set's semaphores.
  const auto pages = [page](std::string_view line) {
    const Count bytes = numberAt(line, 3);
    return bytes ? Count(*bytes / page + (*bytes % page != 0 ? 1 : 0)) : Count();
  };
  const auto semaphores = [](std::string_view line) { return numberAt(line, 3); };
  const Usage memory = usageIn(proc + "/sysvipc/shm", pages);
  const Usage sets = usageIn(proc + "/sysvipc/sem", semaphores);
  const auto nothing = [](std::string_view) { return Count(0); };
  limits.usedSegments = memory.objects;
  limits.usedPages = memory.amount;
  limits.usedSemaphoreSets = sets.objects;
  limits.usedSemaphores = sets.amount;
  limits.usedQueues = usageIn(proc + "/sysvipc/msg", nothing).objects;
  return limits;
}

}  // namespace reader
