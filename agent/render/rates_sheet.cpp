// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include <algorithm>

#include "agent/model/pattern.h"
#include "agent/render/node_columns.h"
#include "agent/render/rates.h"
#include "agent/render/words.h"
#include "text/printable.h"

namespace render {
namespace {

using model::Change;
using model::FlowView;
using model::SelfTime;
using Place = Column::Place;

Cell figureCell(std::optional<double> value) {
  return value ? Cell(*value) : Cell(Unreadable{});
}

// What is measured but not known is "?"; what nothing could be said of is "-".
Cell rateOf(const FlowView& flow, const model::NodeGrowth& node, reader::Number growth) {
  if (node.change != Change::measured) return {};
  return figureCell(model::perSecond(growth, flow.interval));
}

Cell meanCell(const model::NodeGrowth& node, reader::Number sum) {
  if (node.change != Change::measured) return {};
  return meanOf(sum, node.growth.messages);
}

Cell queuedCell(const model::NodeGrowth& node) {
  return model::knowsQueued(node.node()) ? meanCell(node, node.growth.queuedMs) : Cell();
}

Cell waitingCell(const FlowView& flow, const model::NodeGrowth& node) {
  if (!model::knowsQueued(node.node()) || node.change != Change::measured) return {};
  return figureCell(model::waitingFor(node, flow.interval));
}

Cell selfCell(const SelfTime& self) {
  switch (self.state) {
    case SelfTime::State::measured:
      return self.perMessageMs;
    case SelfTime::State::belowOne:
      return "<1";
    case SelfTime::State::tooShort:
      return Unreadable{};
    default:
      return {};
  }
}

Cell shareCell(const SelfTime& self) {
  return self.share ? Cell(*self.share * 100) : Cell();
}

Cell lossCell(const model::Loss& loss) {
  switch (loss.state) {
    case model::Loss::State::unknown:
      return {};
    case model::Loss::State::tooShort:
      return Unreadable{};
    default:
      return loss.messages;
  }
}

Cell outerLabel(const FlowView& flow, std::size_t node) {
  const auto outer = flow.nesting.nodes[node].outer;
  return outer ? Cell(flow.growth.nodes[*outer].node().label) : Cell();
}

// A table says nothing of what was measured and is still there.
Cell changeCell(const model::NodeGrowth& node) {
  Cell cell(changeName(node.change));
  const std::string note = noteOf(node);
  cell.brief = note.empty() ? " " : note;
  return cell;
}

void addRows(Sheet& sheet, const model::BrokerView& broker, const model::Selection& selection) {
  for (const FlowView& flow : broker.flows) {
    if (!selects(selection, flow)) continue;
    for (const model::Placed& placed : inOrder(flow.nesting)) {
      const std::string& label = flow.growth.nodes[placed.node].node().label;
      if (!model::matches(selection.node, label)) continue;
      sheet.rows.push_back(ratesRow(broker, flow, placed.node));
    }
  }
}

std::string titleOf(const model::View& view, const model::BrokerView& broker,
                    const TableStyle& style) {
  const model::SeenBroker& seen = broker.growth.broker();
  std::string text =
      fmt::format("Broker {}, {:.1f} s until {}", nameOf(seen), view.interval.count(),
                  dateAndTime(model::secondsOf(*view.after), style.zone));
  if (broker.growth.after == nullptr) return text + "\nthe broker has stopped in between\n";
  if (broker.growth.before == nullptr) return text + "\nthe broker came in between\n";
  if (broker.growth.reset) text += "\nreset in between";
  return text + "\n";
}

bool hasNodeOf(const model::Selection& selection, const FlowView& flow) {
  return std::ranges::any_of(flow.growth.nodes, [&selection](const model::NodeGrowth& node) {
    return model::matches(selection.node, node.node().label);
  });
}

// Why self times are missing.
std::string remarksOf(const model::BrokerView& broker, const model::Selection& selection) {
  std::string text;
  for (const FlowView& flow : broker.flows) {
    if (!selects(selection, flow) || !hasNodeOf(selection, flow)) continue;
    const std::string name =
        text::shortened(flow.growth.group, 30) + " / " + text::shortened(flow.growth.flow, 30);
    if (flow.nesting.source == model::NestingSource::unknown) {
      text += fmt::format("{}: chain {}\n", name, model::kUnknownNesting);
    } else if (flow.nesting.source == model::NestingSource::inferred) {
      text += fmt::format("{}: chain inferred\n", name);
    }
  }
  return text;
}

}  // namespace

const char* noteOf(const model::NodeGrowth& node) {
  switch (node.change) {
    case Change::measured:
      return node.node().deleted ? "deleted" : "";
    case Change::reset:
      return "reset";
    case Change::came:
      return "new";
    case Change::went:
      return "gone";
    case Change::torn:
      return "torn";
    case Change::notCollected:
      return "no statistics";
    case Change::unknown:
      break;
  }
  return "damaged";
}

std::vector<Column> ratesColumns(bool self) {
  const auto number = [](const char* name, const char* title, const char* group, const char* unit,
                         int yields, Place place = Place::table) {
    return Column{.name = name,
                  .title = title,
                  .unit = unit,
                  .group = group,
                  .right = true,
                  .place = place,
                  .yields = yields};
  };
  const Place ofSelf = self ? Place::table : Place::extra;
  std::vector<Column> columns = nodeColumns(50);
  const std::vector<Column> figures = {
      number("messagesPerSecond", "messages", "a second", "", 0),
      number("bytesPerSecond", "bytes", "a second", "", 40),
      number("sizeMeanBytes", "size", "", "bytes", 70),
      number("elapsedMeanMs", "elapsed", "ms a message", "", 0),
      number("queuedMeanMs", "queued", "ms a message", "", 10),
      number("selfMeanMs", "self", "ms a message", "", 0, ofSelf),
      number("selfSharePercent", "%", "", "", 20, ofSelf),
      {.name = "nestedIn", .title = "in", .place = Place::extra, .yields = 60, .least = 8},
      number("lostMessages", "lost", "", "", 30, ofSelf),
      number("busyThreads", "busy", "", "", 25),
      number("waitingMessages", "waiting", "", "", 35),
      {.name = "change", .title = ""},
      {.name = "deleted", .title = "deleted", .place = Place::extra}};
  columns.insert(columns.end(), figures.begin(), figures.end());
  return columns;
}

Row ratesRow(const model::BrokerView& broker, const FlowView& flow, std::size_t index) {
  const model::NodeGrowth& node = flow.growth.nodes[index];
  const model::NodeTime& time = flow.times[index];
  const model::SeenBroker& seen = broker.growth.broker();
  return {
      flow.growth.group + " / " + flow.growth.flow,
      {seen.label(), seen.uuid(), flow.growth.group, flow.growth.flow, node.node().label,
       typeCell(node.node().type), rateOf(flow, node, node.growth.messages),
       rateOf(flow, node, node.growth.bytes), meanCell(node, node.growth.bytes),
       meanCell(node, node.growth.elapsedMs), queuedCell(node), selfCell(time.self),
       shareCell(time.self), outerLabel(flow, index), lossCell(time.loss),
       node.change == Change::measured ? figureCell(model::busyIn(node, flow.interval)) : Cell(),
       waitingCell(flow, node), changeCell(node), node.node().deleted}};
}

Sheet ratesSheet(const model::View& view, const model::Selection& selection, bool self) {
  Sheet sheet{ratesColumns(self), {}};
  for (const auto& broker : view.brokers) addRows(sheet, broker, selection);
  return sheet;
}

std::string ratesTables(const model::View& view, const model::Selection& selection, bool self,
                        const Arrangement& wanted, TableStyle style) {
  std::string text;
  for (const auto& broker : view.brokers) {
    Sheet sheet{ratesColumns(self), {}};
    addRows(sheet, broker, selection);
    if (sheet.rows.empty()) continue;
    if (!text.empty()) text += "\n";
    if (style.titles) text += titleOf(view, broker, style) + "\n";
    text += tableOf(arranged(std::move(sheet), wanted), style);
    if (self && style.titles) text += remarksOf(broker, selection);
  }
  return text;
}

}  // namespace render
