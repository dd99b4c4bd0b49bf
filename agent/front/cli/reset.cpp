// SPDX-License-Identifier: Apache-2.0
#include "agent/act/reset.h"

#include <algorithm>

#include "agent/front/cli/commands.h"
#include "agent/front/cli/look.h"
#include "agent/front/cli/messages.h"
#include "agent/front/cli/options.h"
#include "agent/front/cli/terminal.h"
#include "agent/model/selection.h"
#include "agent/render/reset_screens.h"
#include "agent/render/words.h"

namespace cli {
namespace {

using namespace std::chrono_literals;
using Results = std::vector<model::ResetResult>;

// How long each lock is waited for.
constexpr auto kPatience = 5s;

// The one place from which anything is written.
Results carriedOut(const std::vector<model::ResetPlan>& plans, const model::Snapshot& snapshot) {
  Results results;
  for (const model::ResetPlan& plan : plans) {
    results.push_back(act::reset(plan, snapshot.directory, model::secondsOf(snapshot), kPatience));
  }
  return results;
}

Results onlyPlanned(const std::vector<model::ResetPlan>& plans) {
  Results results;
  for (const model::ResetPlan& plan : plans) {
    results.push_back({.plan = plan, .nodes = {}, .resetTime = {}});
  }
  return results;
}

std::string shown(const model::Snapshot& snapshot, const Results& results, const Request& request) {
  const ShowRequest& show = request.show;
  const auto sheet = [&] { return arranged(render::resetSheet(results), show.arrangement); };
  switch (show.format) {
    case Format::json:
      return render::written(render::resetDocument(snapshot, results, request.really));
    case Format::jsonl:
      return render::rowLines("zebmon.reset.node", snapshot, sheet());
    case Format::csv:
      return render::csvOf(sheet(), show.titles);
    case Format::table:
      break;
  }
  return render::tableOf(sheet(), styleOf(show));
}

ExitCode codeOf(const model::RecordReset& record) {
  if (record.atZero()) return kDone;
  return record.outcome == model::ResetOutcome::noPermission ? kNoPermission : kFailed;
}

ExitCode codeOf(const Results& results) {
  ExitCode worst = kDone;
  for (const model::ResetResult& result : results) {
    for (const model::RecordReset& record : result.nodes) worst = std::max(worst, codeOf(record));
    if (result.resetTime) worst = std::max(worst, codeOf(*result.resetTime));
  }
  return worst;
}

}  // namespace

void declareReset(CLI::App& options, Request& request) {
  addPlaces(options, request);
  options.add_flag("--yes", request.really, "Do it. Without this it is only told");
  addSheet(options, request, render::resetColumns());
}

ExitCode runReset(const Request& request, Output& output) {
  if (request.really) requireMachine(request, "reset changes");
  const auto snapshot = take(request);
  const model::Snapshot selected = model::select(*snapshot, request.selection);
  complain(render::problemOf(*snapshot, request.selection));
  for (const auto& broker : selected.brokers) reportProblem(*broker);
  const auto plans = model::resetPlans(*snapshot, selected);
  const Results results = request.really ? carriedOut(plans, *snapshot) : onlyPlanned(plans);
  output.write(shown(*snapshot, results, request));
  if (plans.empty()) {
    if (!selected.brokers.empty()) complain("no node there has statistics, so nothing was reset");
    return selected.error != 0 ? exitCodeOf(selected.error) : kNoBroker;
  }
  if (!request.really) {
    complain("nothing was reset. The same command with --yes does it");
    return exitCodeOf(selected);
  }
  for (const model::ResetResult& result : results) complain(render::resetTimeText(result));
  return std::max(codeOf(results), exitCodeOf(selected));
}

}  // namespace cli
