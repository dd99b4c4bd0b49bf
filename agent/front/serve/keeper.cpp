// SPDX-License-Identifier: Apache-2.0
#include "agent/front/serve/keeper.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <fstream>

#include "agent/model/series.h"
#include "agent/reader/bounded_file.h"
#include "format/version.h"
#include "text/printable.h"

namespace serve {
namespace {

std::string bootId() {
  constexpr std::size_t kLength = 36;
  return reader::readFile("/proc/sys/kernel/random/boot_id", kLength).text;
}

history::Limits limitsOf(const KeepOptions& options) {
  const std::string path = options.file.value_or(history::defaultFile());
  if (path.empty()) {
    throw history::Refusal{
        "there is no place for a history: STATE_DIRECTORY, XDG_STATE_HOME and HOME are not set. "
        "Name a file with --history, or --history none"};
  }
  return {.path = path,
          .bytes = options.mostBytes,
          .recorder = {.version = layout::kVersion, .boot = bootId()}};
}

std::uint64_t nodesIn(const Seen& seen) {
  std::uint64_t nodes = 0;
  for (const auto& series : model::seriesOf(seen.now())) nodes += series.nodes.size();
  return nodes;
}

// "1.1 GiB"; at least one of the unit.
std::string sizeText(std::uint64_t bytes) {
  constexpr std::array kUnits = {"bytes", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
  auto size = static_cast<double>(bytes);
  std::size_t unit = 0;
  for (; size >= 1024 && unit + 1 < kUnits.size(); ++unit) size /= 1024;
  return fmt::format("{:.{}f} {}", size, size < 10 && unit > 0 ? 1 : 0, kUnits[unit]);
}

}  // namespace

Keeper::Keeper(const KeepOptions& options, const std::function<void(const std::string&)>& log)
    : mostBytes_(options.mostBytes) {
  if (options.file && options.file->empty()) return;
  try {
    recording_ = std::make_unique<history::Recording>(limitsOf(options), log);
  } catch (const history::Refusal& refusal) {
    refused_ = refusal.sentence;
  }
}

void Keeper::take(const model::FollowLook& look) {
  if (recording_) recording_->take(look.news);
}

void Keeper::take(const Seen& seen) {
  if (recording_) recording_->take({.snapshot = seen.looks.back(), .findings = seen.findings});
}

std::string Keeper::problem() const {
  if (recording_) return recording_->status().problem;
  return refused_.empty() ? "" : "there is no history: zebmon said why when it started";
}

std::string Keeper::describe(const Seen* seen, std::chrono::milliseconds interval) const {
  if (!recording_) return "No history is kept.\n";
  const std::uint64_t nodes = seen == nullptr ? 0 : nodesIn(*seen);
  if (nodes == 0) {
    return fmt::format("History in {}: never more than {}.\n", text::printable(recording_->path()),
                       sizeText(mostBytes_));
  }
  const std::uint64_t expected =
      history::expectedBytes(nodes, std::chrono::duration<double>(interval).count());
  return fmt::format("History in {}: up to {} for {} nodes, and never more than {}.\n",
                     text::printable(recording_->path()), sizeText(std::min(expected, mostBytes_)),
                     nodes, sizeText(mostBytes_));
}

}  // namespace serve
