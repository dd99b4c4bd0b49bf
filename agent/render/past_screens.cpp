// SPDX-License-Identifier: Apache-2.0
#include "agent/render/past_screens.h"

#include <fmt/format.h>

#include <algorithm>
#include <tuple>

#include "agent/model/findings/kinds.h"
#include "agent/model/pattern.h"
#include "agent/render/findings_screen.h"
#include "agent/render/node_columns.h"
#include "agent/render/rates.h"
#include "agent/render/words.h"
#include "text/printable.h"

namespace render {
namespace {

using model::Mark;
using model::Measure;
using model::PastChange;
using model::findings::counted;

double secondsOf(std::int64_t milliseconds) {
  return static_cast<double>(milliseconds) / 1000;
}

Json timeOf(std::int64_t milliseconds) {
  const std::int64_t seconds = milliseconds / 1000;
  return isoTime(seconds, static_cast<std::uint32_t>(milliseconds - seconds * 1000));
}

std::string whenOf(std::int64_t milliseconds, Zone zone) {
  return dateAndTime(milliseconds / 1000, zone);
}

// What a mark says happened.
std::string eventOf(const Mark& mark) {
  if (mark.kind == "reset" && !mark.flow.empty())
    return "a deployment of " + text::shortened(mark.flow, 40);
  if (mark.kind == "reset") return "a reset";
  if (mark.kind == "restart") return "a restart of the broker";
  if (mark.kind == "removed") return "the broker's end";
  if (mark.kind == "clock") return "a change of the clock";
  return "a time when nobody looked";
}

std::string marksText(const model::PastBroker& broker, Zone zone) {
  constexpr std::size_t kMost = 5;
  std::string text;
  for (std::size_t i = 0; i < std::min(kMost, broker.marks.size()); ++i) {
    const Mark& mark = broker.marks[i];
    text += fmt::format("  {}  {}", whenOf(mark.between.until, zone), eventOf(mark));
    if (mark.unknown > 0) text += fmt::format(": {:.1f} s not counted", secondsOf(mark.unknown));
    text += "\n";
  }
  if (broker.marks.size() > kMost) {
    text += fmt::format("  and {} more of these\n", broker.marks.size() - kMost);
  }
  return text;
}

std::string nameOfPast(const model::PastBroker& broker) {
  return text::shortened(broker.label.empty() ? broker.uuid : broker.label, 40);
}

Json markObject(const Mark& mark) {
  return {{"kind", mark.kind},
          {"from", timeOf(mark.between.from)},
          {"until", timeOf(mark.between.until)},
          {"unknownSeconds", secondsOf(mark.unknown)},
          {"executionGroup", textOrNull(mark.group)},
          {"messageFlow", textOrNull(mark.flow)}};
}

Json periodObject(const PastView& past) {
  const model::PastBroker& broker = past.broker;
  Json marks = Json::array();
  for (const Mark& mark : broker.marks) marks.push_back(markObject(mark));
  const bool isKnown = !broker.looks.empty();
  return {{"isLastLook", past.isLastLook},
          {"from", isKnown ? timeOf(broker.period.from) : Json(nullptr)},
          {"until", isKnown ? timeOf(broker.period.until) : Json(nullptr)},
          {"lastLook", timeOf(broker.lastLook)},
          {"observedSeconds", secondsOf(broker.observed)},
          {"unknownSeconds", secondsOf(broker.unknown())},
          {"marks", std::move(marks)}};
}

std::int64_t collectedAt(const std::vector<PastView>& past) {
  std::int64_t last = 0;
  for (const PastView& one : past) last = std::max(last, one.broker.period.until / 1000);
  return last;
}

void addRows(Sheet& sheet, const PastView& past, const model::Selection& selection) {
  const bool isLess = past.broker.unknown() > 0;
  for (const model::BrokerView& broker : past.view.brokers) {
    for (const model::FlowView& flow : broker.flows) {
      if (!selects(selection, flow)) continue;
      for (const model::NodeGrowth& node : flow.growth.nodes) {
        if (!model::matches(selection.node, node.node().label)) continue;
        const model::Growth& growth = node.growth;
        Cell atLeast(isLess);
        atLeast.brief = isLess ? "\xE2\x89\xA5" : " ";
        sheet.rows.push_back(
            {flow.growth.group + " / " + flow.growth.flow,
             {past.broker.label, past.broker.uuid, flow.growth.group, flow.growth.flow,
              node.node().label, typeCell(node.node().type), atLeast, cellOf(growth.messages),
              cellOf(growth.bytes), meanOf(growth.bytes, growth.messages), cellOf(growth.elapsedMs),
              meanOf(growth.elapsedMs, growth.messages),
              queuedFigure(node.node(), cellOf(growth.queuedMs)),
              queuedFigure(node.node(), meanOf(growth.queuedMs, growth.messages))}});
      }
    }
  }
}

Json viewsDocument(const char* schema, const std::vector<PastView>& past,
                   const model::Selection& selection,
                   Json (*document)(const model::View&, const model::Selection&)) {
  Json all = headOf(schema, 1, collectedAt(past));
  double longest = 0;
  Json brokers = Json::array();
  for (const PastView& one : past) {
    longest = std::max(longest, roundedSeconds(one.view.interval));
    if (one.view.brokers.empty()) continue;
    Json made = document(one.view, selection);
    for (Json& broker : made["brokers"]) {
      broker["intervalSeconds"] = made["intervalSeconds"];
      broker["period"] = periodObject(one);
      brokers.push_back(std::move(broker));
    }
  }
  all["intervalSeconds"] = longest;
  all["brokers"] = std::move(brokers);
  return all;
}

const char* measureName(Measure measure) {
  switch (measure) {
    case Measure::rate:
      return "rate";
    case Measure::self:
      return "self";
    case Measure::elapsed:
      return "elapsed";
    case Measure::queued:
      return "queued";
    case Measure::loss:
      break;
  }
  return "loss";
}

const char* unitOf(Measure measure) {
  if (measure == Measure::rate) return "messages a second";
  return measure == Measure::loss ? "%" : "ms";
}

std::string valueOf(Measure measure, double value) {
  if (measure == Measure::loss) return fmt::format("{:.0f}", 100 * value);
  if (measure != Measure::rate && value <= 1) return "below 1";
  return measure == Measure::rate && value < 1 ? fmt::format("{:.2f}", value) : decimal(value);
}

// Without seconds: a change is known to the minute.
std::string minuteOf(std::int64_t minute, Zone zone, const std::string& today) {
  constexpr std::size_t kSeconds = 16;
  std::string text = dateAndTime(minute * 60, zone);
  if (text.size() > kSeconds + 3) text.erase(kSeconds, 3);
  return text.starts_with(today) && text.size() > today.size() ? text.substr(today.size() + 1)
                                                               : text;
}

std::string minutesText(std::int64_t minutes) {
  return minutes == 1 ? "one minute" : fmt::format("{} minutes", minutes);
}

std::string coincidenceOf(const PastChange& change) {
  if (!change.mark) return {};
  const std::string what = eventOf(*change.mark);
  if (change.minutesAfter == 0) return ", within a minute of " + what;
  const bool isAfter = change.minutesAfter > 0;
  return fmt::format(", {} {} {}", minutesText(std::abs(change.minutesAfter)),
                     isAfter ? "after" : "before", what);
}

std::string sentenceOf(const PastChange& found, Zone zone, const std::string& today) {
  const model::LevelChange& change = found.change;
  return fmt::format("{}: {} {} -> {} {} since {}{}",
                     text::shortened(found.isOfFlow ? found.flow : found.node, 40),
                     measureName(change.measure), valueOf(change.measure, change.before),
                     valueOf(change.measure, change.after), unitOf(change.measure),
                     minuteOf(change.minute, zone, today), coincidenceOf(found));
}

}  // namespace

std::vector<Column> totalsColumns() {
  const auto number = figureColumn;
  std::vector<Column> columns = nodeColumns(20);
  const std::vector<Column> figures = {{.name = "atLeast", .title = ""},
                                       number("messageCount", "count", "messages", "", 0),
                                       number("sizeSumBytes", "bytes", "messages", "", 70),
                                       number("sizeMeanBytes", "avg", "messages", "", 75),
                                       number("elapsedSumMs", "sum", "elapsed", "ms", 50),
                                       number("elapsedMeanMs", "avg", "elapsed", "ms", 0),
                                       number("queuedSumMs", "sum", "queued", "ms", 60),
                                       number("queuedMeanMs", "avg", "queued", "ms", 10)};
  columns.insert(columns.end(), figures.begin(), figures.end());
  std::ranges::find(columns, "messageCount", &Column::name)->isScaled = false;
  return columns;
}

Sheet totalsSheet(const std::vector<PastView>& past, const model::Selection& selection) {
  Sheet sheet{totalsColumns(), {}};
  for (const PastView& one : past) addRows(sheet, one, selection);
  return sheet;
}

std::string periodText(const PastView& past, const TableStyle& style, std::int64_t now) {
  const model::PastBroker& broker = past.broker;
  std::string text = fmt::format("Broker {}", nameOfPast(broker));
  const std::int64_t last = broker.lastLook / 1000;
  if (past.isLastLook) {
    text += fmt::format(": last look {}, {} ago\n", dateAndTime(last, style.zone),
                        duration(now - last));
    return broker.period.from > 0
               ? text + "counts since the reset at " + whenOf(broker.period.from, style.zone) + "\n"
               : text + "counts since it came, with no reset\n";
  }
  if (broker.looks.empty()) {
    return text + fmt::format(": nothing was recorded in that time; last look {}\n",
                              dateAndTime(last, style.zone));
  }
  text += fmt::format(", added from {} until {}", whenOf(broker.period.from, style.zone),
                      whenOf(broker.period.until, style.zone));
  const std::int64_t missed = broker.period.length() - broker.observed;
  if (missed >= 1000) text += fmt::format("\nnobody looked for {} of it", duration(missed / 1000));
  const std::int64_t unknown = broker.unknown();
  if (unknown > 0) {
    text += fmt::format("\n\xE2\x89\xA5: what happened in {:.1f} s of it was not counted",
                        secondsOf(unknown));
  }
  return text + "\n" + marksText(broker, style.zone);
}

std::string totalsTables(const std::vector<PastView>& past, const model::Selection& selection,
                         const Arrangement& wanted, const TableStyle& style, std::int64_t now) {
  std::string text;
  for (const PastView& one : past) {
    Sheet sheet{totalsColumns(), {}};
    addRows(sheet, one, selection);
    if (sheet.rows.empty() && selection.narrows()) continue;
    if (!text.empty()) text += "\n";
    if (style.titles) text += periodText(one, style, now) + (sheet.rows.empty() ? "" : "\n");
    text += tableOf(arranged(std::move(sheet), wanted), style);
  }
  return text;
}

Json totalsDocument(const std::vector<PastView>& past, const model::Selection& selection) {
  Json document = headOf("zebmon.totals", 1, collectedAt(past));
  Json& brokers = document["brokers"] = Json::array();
  for (const PastView& one : past) {
    Json& broker = brokers.emplace_back(Json{{"label", textOrNull(one.broker.label)},
                                             {"uuid", one.broker.uuid},
                                             {"period", periodObject(one)}});
    Json& nodes = broker["nodes"] = Json::array();
    for (const model::BrokerView& seen : one.view.brokers) {
      for (const model::FlowView& flow : seen.flows) {
        if (!selects(selection, flow)) continue;
        for (const model::NodeGrowth& node : flow.growth.nodes) {
          if (!model::matches(selection.node, node.node().label)) continue;
          nodes.push_back({{"executionGroup", flow.growth.group},
                           {"messageFlow", flow.growth.flow},
                           {"label", node.node().label},
                           {"type", nodeTypeName(node.node().type)},
                           {"messageCount", orNull(node.growth.messages)},
                           {"sizeSumBytes", orNull(node.growth.bytes)},
                           {"elapsedSumMs", orNull(node.growth.elapsedMs)},
                           {"queuedSumMs", orNull(node.growth.queuedMs)}});
        }
      }
    }
  }
  return document;
}

Json pastRatesDocument(const std::vector<PastView>& past, const model::Selection& selection) {
  return viewsDocument("zebmon.rates", past, selection, ratesDocument);
}

Json pastFlowDocument(const std::vector<PastView>& past, const model::Selection& selection) {
  return viewsDocument("zebmon.flow", past, selection, flowDocument);
}

std::string pastFindingsScreen(const std::vector<model::PastFinding>& past,
                               const TableStyle& style) {
  if (past.empty()) return "Nothing was wrong then.\n";
  const Zone zone = style.zone;
  model::Findings findings;
  for (const model::PastFinding& one : past) {
    model::Finding& finding = findings.found.emplace_back(one.finding);
    finding.evidence =
        fmt::format("from {} {}: {}", whenOf(one.begin, zone),
                    one.end ? "until " + whenOf(*one.end, zone) : "on", finding.evidence);
  }
  std::ranges::stable_sort(findings.found, std::ranges::greater(), &model::Finding::severity);
  return findingsScreen(findings, {}, style, "");
}

Json pastFindingsDocument(const std::vector<model::PastFinding>& past, std::int64_t collectedAt) {
  model::Findings findings;
  for (const model::PastFinding& one : past) findings.found.push_back(one.finding);
  model::Snapshot none;
  none.wall = std::chrono::system_clock::time_point(std::chrono::seconds(collectedAt));
  Json document = findingsDocument(findings, none);
  for (std::size_t i = 0; i < past.size(); ++i) {
    Json& finding = document["findings"][i];
    if (!past[i].uuid.empty()) finding["broker"] = {{"label", nullptr}, {"uuid", past[i].uuid}};
    finding["begin"] = timeOf(past[i].begin);
    finding["end"] = past[i].end ? timeOf(*past[i].end) : Json(nullptr);
  }
  return document;
}

std::string changesScreen(const std::vector<PastChange>& changes, const TableStyle& style,
                          std::int64_t now) {
  if (changes.empty()) return "Nothing changed its level.\n";
  const std::size_t width = widthOf(style);
  const std::string today = dateOnly(now, style.zone);
  const auto placeOf = [](const PastChange& change) {
    return std::tie(change.broker, change.uuid, change.group, change.flow);
  };
  std::vector<const PastChange*> sorted;
  for (const PastChange& change : changes) sorted.push_back(&change);
  std::ranges::stable_sort(sorted,
                           [&](const auto* a, const auto* b) { return placeOf(*a) < placeOf(*b); });
  std::string text;
  const PastChange* last = nullptr;
  for (const PastChange* change : sorted) {
    if (last == nullptr || placeOf(*last) != placeOf(*change)) {
      text += fmt::format("{}Broker {}, {} / {}\n", text.empty() ? "" : "\n",
                          text::shortened(change->broker, 40), text::shortened(change->group, 30),
                          text::shortened(change->flow, 30));
    }
    std::string indent = "  ";
    for (const std::string& line : wrapped(sentenceOf(*change, style.zone, today), width - 4)) {
      text += indent + line + "\n";
      indent = "    ";
    }
    last = change;
  }
  return text;
}

Json changesDocument(const std::vector<PastChange>& changes, const model::Period& period) {
  Json document = headOf("zebmon.changes", 1, period.until / 1000);
  document["from"] = timeOf(period.from);
  document["until"] = timeOf(period.until);
  Json& list = document["changes"] = Json::array();
  for (const PastChange& found : changes) {
    Json mark = nullptr;
    if (found.mark) {
      mark = markObject(*found.mark);
      mark["minutesAfter"] = found.minutesAfter;
    }
    list.push_back({{"broker", {{"label", found.broker}, {"uuid", found.uuid}}},
                    {"executionGroup", found.group},
                    {"messageFlow", found.flow},
                    {"node", found.node},
                    {"isOfFlow", found.isOfFlow},
                    {"measure", measureName(found.change.measure)},
                    {"since", isoTime(found.change.minute * 60)},
                    {"before", found.change.before},
                    {"after", found.change.after},
                    {"nearestMark", std::move(mark)}});
  }
  return document;
}

}  // namespace render
