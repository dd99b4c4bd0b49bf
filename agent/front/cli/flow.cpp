// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/commands.h"
#include "agent/front/cli/options.h"
#include "agent/front/cli/past.h"
#include "agent/front/cli/rates.h"
#include "agent/front/cli/terminal.h"
#include "agent/model/findings/whereabouts.h"
#include "agent/render/json.h"
#include "agent/render/rates.h"

namespace cli {
namespace {

constexpr std::chrono::seconds kInterval{10};

// The flow is an argument of this command.
std::string optionsButFlow(Request request) {
  request.selection.flow.clear();
  return optionsAgain(request);
}

std::string screens(const model::View& view, const Request& request) {
  return render::flowScreens(
      view, request.selection, styleOf(request.show), signsOf(),
      {.flow = optionsButFlow(request), .doctor = model::optionsOf(whereaboutsOf(request))});
}

std::string shown(const model::View& view, const Request& request) {
  const ShowRequest& show = request.show;
  const auto sheet = [&] {
    return arranged(render::ratesSheet(view, request.selection, true), show.arrangement);
  };
  switch (show.format) {
    case Format::json:
      return render::written(render::flowDocument(view, request.selection));
    case Format::jsonl:
      return render::rowLines("zebmon.flow.node", *view.after, sheet());
    case Format::csv:
      return render::csvOf(sheet(), show.titles);
    case Format::table:
      break;
  }
  return screens(view, request);
}

ExitCode runPast(const Past& past, const Request& request, Output& output) {
  return showViews(
      past, request, output,
      {.document = render::pastFlowDocument,
       .rows = "zebmon.flow.node",
       .screen = [&request](const model::View& view) { return screens(view, request); }});
}

}  // namespace

void declareFlow(Options& options, Request& request) {
  addPattern(options, "FLOW", request.selection.flow,
             "The message flow; * stands for any characters")
      .required()
      .shown("");
  addBroker(options, request);
  addBetween(options, request);
  addPattern(options, "--group", request.selection.group, "Only of this execution group");
  addIntervals(options, request).showsDefault("10s");
  addFlowKnowledge(options, request);
  addSheet(options, request, render::ratesColumns(true));
}

ExitCode runFlow(const Request& request, Output& output) {
  if (isPast(request)) {
    return withPast(request, [&](const Past& past) { return runPast(past, request, output); });
  }
  Request wanted = request;
  if (wanted.rates.interval.count() == 0) wanted.rates.interval = kInterval;
  return watch(
      wanted, output, [&wanted](const model::View& view) { return shown(view, wanted); },
      model::MachineFacts::read);
}

}  // namespace cli
