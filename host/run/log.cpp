// SPDX-License-Identifier: Apache-2.0
#include "host/run/log.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>

#include "text/printable.h"

namespace host {
namespace {

int logFile = -1;
LogCount* logCount = nullptr;

}  // namespace

void setLog(int fd, LogCount* count) {
  logFile = fd;
  logCount = count;
}

std::string logText(const LogEntry& entry) {
  const std::string where = fmt::format("{} {}:{}", entry.unit, entry.function, entry.line);
  if (entry.number == 0) return text::printable(fmt::format("{}: {}", where, entry.text));
  return text::printable(fmt::format("{}: {} message {}: {} [{}]", where, entry.source,
                                     entry.number, entry.text, fmt::join(entry.inserts, " | ")));
}

void writeLog(const LogEntry& entry) {
  if (logCount != nullptr) {
    const int number = std::clamp(entry.number, 0, LogCount::kNumbers - 1);
    ++logCount->byNumber[static_cast<std::size_t>(number)];
  }
  if (logFile < 0) return;
  const auto now = std::chrono::system_clock::now();
  const auto millis =
      std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  const std::string line = fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z {}/{} {}\n",
                                       fmt::gmtime(std::chrono::system_clock::to_time_t(now)),
                                       millis, getpid(), syscall(SYS_gettid), logText(entry));
  // A log that can't be written must not stop a message.
  [[maybe_unused]] const ssize_t written = write(logFile, line.data(), line.size());
}

}  // namespace host
