// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "agent/front/cli/commands.h"
#include "agent/front/cli/look.h"
#include "agent/front/cli/messages.h"
#include "agent/front/cli/options.h"
#include "agent/front/cli/rates.h"
#include "agent/front/cli/stop.h"
#include "agent/front/cli/terminal.h"
#include "agent/model/condition.h"
#include "agent/model/selection.h"
#include "agent/render/diff_screens.h"
#include "agent/render/rates.h"
#include "agent/render/words.h"

namespace cli {
namespace {

using Look = std::shared_ptr<const model::Snapshot>;
using render::DiffView;

Look ofBroker(const model::Snapshot& snapshot, const Request& request) {
  return std::make_shared<const model::Snapshot>(
      distinct(model::selectBrokers(snapshot, request.selection)));
}

// --chain and --flows ask for self times too: these need to know which node is inside which.
bool wantsSelf(const RatesRequest& rates) {
  return rates.self || rates.chain || !rates.flows.empty();
}

DiffView compared(const archived::Loaded& before, const archived::Loaded& after,
                  const Request& request, const model::FlowKnowledge& known) {
  const model::Snapshot& first = *before.snapshot;
  const model::Snapshot& second = *after.snapshot;
  DiffView diff{.before = before.origin,
                .after = after.origin,
                .apart = apart(first, second, before.origin.host == after.origin.host),
                .differences = {},
                .view = {}};
  if (diff.apart.time.count() < 0 && diff.apart.kind != model::Apart::Kind::otherMachine) {
    throw Stop{kUsage, render::wrongOrderText(diff.apart, request.diff.before, request.diff.after)};
  }
  diff.differences = differencesOf(first, second, diff.apart.kind, request.selection);
  const Look looks[] = {ofBroker(first, request), ofBroker(second, request)};
  if (diff.apart.comparesFigures() && !request.diff.changesOnly) {
    diff.view = model::viewOf(looks, known);
    diff.self = wantsSelf(request.rates);
    diff.measured = anythingMeasured(between(*looks[0], *looks[1]), request.selection);
  }
  diff.view.before = looks[0];
  diff.view.after = looks[1];
  return diff;
}

std::string linesOf(const DiffView& diff, const Request& request) {
  const model::Snapshot& after = *diff.view.after;
  return render::rowLines("zebmon.diff.change", after,
                          render::changesSheet(diff.differences, request.show.zone)) +
         render::rowLines("zebmon.rates.node", after,
                          render::ratesSheet(diff.view, request.selection, true));
}

std::string csvOf(const DiffView& diff, const Request& request) {
  render::Sheet sheet = request.diff.changesOnly
                            ? render::changesSheet(diff.differences, request.show.zone)
                            : render::ratesSheet(diff.view, request.selection, true);
  return render::csvOf(arranged(std::move(sheet), request.show.arrangement), request.show.titles);
}

std::string shown(const DiffView& diff, const Request& request) {
  const ShowRequest& show = request.show;
  switch (show.format) {
    case Format::json:
      return render::written(render::diffDocument(diff, request.selection));
    case Format::jsonl:
      return linesOf(diff, request);
    case Format::csv:
      return csvOf(diff, request);
    case Format::table:
      break;
  }
  const bool changesOnly = request.diff.changesOnly;
  return render::diffScreen(diff, request.selection,
                            changesOnly ? show.arrangement : render::Arrangement(),
                            changesOnly ? render::Arrangement() : show.arrangement, styleOf(show));
}

// Empty when the selection means something in one of the files at least.
std::string unknownIn(const model::Snapshot& before, const model::Snapshot& after,
                      const Request& request) {
  return render::problemOf(before, request.selection).empty()
             ? ""
             : render::problemOf(after, request.selection);
}

// What could not be read may be different.
ExitCode codeOf(const DiffView& diff) {
  if (!diff.same()) return kDifferent;
  return std::max(exitCodeOf(*diff.view.before), exitCodeOf(*diff.view.after));
}

std::vector<render::Column> columnsOf(bool changesOnly) {
  return changesOnly ? render::changesColumns() : render::ratesColumns(true);
}

}  // namespace

void declareDiff(Options& options, Request& request) {
  options.add("A", request.diff.before, "A file of \"snapshot\"; - is standard input")
      .required()
      .shown("");
  options.add("B", request.diff.after, "A later one").required().shown("");
  const Option changes = options.flag("--changes", request.diff.changesOnly,
                                      "Only what came, went, changed or was reset;\n"
                                      "without it csv has the rates alone");
  options
      .flag("--self", request.rates.self,
            "The time that each node spent itself; told also\n"
            "with --chain or --flows")
      .excludes(changes);
  addPatterns(options, request);
  addFlowKnowledge(options, request);
  addMostBytes(options, request);
  addSheet(options, request, columnsOfAll({columnsOf(true), columnsOf(false)}));
  options.footer("Exit codes: 0 nothing is different, 1 something is; else as of all commands.");
}

ExitCode runDiff(const Request& request, Output& output) {
  const DiffRequest& files = request.diff;
  if (files.before == "-" && files.after == "-")
    throw Stop{kUsage, "standard input holds one file only. Name the other one"};
  const std::string unknown = unknownColumn(request.show.arrangement, columnsOf(files.changesOnly));
  if (!unknown.empty()) throw Stop{kUsage, unknown};
  const auto before = open(files.before, model::Events::leave, request.mostBytes);
  const auto after = open(files.after, model::Events::leave, request.mostBytes);
  const std::string nothing = unknownIn(*before.snapshot, *after.snapshot, request);
  if (!nothing.empty()) throw Stop{kNoBroker, nothing};
  const FlowFile flows = readFlows(request.rates.flows);
  if (flows.code != kDone) return flows.code;
  const DiffView diff = compared(before, after, request, knowledgeOf(request, flows));
  complain(render::apartText(diff));
  if (!chainFits(diff.view, request)) return kUsage;
  reportProblems(*diff.view.after);
  output.write(shown(diff, request));
  return codeOf(diff);
}

}  // namespace cli
