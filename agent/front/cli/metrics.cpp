// SPDX-License-Identifier: Apache-2.0
#include "agent/render/metrics.h"

#include <unistd.h>

#include <chrono>
#include <sstream>

#include "agent/archive/replace_file.h"
#include "agent/front/cli/commands.h"
#include "agent/front/cli/look.h"
#include "agent/front/cli/messages.h"
#include "agent/front/cli/metrics_state.h"
#include "agent/front/cli/options.h"
#include "agent/front/cli/service.h"
#include "agent/front/cli/state_file.h"
#include "agent/front/cli/stop.h"
#include "agent/model/findings.h"
#include "agent/model/selection.h"
#include "agent/render/values.h"
#include "format/version.h"
#include "text/printable.h"

namespace cli {
namespace {

constexpr mode_t kForOwner = S_IRUSR | S_IWUSR;
constexpr mode_t kForAllToRead = kForOwner | S_IRGRP | S_IROTH;

// A collector that reads the directory meanwhile sees the old file or the new one: until it is
// whole, it has a name that doesn't end in ".prom".
void replace(const std::string& path, const std::string& text, mode_t mode) {
  const int error = archived::replaceFile(path, text, mode);
  if (error == 0) return;
  throw Stop{kFailed, "can't write " + path + ": " + render::errorText(error) +
                          ". Name a file in a directory that you may write to"};
}

// Of the last run; nothing for a first one.
std::optional<MetricsState> earlier(const std::string& path) {
  const auto text = readState(path);
  if (!text) return {};
  auto state = metricsStateIn(*text);
  if (!state) complainOfState(path);
  return state;
}

// A look at the machine, and what it adds to the state of the run before.
std::shared_ptr<const model::Snapshot> takeFrom(const Request& request, MetricsState& state) {
  model::Collector collector(request.directory, model::Events::read, model::MachineFacts::read,
                             request.mostBytes);
  const auto before = earlier(request.metrics.state);
  if (before) state.totals = before->totals;
  if (before) collector.resume(before->marks);
  auto whole = collector.take();
  remark(*whole, request);
  add(state, *whole, !before);
  state.marks = collector.marks();
  std::erase_if(state.totals, [&state](const auto& of) { return !state.marks.contains(of.first); });
  return whole;
}

// For a terminal, which obeys what a label may hold. A scraper gets labels as they are.
std::string inPrintableLines(const std::string& text) {
  std::string lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines += text::printable(line) + "\n";
  return lines;
}

}  // namespace

void declareMetrics(Options& options, Request& request) {
  MetricsRequest& metrics = request.metrics;
  static const std::map<std::string, render::Exposition> kExpositions = {
      {"prometheus", render::Exposition::prometheus},
      {"openmetrics", render::Exposition::openMetrics}};
  addWholeBrokers(options, request);
  options
      .add("--textfile", metrics.textFile,
           "Write them into this file at once, for\n"
           "node_exporter; its name ends in .prom")
      .shown("FILE");
  options
      .add("--state", metrics.state,
           "Count events too, from run to run: what the\nlast one left in this file")
      .shown("FILE")
      .excludes("--from");
  addChoice(options, "--format", metrics.options.exposition, kExpositions,
            "Text 0.0.4, or OpenMetrics 1.0.0", "prometheus|openmetrics");
  declareSeries(options, metrics.options);
}

ExitCode runMetrics(const Request& request, Output& output) {
  const auto begin = std::chrono::steady_clock::now();
  const bool counts = !request.metrics.state.empty();
  MetricsState state;
  const auto whole = counts ? takeFrom(request, state) : take(request, model::MachineFacts::read);
  const auto took = std::chrono::steady_clock::now() - begin;
  const model::Snapshot found = selected(*whole, request);
  const model::Findings findings =
      model::select(model::findingsOf(nullptr, *whole), found, request.selection);
  const std::string text =
      render::metrics({.snapshot = found,
                       .findings = &findings,
                       .took = request.from.empty() ? std::optional(took) : std::nullopt,
                       .version = layout::kVersion,
                       .events = counts ? &state.totals : nullptr},
                      request.metrics.options);
  if (request.metrics.textFile.empty()) {
    output.write(isatty(STDOUT_FILENO) != 0 ? inPrintableLines(text) : text);
  } else {
    replace(request.metrics.textFile, text, kForAllToRead);
  }
  // Last: what nobody was told is told by the next run.
  if (counts) replace(request.metrics.state, textOf(state), kForOwner);
  // No broker is a figure like any other, unless one was asked for by name.
  const ExitCode code = exitCodeOf(found);
  return code == kNoBroker && request.selection.broker.empty() ? kDone : code;
}

}  // namespace cli
