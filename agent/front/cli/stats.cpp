// SPDX-License-Identifier: Apache-2.0
#include <tuple>

#include "agent/front/cli/commands.h"
#include "agent/front/cli/look.h"
#include "agent/front/cli/messages.h"
#include "agent/front/cli/options.h"
#include "agent/front/cli/past.h"
#include "agent/front/cli/rates.h"
#include "agent/front/cli/terminal.h"
#include "agent/render/json.h"
#include "agent/render/rates.h"
#include "agent/render/screens.h"

namespace cli {
namespace {

std::string shownTotals(const model::Snapshot& selected, const ShowRequest& show) {
  const auto sheet = [&] { return arranged(render::statisticsSheet(selected), show.arrangement); };
  switch (show.format) {
    case Format::json:
      return render::written(render::statisticsDocument(selected));
    case Format::jsonl:
      return render::rowLines("zebmon.stats.node", selected, sheet());
    case Format::csv:
      return render::csvOf(sheet(), show.titles);
    case Format::table:
      break;
  }
  return render::statisticsTables(selected, show.arrangement, styleOf(show));
}

std::string shownRates(const model::View& view, const Request& request) {
  const auto& [show, selection] = std::tie(request.show, request.selection);
  const bool self = request.rates.self;
  const auto sheet = [&] {
    return arranged(render::ratesSheet(view, selection, self), show.arrangement);
  };
  switch (show.format) {
    case Format::json:
      return render::written(render::ratesDocument(view, selection));
    case Format::jsonl:
      return render::rowLines("zebmon.rates.node", *view.after, sheet());
    case Format::csv:
      return render::csvOf(sheet(), show.titles);
    case Format::table:
      break;
  }
  return render::ratesTables(view, selection, self, show.arrangement, styleOf(show));
}

ExitCode runRates(const Request& request, Output& output) {
  return watch(request, output,
               [&request](const model::View& view) { return shownRates(view, request); });
}

// What was added in a period, or since the reset before each broker's last look.
ExitCode runTotals(const Past& past, const Request& request, Output& output) {
  const ShowRequest& show = request.show;
  const auto views = past.views({}, 1, 0);
  const auto sheet = [&] {
    return arranged(render::totalsSheet(views, request.selection), show.arrangement);
  };
  switch (show.format) {
    case Format::json:
      output.write(render::written(render::totalsDocument(views, request.selection)));
      break;
    case Format::jsonl:
      output.write(render::rowLines("zebmon.totals.node", atLastLook(past), sheet()));
      break;
    case Format::csv:
      output.write(render::csvOf(sheet(), show.titles));
      break;
    case Format::table:
      output.write(
          totalsTables(views, request.selection, show.arrangement, styleOf(show), past.now()));
  }
  return kDone;
}

ExitCode runPastRates(const Past& past, const Request& request, Output& output) {
  return showViews(past, request, output,
                   {.document = render::pastRatesDocument,
                    .rows = "zebmon.rates.node",
                    .screen = [&request](const model::View& view) {
                      return render::ratesTables(view, request.selection, request.rates.self,
                                                 request.show.arrangement, styleOf(request.show));
                    }});
}

ExitCode runPast(const Request& request, Output& output, bool rates) {
  return withPast(request, [&](const Past& past) {
    return rates ? runPastRates(past, request, output) : runTotals(past, request, output);
  });
}

}  // namespace

void declareStats(Options& options, Request& request) {
  addPlaces(options, request);
  addBetween(options, request);
  addIntervals(options, request);
  options.flag("--self", request.rates.self,
               "The time that each node spent itself, in an\n"
               "interval of 5s unless another is given");
  addFlowKnowledge(options, request);
  addSheet(options, request,
           columnsOfAll(
               {render::statisticsColumns(), render::ratesColumns(true), render::totalsColumns()}));
}

ExitCode runStats(const Request& request, Output& output) {
  constexpr std::chrono::seconds kIntervalOfSelf{5};
  Request wanted = request;
  const bool rates = wanted.rates.self || wanted.rates.interval.count() > 0;
  if (rates && wanted.rates.interval.count() == 0) wanted.rates.interval = kIntervalOfSelf;
  const bool past = isPast(request);
  const std::string unknown =
      unknownColumn(request.show.arrangement, rates  ? render::ratesColumns(true)
                                              : past ? render::totalsColumns()
                                                     : render::statisticsColumns());
  complain(unknown);
  if (!unknown.empty()) return kUsage;
  if (past) return runPast(request, output, rates);
  if (rates) return runRates(wanted, output);
  const model::Snapshot selected = look(request);
  output.write(shownTotals(selected, request.show));
  return exitCodeOfContents(selected);
}

}  // namespace cli
