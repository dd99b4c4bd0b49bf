// SPDX-License-Identifier: Apache-2.0
#include <cmath>

#include "agent/front/cli/commands.h"
#include "agent/front/cli/look.h"
#include "agent/front/cli/messages.h"
#include "agent/front/cli/options.h"
#include "agent/front/cli/past.h"
#include "agent/front/cli/since.h"
#include "agent/front/cli/terminal.h"
#include "agent/model/settings.h"
#include "agent/render/size_screens.h"
#include "agent/render/words.h"
#include "flowfile/load.h"
#include "flowfile/reader.h"
#include "flowfile/room.h"
#include "text/printable.h"

namespace cli {
namespace {

using namespace std::chrono_literals;

void takeKeep(double& seconds, const std::string& text) {
  const auto age = parseSince(text);
  if (!age || age->kind != Since::Kind::age) {
    refuse("--keep", "\"" + text + "\" is no time like 90s, 15m, 12h, 7d");
  }
  seconds = static_cast<double>(age->seconds);
}

// Nothing, and said on standard error, when the file can't be read or is wrong.
std::optional<model::Plan> planOfFile(const std::string& path, ExitCode& code) {
  const flowfile::Text text = flowfile::load(path, 2s);
  if (!text.problem.empty()) {
    complain(text.problem);
    code = exitCodeOf(text.error);
    return std::nullopt;
  }
  const flowfile::ReadResult result = flowfile::read(text.text, path);
  if (result.findings.empty()) return model::planOf(result.file);
  say("zebmon: " + findingText(path, result.findings.front()) + "\n");
  complain("the flow file is wrong. zebhost check tells all that is wrong with it");
  code = kDamaged;
  return std::nullopt;
}

std::optional<model::Plan> planOf(const SizeRequest& request, ExitCode& code) {
  std::optional<model::Plan> plan =
      request.flowFile.empty() ? model::planOf(*request.nodes, flowfile::unitsOf(request.label))
                               : planOfFile(request.flowFile, code);
  if (!plan) return plan;
  if (request.eventsPerSecond > 0) {
    plan->eventsPerSecond = request.eventsPerSecond;
    plan->rateUnknown = false;
  }
  plan->keepSeconds = request.keepSeconds;
  return plan;
}

ExitCode showPlan(const Request& request, Output& output) {
  ExitCode code = kDone;
  const auto plan = planOf(request.size, code);
  if (!plan) return code;
  const auto snapshot = take(request, model::MachineFacts::read);
  const model::Need need = needOf(*plan);
  const render::PlanView view{*snapshot, *plan, need,
                              kernelNeeds(*plan, need, snapshot->machine->limits),
                              model::configuredArea(snapshot->machine->configuration)};
  output.write(request.show.format == Format::json
                   ? render::written(render::planDocument(view))
                   : render::planScreen(view, styleOf(request.show)));
  return kDone;
}

std::string shown(const model::Snapshot& selected, const render::Growths& growths, std::int64_t now,
                  const ShowRequest& show) {
  if (show.format == Format::json) {
    return render::written(render::fillDocument(selected, growths));
  }
  return tableOf(arranged(render::fillSheet(selected), show.arrangement), styleOf(show)) +
         (show.titles ? render::roomLines(selected, styleOf(show).width) : "") +
         render::forecastLines(selected, growths, now, styleOf(show).width);
}

ExitCode showPastFill(const Past& past, const Request& request, Output& output) {
  const render::Growths growths = past.growths();
  const auto areas = past.areas(growths);
  for (const auto& broker : areas->brokers) {
    if (growths.contains(broker->uuid())) continue;
    complain("the history doesn't tell how full the areas of " + render::nameOf(*broker) +
             " were. A recorder of this version writes that from now on");
  }
  output.write(shown(*areas, growths, past.now(), request.show));
  return kDone;
}

}  // namespace

void declareSize(Options& options, Request& request) {
  static const std::map<std::string, Format> kFormats = {{"table", Format::table},
                                                         {"json", Format::json}};
  SizeRequest& size = request.size;
  addWholeBrokers(options, request);
  const Option file =
      options.add("--flows", size.flowFile, "What a flow file needs, instead of what runs")
          .shown("FILE");
  const Option nodes = options.add("--nodes", size.nodes, "What so many nodes need")
                           .within(1, 1000000000)
                           .shown("N")
                           .excludes(file);
  options.add("--label", size.label, "As long as the label of each node")
      .shown("L")
      .needs(nodes)
      .showsDefault();
  options.add("--events-per-s", size.eventsPerSecond, "Events of all nodes together")
      .within(0.0, 1e9)
      .shown("E");
  options
      .take(
          "--keep", [&size](const std::string& text) { takeKeep(size.keepSeconds, text); },
          "How long an event shall be seen: 90s, 15m, 12h")
      .shown("T");
  addChoice(options, "--format", request.show.format, kFormats, "For people, or for programs",
            "table|json");
  addStyle(options, request);
}

ExitCode runSize(const Request& request, Output& output) {
  if (request.size.nodes || !request.size.flowFile.empty()) return showPlan(request, output);
  if (isPast(request)) {
    return withPast(request, [&](const Past& past) { return showPastFill(past, request, output); });
  }
  const model::Snapshot selected = look(request);
  output.write(shown(selected, request.from.empty() ? recordedGrowths() : render::Growths(),
                     model::secondsOf(selected), request.show));
  return exitCodeOfContents(selected);
}

}  // namespace cli
