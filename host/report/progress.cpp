// SPDX-License-Identifier: Apache-2.0
#include "host/report/progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "flowfile/numbers.h"

namespace host {
namespace {

constexpr std::chrono::duration<double> kBetweenLines(10);

}  // namespace

Progress::Progress(const flowfile::File& file, const Tally& tally)
    : file_(file), tally_(tally), terminal_(isatty(STDERR_FILENO) != 0), next_(kBetweenLines) {}

void Progress::show(std::chrono::duration<double> elapsed) {
  if (terminal_) {
    std::fputs(("\r\033[K" + progressLine(file_, tally_, elapsed)).c_str(), stderr);
    shown_ = true;
  } else if (elapsed >= next_) {
    std::fputs((progressLine(file_, tally_, elapsed) + "\n").c_str(), stderr);
    next_ += kBetweenLines;
  }
}

void Progress::finish() {
  if (shown_) std::fputs("\r\033[K", stderr);
}

std::string progressLine(const flowfile::File& file, const Tally& tally,
                         std::chrono::duration<double> elapsed) {
  std::uint64_t entered = 0;
  std::uint64_t done = 0;
  std::uint64_t failed = 0;
  std::uint64_t lag = 0;
  for (std::size_t g = 0; g < file.groups.size(); ++g) {
    for (std::size_t f = 0; f < file.groups[g].flows.size(); ++f) {
      const FlowCount& count = tally.flow(g, f);
      done += count.done();
      failed += count.failed;
      entered += count.entered;
      lag = std::max(lag, count.lagMillis.load());
    }
  }
  const double seconds = std::max(elapsed.count(), 0.001);
  std::string text = fmt::format(
      "{:.1f} s  {} messages, {} failed, {} in the flows, {:.0f}/s", elapsed.count(),
      flowfile::grouped(done), flowfile::grouped(failed),
      flowfile::grouped(std::max(entered, done) - done), static_cast<double>(done) / seconds);
  if (lag > 1000) text += fmt::format(", {:.1f} s behind", static_cast<double>(lag) / 1000);
  return text;
}

}  // namespace host
