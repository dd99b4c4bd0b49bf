// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/commands.h"
#include "agent/front/cli/look.h"
#include "agent/front/cli/messages.h"
#include "agent/front/cli/options.h"
#include "agent/front/cli/past.h"
#include "agent/front/cli/terminal.h"
#include "agent/model/condition.h"
#include "agent/model/message_way.h"
#include "agent/model/selection.h"
#include "agent/render/json.h"
#include "agent/render/message_screens.h"

namespace cli {
namespace {

std::string shown(const model::Snapshot& snapshot, const model::MessageWay& way,
                  const ShowRequest& show) {
  const auto sheet = [&](render::Zone zone) {
    return arranged(render::messageSheet(way, zone), show.arrangement);
  };
  switch (show.format) {
    case Format::json:
      return render::written(render::messageDocument(snapshot, way));
    case Format::jsonl:
      return render::rowLines("zebmon.message.event", snapshot, sheet(render::Zone::utc));
    case Format::csv:
      return render::csvOf(sheet(render::Zone::utc), show.titles);
    case Format::table:
      break;
  }
  return (show.titles ? render::summaryOf(way, show.zone) : "") +
         render::tableOf(sheet(show.zone), styleOf(show));
}

// Why there is no way, or more than one; empty when there is one.
std::string problemOf(const std::vector<model::MessageWay>& ways, const model::Snapshot& brokers,
                      const Request& request) {
  const std::string& id = request.messageId;
  if (!ways.empty() || model::waysOf(brokers, id).empty()) return render::problemOf(ways, id);
  return "no event of " + id +
         " is of what --group, --flow and --node select. Leave them out to see its whole way";
}

}  // namespace

void declareMessage(Options& options, Request& request) {
  std::string& id = request.messageId;
  options
      .take(
          "ID", [&id](const std::string& text) { takeId("ID", id, text); },
          "A message or correlation ID in hexadecimal,\nor its first digits")
      .required()
      .shown("");
  addPlaces(options, request);
  addBetween(options, request);
  addSheet(options, request, render::messageColumns());
}

ExitCode runMessage(const Request& request, Output& output) {
  const auto snapshot = take(request, model::MachineFacts::leave, model::Events::read);
  const model::Snapshot found = distinct(model::selectBrokers(*snapshot, request.selection));
  const ExitCode code = reported(*snapshot, found, request);
  if (found.brokers.empty() || code == kNoBroker) return code;
  const auto ways = model::waysOf(found, request.messageId, request.selection);
  complain(problemOf(ways, found, request));
  if (ways.empty()) return code == kDone ? kNoBroker : code;
  if (ways.size() > 1) return kUsage;
  output.write(shown(found, ways.front(), request.show));
  return code;
}

}  // namespace cli
