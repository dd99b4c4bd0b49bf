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
std::vector<std::optional<std::size_t>> sourcesOf(const std::vector<Column>& columns) {
  const std::vector<Column> rates = render::ratesColumns(true);
  std::vector<std::optional<std::size_t>> sources;
  for (const Column& column : columns) {
    const auto found = std::ranges::find(rates, column.name, &Column::name);
    sources.push_back(found == rates.end()
                          ? std::nullopt
                          : std::optional(static_cast<std::size_t>(found - rates.begin())));
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
  const auto id = node.recordId.bytes();
  return flow + '\0' + node.label + '\0' + std::string(id.begin(), id.end());
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

List::List(const State& state, const Content& content, std::optional<std::size_t> width)
    : state_(state),
      content_(content),
      columns_(columnsFor(state.sort)),
      sources_(sourcesOf(columns_)),
      barColumns_(width && *width < kWide ? 6 : 10),
      isFirst_(content.view.interval.count() <= 0) {
  const auto& brokers = content_.view.brokers;
  for (std::size_t b = 0; b < brokers.size(); ++b) {
    for (std::size_t f = 0; f < brokers[b].flows.size(); ++f) addFlow({b, f});
  }
  if (state_.sort != Sort::chain) sort();
  makeRoom();
}

// Rows of flows name them themselves.
void List::sort() {
  const bool areFlows = std::ranges::all_of(entries_, [](const Entry& one) { return !one.node; });
  if (areFlows) columns_[kFlow].place = Column::Place::extra;
  const render::Sheet sorted =
      arranged(sheet(0, entries_.size()), {.sort = columnOf(state_.sort), .descending = true});
  std::vector<Row> rows;
  std::vector<Entry> entries;
  for (const render::Row& row : sorted.rows) {
    const auto at = static_cast<std::size_t>(std::get<std::int64_t>(row.cells[kUnsorted].value));
    rows.push_back(std::move(rows_[at]));
    entries.push_back(entries_[at]);
  }
  rows_ = std::move(rows);
  entries_ = std::move(entries);
}

void List::makeRoom() {
  bool anyBar = false;
  for (const Entry& entry : entries_) {
    const FlowView& flow = viewOf(content_, entry.place);
    const auto widen = [](Column& column, const std::string& text) {
      column.wide = std::max(column.wide, text::columns(text::printable(text)));
    };
    widen(columns_[kNode], name(entry));
    if (!entry.node) continue;
    widen(columns_[kFlow], flow.growth.flow);
    widen(columns_[kBar], render::noteOf(flow.growth.nodes[*entry.node]));
    anyBar = anyBar || (flow.times[*entry.node].self.share && !isFirst_);
  }
  if (anyBar) columns_[kBar].wide = std::max(columns_[kBar].wide, barColumns_);
}

render::Sheet List::sheet(std::size_t first, std::size_t count) const {
  render::Sheet sheet{columns_, {}};
  const std::size_t end = first + std::min(count, entries_.size() - first);
  for (std::size_t i = first; i < end; ++i) {
    Cells cells = cellsOf(entries_[i]);
    cells[kUnsorted] = i;
    sheet.rows.push_back({"", std::move(cells)});
  }
  return sheet;
}

// In the order in which messages pass. All of them where the filter means the flow.
std::vector<std::size_t> List::nodesOf(const FlowView& flow, bool flowPasses) const {
  std::vector<std::size_t> nodes;
  for (const model::Placed& placed : inOrder(flow.nesting)) {
    const std::string& label = flow.growth.nodes[placed.node].node().label;
    if (!model::matches(content_.wanted.selection.node, label)) continue;
    if (flowPasses || passes(state_, label)) nodes.push_back(placed.node);
  }
  return nodes;
}

void List::addFlow(Place place) {
  const FlowView& flow = viewOf(content_, place);
  if (!selects(content_.wanted.selection, flow)) return;
  const bool flowPasses = passes(state_, flow.growth.flow) || passes(state_, flow.growth.group);
  const std::vector<std::size_t> nodes = nodesOf(flow, flowPasses);
  if (nodes.empty()) return;
  const std::string key = keyOf(content_.view.brokers[place.broker], flow);
  const bool folded = state_.isFolded(key);
  if (folded || state_.sort == Sort::chain) {
    add({key, key}, {.place = place, .node = {}, .folded = folded});
  }
  if (folded) return;
  for (const std::size_t node : nodes) {
    add({keyOf(key, flow.growth.nodes[node].node()), key}, {.place = place, .node = node});
  }
}

void List::add(Row row, Entry entry) {
  rows_.push_back(std::move(row));
  entries_.push_back(entry);
}

std::string List::name(const Entry& entry) const {
  if (!entry.node) return (entry.folded ? "+ " : "- ") + nameOf(content_, entry.place);
  const FlowView& flow = viewOf(content_, entry.place);
  const std::string& label = flow.growth.nodes[*entry.node].node().label;
  if (state_.sort != Sort::chain) return label;
  return "  " + render::branchTo(flow.nesting, *entry.node, content_.wanted.signs) + label;
}

// What became of a node stands where its bar would be: it has none then.
Cell List::bar(const FlowView& flow, std::size_t node, Tone tone) const {
  const char* const note = render::noteOf(flow.growth.nodes[node]);
  if (*note != '\0') return note;
  const auto share = flow.times[node].self.share;
  if (!share || isFirst_) return "";
  std::string bar = render::barOf(*share, barColumns_, content_.wanted.signs);
  bar.append(barColumns_ - text::columns(bar), ' ');
  return {std::move(bar), tone};
}

List::Cells List::cellsOf(const Entry& entry) const {
  Cells cells = entry.node ? nodeCells(entry.place, *entry.node) : flowCells(entry);
  cells[kNode] = name(entry);
  return cells;
}

List::Cells List::nodeCells(Place place, std::size_t node) const {
  const model::BrokerView& broker = content_.view.brokers[place.broker];
  const FlowView& flow = broker.flows[place.flow];
  render::Row rates = render::ratesRow(broker, flow, node);
  Cells cells(kSlots, Cell(""));
  for (std::size_t slot = 0; slot < kSlots; ++slot) {
    if (isFirst_ && columns_[slot].right) {
      cells[slot] = Cell();
    } else if (sources_[slot]) {
      cells[slot] = std::move(rates.cells[*sources_[slot]]);
    }
  }
  const Tone tone = model::slowest(flow.times) == node && !isFirst_ ? Tone::warning : Tone::plain;
  cells[kSelf].tone = tone;
  if (const auto* share = std::get_if<double>(&cells[kShare].value)) {
    cells[kShare].brief = fmt::format("{:.0f} %", *share);
  }
  cells[kBar] = bar(flow, node, tone);
  cells[kExceptions] = countOf(content_.events.exceptionsAt(broker.growth.broker().segment.keyFile,
                                                            flow.growth.group, flow.growth.flow,
                                                            flow.growth.nodes[node].node().label));
  return cells;
}

// A folded flow shows the self time of its slowest node.
List::Cells List::flowCells(const Entry& entry) const {
  const FlowView& flow = viewOf(content_, entry.place);
  const model::Load load = isFirst_ ? model::Load() : flow.load;
  const auto slowest = model::slowest(flow.times);
  Cells cells(kSlots, Cell(""));
  if (entry.folded && slowest) cells = nodeCells(entry.place, *slowest);
  for (const Slot slot : {kFlow, kType, kBytes, kSize, kQueued, kLost}) cells[slot] = "";
  cells[kRate] = valueOf(load.messages);
  cells[kElapsed] = valueOf(meanMs(load));
  cells[kBusy] = valueOf(load.busy);
  cells[kWaiting] = valueOf(load.waiting);
  cells[kExceptions] = countOf(content_.events.failuresIn(
      brokerOf(content_, entry.place).segment.keyFile, flow.growth.group, flow.growth.flow));
  return cells;
}

}  // namespace top
