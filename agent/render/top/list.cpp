// SPDX-License-Identifier: Apache-2.0
#include "agent/render/top/list.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

#include "agent/model/pattern.h"
#include "agent/render/rates.h"
#include "agent/render/words.h"
#include "text/printable.h"

namespace top {
namespace {

using model::FlowView;
using render::Cell;
using render::Column;
using render::Tone;

constexpr std::size_t kWide = 110;
constexpr std::size_t kLongestName = 60;

// The columns, in their order.
enum Slot : std::size_t {
  kNode,
  kFlow,
  kType,
  kRate,
  kBytes,
  kSize,
  kElapsed,
  kQueued,
  kSelf,
  kShare,
  kBar,
  kLost,
  kBusy,
  kWaiting,
  kExceptions,
  kUnsorted,
  kSlots
};

std::vector<Column> columnsFor(Sort sort) {
  const auto number = [](const char* name, const char* title, int yields) {
    return Column{.name = name, .title = title, .right = true, .yields = yields};
  };
  const auto flows = sort == Sort::chain ? Column::Place::extra : Column::Place::table;
  std::vector<Column> columns = {
      {.name = "node", .title = "times: ms a message", .yields = 45, .least = 16},
      {.name = "messageFlow", .title = "flow", .place = flows, .yields = 48, .least = 8},
      {.name = "type", .title = "type", .yields = 70},
      number("messagesPerSecond", "msg/s", 0),
      number("bytesPerSecond", "bytes/s", 80),
      number("sizeMeanBytes", "size", 90),
      number("elapsedMeanMs", "elapsed", 30),
      number("queuedMeanMs", "queued", 42),
      number("selfMeanMs", " self", 0),
      number("selfSharePercent", "share", 25),
      {.name = "bar", .title = "", .yields = 20},
      number("lostMessages", "lost", 60),
      number("busyThreads", "busy", 55),
      number("waitingMessages", "wait", 40),
      number("exceptions", "exc", 15),
      {.name = "unsorted", .title = "", .place = Column::Place::extra}};
  for (Column& column : columns) {
    if (column.name != columnOf(sort)) continue;
    for (char& c : column.title) c = static_cast<char>(std::toupper(c));
  }
  return columns;
}

// Which cell of a row of rates each of the columns shows; nothing for those that only we have.
std::array<std::optional<std::size_t>, kSlots> sourcesOf(const std::vector<Column>& columns) {
  const std::vector<Column> rates = render::ratesColumns(true);
  std::array<std::optional<std::size_t>, kSlots> sources;
  for (std::size_t slot = 0; slot < kSlots; ++slot) {
    const auto found = std::ranges::find(rates, columns[slot].name, &Column::name);
    if (found != rates.end()) sources[slot] = static_cast<std::size_t>(found - rates.begin());
  }
  return sources;
}

Cell valueOf(std::optional<double> value) {
  return value ? Cell(*value) : Cell();
}

// None is blank, and sorts below one.
Cell countOf(std::size_t count) {
  Cell cell(count);
  if (count == 0) cell.brief = " ";
  if (count > 0) cell.tone = Tone::critical;
  return cell;
}

std::string keyOf(const model::BrokerView& broker, const FlowView& flow) {
  constexpr char kBetween = '\0';
  return broker.growth.broker().segment.keyFile + kBetween + flow.growth.group + kBetween +
         flow.growth.flow;
}

std::string keyOf(const std::string& flow, const reader::Node& node) {
  return flow + '\0' + node.label + '\0' + node.recordId.hex();
}

// Makes the rows one by one, in their unsorted order.
class Maker {
 public:
  Maker(const State& state, const Content& content, std::optional<std::size_t> width)
      : state_(state),
        content_(content),
        columns_(columnsFor(state.sort)),
        sources_(sourcesOf(columns_)),
        barColumns_(width && *width < kWide ? 6 : 10),
        isFirst_(content.view.interval.count() <= 0) {}

  List list();

 private:
  using Cells = std::vector<Cell>;

  bool allAreFolded() const;
  void addFlow(Place place);
  void addRow(Row row, Cells cells);
  Cells flowCells(Place place, bool folded) const;
  Cells nodeCells(Place place, std::size_t node) const;
  Cell barCell(const FlowView& flow, std::size_t node, Tone tone) const;
  void copyFrom(const render::Row& rates, Slot slot, Cells& cells) const;
  std::vector<std::size_t> nodesOf(const FlowView& flow, bool flowPasses) const;

  const State& state_;
  const Content& content_;
  std::vector<Column> columns_;
  std::array<std::optional<std::size_t>, kSlots> sources_;
  std::size_t barColumns_;
  bool isFirst_;  // there was one look, so nothing was measured
  List list_;
};

List Maker::list() {
  list_.sheet.columns = columns_;
  const auto& brokers = content_.view.brokers;
  for (std::size_t b = 0; b < brokers.size(); ++b) {
    for (std::size_t f = 0; f < brokers[b].flows.size(); ++f) addFlow({b, f});
  }
  if (state_.sort == Sort::chain) return std::move(list_);
  if (allAreFolded()) list_.sheet.columns[kFlow].place = Column::Place::extra;
  list_.sheet =
      arranged(std::move(list_.sheet), {.sort = columnOf(state_.sort), .descending = true});
  std::vector<Row> rows;
  for (const render::Row& row : list_.sheet.rows) {
    const auto unsorted = std::get<std::int64_t>(row.cells[kUnsorted].value);
    rows.push_back(std::move(list_.rows[static_cast<std::size_t>(unsorted)]));
  }
  list_.rows = std::move(rows);
  return std::move(list_);
}

// Rows of flows name them themselves.
bool Maker::allAreFolded() const {
  return std::ranges::all_of(list_.rows, [](const Row& row) { return row.key == row.flow; });
}

// In the order in which messages pass. All of them where the filter means the flow.
std::vector<std::size_t> Maker::nodesOf(const FlowView& flow, bool flowPasses) const {
  std::vector<std::size_t> nodes;
  for (const model::Placed& placed : inOrder(flow.nesting)) {
    const std::string& label = flow.growth.nodes[placed.node].node().label;
    if (!model::matches(content_.wanted.selection.node, label)) continue;
    if (flowPasses || passes(state_, label)) nodes.push_back(placed.node);
  }
  return nodes;
}

void Maker::addFlow(Place place) {
  const FlowView& flow = viewOf(content_, place);
  if (!selects(content_.wanted.selection, flow)) return;
  const bool flowPasses = passes(state_, flow.growth.flow) || passes(state_, flow.growth.group);
  const std::vector<std::size_t> nodes = nodesOf(flow, flowPasses);
  if (nodes.empty()) return;
  const std::string key = keyOf(content_.view.brokers[place.broker], flow);
  const bool folded = state_.isFolded(key);
  if (folded || state_.sort == Sort::chain) addRow({key, key}, flowCells(place, folded));
  if (folded) return;
  for (const std::size_t node : nodes) {
    addRow({keyOf(key, flow.growth.nodes[node].node()), key}, nodeCells(place, node));
  }
}

void Maker::addRow(Row row, Cells cells) {
  cells[kUnsorted] = list_.rows.size();
  list_.rows.push_back(std::move(row));
  list_.sheet.rows.push_back({"", std::move(cells)});
}

void Maker::copyFrom(const render::Row& rates, Slot slot, Cells& cells) const {
  if (isFirst_ && columns_[slot].right) {
    cells[slot] = Cell();
  } else if (sources_[slot]) {
    cells[slot] = rates.cells[*sources_[slot]];
  }
}

// What became of a node stands where its bar would be: it has none then.
Cell Maker::barCell(const FlowView& flow, std::size_t node, Tone tone) const {
  const char* const note = render::noteOf(flow.growth.nodes[node]);
  if (*note != '\0') return note;
  const auto share = flow.times[node].self.share;
  if (!share || isFirst_) return "";
  std::string bar = render::barOf(*share, barColumns_, content_.wanted.signs);
  bar.append(barColumns_ - text::columns(bar), ' ');
  return {std::move(bar), tone};
}

Maker::Cells Maker::nodeCells(Place place, std::size_t node) const {
  const model::BrokerView& broker = content_.view.brokers[place.broker];
  const FlowView& flow = broker.flows[place.flow];
  const render::Row rates = render::ratesRow(broker, flow, node);
  Cells cells(kSlots, Cell(""));
  for (std::size_t slot = 0; slot < kSlots; ++slot) copyFrom(rates, Slot(slot), cells);
  const Tone tone = model::slowest(flow.times) == node && !isFirst_ ? Tone::warning : Tone::plain;
  const reader::Node& stored = flow.growth.nodes[node].node();
  if (state_.sort == Sort::chain) {
    cells[kNode] =
        "  " + render::branchTo(flow.nesting, node, content_.wanted.signs) + stored.label;
  }
  cells[kSelf].tone = tone;
  if (const auto* share = std::get_if<double>(&cells[kShare].value)) {
    cells[kShare].brief = fmt::format("{:.0f} %", *share);
  }
  cells[kBar] = barCell(flow, node, tone);
  cells[kExceptions] = countOf(content_.events.exceptionsAt(
      broker.growth.broker().segment.keyFile, flow.growth.group, flow.growth.flow, stored.label));
  return cells;
}

// A folded flow shows the self time of its slowest node.
Maker::Cells Maker::flowCells(Place place, bool folded) const {
  const FlowView& flow = viewOf(content_, place);
  const model::Load load = isFirst_ ? model::Load() : flow.load;
  const auto slowest = model::slowest(flow.times);
  Cells cells(kSlots, Cell(""));
  if (folded && slowest) cells = nodeCells(place, *slowest);
  for (const Slot slot : {kFlow, kType, kBytes, kSize, kQueued, kLost}) cells[slot] = "";
  cells[kNode] = (folded ? "+ " : "- ") + nameOf(content_, place);
  cells[kRate] = valueOf(load.messages);
  cells[kElapsed] = valueOf(meanMs(load));
  cells[kBusy] = valueOf(load.busy);
  cells[kWaiting] = valueOf(load.waiting);
  cells[kExceptions] = countOf(content_.events.failuresIn(brokerOf(content_, place).segment.keyFile,
                                                          flow.growth.group, flow.growth.flow));
  return cells;
}

}  // namespace

const model::FlowView& viewOf(const Content& content, Place place) {
  return content.view.brokers[place.broker].flows[place.flow];
}

const model::SeenBroker& brokerOf(const Content& content, Place place) {
  return content.view.brokers[place.broker].growth.broker();
}

std::string nameOf(const Content& content, Place place) {
  const model::FlowGrowth& flow = viewOf(content, place).growth;
  std::string around = flow.group;
  if (content.view.brokers.size() > 1) around += ", " + render::nameOf(brokerOf(content, place));
  return text::shortened(flow.flow, kLongestName) + " (" + text::shortened(around, kLongestName) +
         ")";
}

std::optional<Place> flowOf(const Content& content, const std::string& key) {
  const auto& brokers = content.view.brokers;
  for (std::size_t b = 0; b < brokers.size(); ++b) {
    for (std::size_t f = 0; f < brokers[b].flows.size(); ++f) {
      if (keyOf(brokers[b], brokers[b].flows[f]) == key) return Place{b, f};
    }
  }
  return {};
}

List listOf(const State& state, const Content& content, std::optional<std::size_t> width) {
  return Maker(state, content, width).list();
}

}  // namespace top
