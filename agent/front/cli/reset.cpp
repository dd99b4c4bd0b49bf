// SPDX-License-Identifier: Apache-2.0
#include "agent/act/reset.h"

#include <algorithm>

#include "agent/front/cli/commands.h"
#include "agent/front/cli/look.h"
#include "agent/front/cli/messages.h"
#include "agent/front/cli/options.h"
#include "agent/front/cli/save.h"
#include "agent/front/cli/stop.h"
#include "agent/front/cli/terminal.h"
#include "agent/model/condition.h"
#include "agent/model/selection.h"
#include "agent/render/reset_screens.h"
#include "agent/render/words.h"

namespace cli {
namespace {

using namespace std::chrono_literals;
using Results = std::vector<model::ResetResult>;

// How long each lock is waited for.
constexpr auto kPatience = 5s;

// What the brokers of the plans were like before, in a file. Throws Stop when that can't be
// written.
std::string saved(const std::vector<model::ResetPlan>& plans, const model::Snapshot& snapshot,
                  const Request& request) {
  model::Snapshot changed = snapshot;
  changed.brokers.clear();
  for (const model::ResetPlan& plan : plans) changed.brokers.push_back(plan.broker);
  try {
    return save(changed, originHere(), request.reset.snapshot, archived::Existing::keep,
                "--snapshot");
  } catch (const Stop& stop) {
    throw Stop{stop.code, "nothing was reset: " + stop.sentence};
  }
}

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

std::string shown(const model::Snapshot& snapshot, const Results& results, const std::string& file,
                  const Request& request) {
  const ShowRequest& show = request.show;
  const auto sheet = [&] { return arranged(render::resetSheet(results), show.arrangement); };
  switch (show.format) {
    case Format::json:
      return render::written(render::resetDocument(snapshot, results, file));
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
  if (record.outcome == model::ResetOutcome::noLock) return kNoFile;
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

std::string requireFile(const std::string& file) {
  return file == "-" || file.empty() ? "the figures need a file of their own" : "";
}

}  // namespace

void declareReset(Options& options, Request& request) {
  addPlaces(options, request);
  const Option yes =
      options.flag("--yes", request.reset.really, "Do it. Without this it is only told");
  options
      .add("--snapshot", request.reset.snapshot,
           "A new file for what was there before\n"
           "(default: a name by broker and time)")
      .check(requireFile)
      .needs(yes)
      .shown("FILE");
  addSheet(options, request, render::resetColumns());
}

ExitCode runReset(const Request& request, Output& output) {
  const bool really = request.reset.really;
  if (really) requireMachine(request, "reset changes");
  const auto snapshot =
      take(request, really ? model::MachineFacts::read : model::MachineFacts::leave);
  const model::Snapshot selected = model::select(*snapshot, request.selection);
  report(*snapshot, selected, request);
  const auto plans = model::resetPlans(*snapshot, distinct(selected));
  const bool resets = really && !plans.empty();
  const std::string file = resets ? saved(plans, *snapshot, request) : "";
  const Results results = resets ? carriedOut(plans, *snapshot) : onlyPlanned(plans);
  output.write(shown(*snapshot, results, file, request));
  if (plans.empty()) {
    if (!selected.brokers.empty()) complain("no node there has statistics, so nothing was reset");
    return selected.error != 0 ? exitCodeOf(selected.error) : kNoBroker;
  }
  if (!really) {
    complain("nothing was reset. The same command with --yes does it");
    return exitCodeOf(selected);
  }
  for (const model::ResetResult& result : results) complain(render::resetTimeText(result));
  complain("the figures of before are in " + file + ". See them with zebmon stats --from");
  return std::max(codeOf(results), exitCodeOf(selected));
}

}  // namespace cli
