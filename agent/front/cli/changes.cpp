// SPDX-License-Identifier: Apache-2.0
#include <map>

#include "agent/front/cli/commands.h"
#include "agent/front/cli/messages.h"
#include "agent/front/cli/options.h"
#include "agent/front/cli/past.h"
#include "agent/front/cli/rates.h"
#include "agent/front/cli/stop.h"
#include "agent/front/cli/terminal.h"

namespace cli {
namespace {

// Up to the last look: nobody knows what came later.
model::Period periodOf(const Request& request, const Past& past) {
  const Since since = request.changesSince.value_or(Since{Since::Kind::age, 24 * 60 * 60});
  const std::int64_t last = past.lastLook() / 1000;
  const std::int64_t end = since.kind == Since::Kind::age ? last : past.now();
  return {since.at(end, request.show.zone) * 1000, past.lastLook() + 1};
}

ExitCode show(const Past& past, const Request& request, Output& output) {
  const FlowFile flows = readFlows(request.rates.flows);
  if (flows.code != kDone) return flows.code;
  const model::Period period = periodOf(request, past);
  const auto changes = past.changes(period, knowledgeOf(request, flows));
  output.write(request.show.format == Format::json
                   ? render::written(render::changesDocument(changes, period))
                   : render::changesScreen(changes, styleOf(request.show), past.lastLook() / 1000));
  return kDone;
}

}  // namespace

void declareChanges(Options& options, Request& request) {
  static const std::map<std::string, Format> kFormats = {{"table", Format::table},
                                                         {"json", Format::json}};
  options
      .add("--from", request.from,
           "The history that \"serve\" or \"record\" wrote;\n"
           "by default the one that was written last")
      .shown("FILE");
  options
      .take(
          "--since",
          [&request](const std::string& text) { request.changesSince = momentOf("--since", text); },
          "What began then or later: 24h before the last\n"
          "look (default), 23:59, 2026-01-31T23:59:58Z")
      .shown("T");
  addPatterns(options, request);
  addFlowKnowledge(options, request);
  addChoice(options, "--format", request.show.format, kFormats, "For people, or for programs",
            "table|json");
  addStyle(options, request);
}

ExitCode runChanges(const Request& request, Output& output) {
  if (!isPast(request)) {
    throw Stop{kUsage, request.from +
                           " is no history. Name a file that \"zebmon serve\" or \"zebmon record\" "
                           "wrote"};
  }
  return withPast(request, [&](const Past& past) { return show(past, request, output); });
}

}  // namespace cli
