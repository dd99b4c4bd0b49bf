// SPDX-License-Identifier: Apache-2.0
#include "agent/render/top/head.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "agent/model/condition.h"
#include "agent/model/exceptions.h"
#include "agent/render/rates.h"
#include "agent/render/screens.h"
#include "agent/render/top/list.h"
#include "agent/render/words.h"
#include "text/printable.h"

namespace top {
namespace {

using model::Condition;
using render::Attribute;
using std::chrono::milliseconds;

constexpr std::size_t kShownFilter = 20;
constexpr std::size_t kLongestText = 100;

// "2 s", "500 ms".
std::string spanOf(milliseconds time) {
  if (time.count() % 1000 != 0) return fmt::format("{} ms", time.count());
  return fmt::format("{} s", time.count() / 1000);
}

bool isFirst(const Content& content) {
  return content.view.interval.count() <= 0;
}

std::size_t columnNamed(const std::string& name, const render::Sheet& sheet) {
  const auto found = std::ranges::find(sheet.columns, name, &render::Column::name);
  return static_cast<std::size_t>(found - sheet.columns.begin());
}

// The table of "brokers" with one line of titles.
render::Sheet sheetOf(const model::Snapshot& look) {
  render::Sheet sheet = render::brokersSheet(look);
  for (render::Column& column : sheet.columns) column.group.clear();
  sheet.columns[columnNamed("uuid", sheet)].place = render::Column::Place::extra;
  const std::size_t state = columnNamed("state", sheet);
  std::ranges::stable_partition(sheet.rows, [state](const render::Row& row) {
    return row.cells[state].tone != render::Tone::plain;
  });
  return sheet;
}

void addBrokers(std::vector<Concern>& concerns, const Content& content) {
  const model::Snapshot& look = *content.view.after;
  for (const auto& broker : look.brokers) {
    const std::string text = render::conditionText(*broker, look.machine.get());
    if (text.empty()) continue;
    concerns.push_back(
        {Attribute::critical, fmt::format("broker {}: {}.", render::nameOf(*broker), text)});
  }
  for (const model::BrokerView& broker : content.view.brokers) {
    if (broker.growth.after || !broker.growth.before) continue;
    concerns.push_back({Attribute::critical, fmt::format("broker {} has stopped.",
                                                         render::nameOf(*broker.growth.before))});
  }
}

std::vector<Place> selectedFlows(const Content& content) {
  std::vector<Place> places;
  for (std::size_t b = 0; b < content.view.brokers.size(); ++b) {
    const auto& flows = content.view.brokers[b].flows;
    for (std::size_t f = 0; f < flows.size(); ++f) {
      if (selects(content.wanted.selection, flows[f])) places.push_back({b, f});
    }
  }
  return places;
}

// The failures of the last minute in all selected flows.
std::size_t failuresIn(const Content& content) {
  std::size_t sum = 0;
  for (const Place place : selectedFlows(content)) {
    const model::FlowGrowth& flow = viewOf(content, place).growth;
    sum +=
        content.events.failuresIn(brokerOf(content, place).segment.keyFile, flow.group, flow.flow);
  }
  return sum;
}

void addFailures(std::vector<Concern>& concerns, const Content& content) {
  const std::size_t failures = failuresIn(content);
  if (failures == 0) return;
  const auto posted = content.events.latest(reader::EventKind::exception);
  std::string sentence = fmt::format("{}{} message{} failed in the last minute",
                                     content.events.countsMayBeLow() ? "at least " : "", failures,
                                     failures == 1 ? "" : "s");
  const auto last = std::find_if(posted.rbegin(), posted.rend(), [&](const auto* one) {
    return model::selects(content.wanted.selection, one->event);
  });
  if (last != posted.rend()) {
    const reader::EventTemplate& origin = *(*last)->event.origin;
    sentence += fmt::format(", the last one at \"{}\": {}", text::shortened(origin.node, 30),
                            text::shortened(model::reasonOf(origin), kLongestText));
  }
  concerns.push_back({Attribute::critical, sentence + "."});
}

// How much of the machine's time one node of the flow took; of flows without self times the busiest
// comes first. Before all that, one that stands still.
std::pair<double, double> weightOf(const model::FlowView& flow) {
  if (flow.kept) return {std::numeric_limits<double>::infinity(), 0};
  const auto slowest = model::slowest(flow.times);
  return {slowest ? flow.times[*slowest].self.totalMs : -1, flow.load.busy.value_or(-1)};
}

std::optional<Place> worstFlow(const Content& content) {
  std::optional<Place> worst;
  for (const Place place : selectedFlows(content)) {
    if (!worst || weightOf(viewOf(content, place)) > weightOf(viewOf(content, *worst))) {
      worst = place;
    }
  }
  return worst;
}

// The flow in which the most time is spent, when nobody knows which of its nodes spends it.
void addUntold(std::vector<Concern>& concerns, const Content& content, Place told) {
  const auto busyIn = [&content](Place place) {
    return viewOf(content, place).load.busy.value_or(0);
  };
  Place busiest = told;
  for (const Place place : selectedFlows(content)) {
    if (busyIn(place) > busyIn(busiest)) busiest = place;
  }
  if (viewOf(content, busiest).nesting.source != model::NestingSource::unknown) return;
  if (viewOf(content, told).nesting.source == model::NestingSource::unknown) return;
  concerns.push_back({Attribute::plain,
                      nameOf(content, busiest) +
                          " is busier, and nobody knows which of its nodes is inside which: give "
                          "--chain or --flows."});
}

void addVerdict(std::vector<Concern>& concerns, const State& state, const Content& content) {
  const auto chosen = state.cursor ? flowOf(content, state.cursor->flow) : std::nullopt;
  const auto place = chosen ? chosen : worstFlow(content);
  if (!place) return;
  std::string sentence = nameOf(content, *place) + ": ";
  sentence += isFirst(content)
                  ? fmt::format("the first figures come in {}", spanOf(content.wanted.interval))
                  : render::verdictOf(viewOf(content, *place));
  const bool stands = viewOf(content, *place).kept.has_value();
  if (stands) sentence += ". zebmon doctor --only lock tells what to do";
  concerns.push_back({stands ? Attribute::critical : Attribute::strong, sentence + "."});
  if (!chosen && !isFirst(content) && !stands) addUntold(concerns, content, *place);
}

// Of what time the figures are, and how often there are new ones.
std::string spanText(const Content& content) {
  const auto since = content.view.interval.count();
  return (isFirst(content) ? "  first look" : fmt::format("  the last {:.1f} s", since)) +
         "  every " + spanOf(content.wanted.interval);
}

}  // namespace

std::string titleOf(const State& state, const Content& content, std::chrono::seconds age) {
  std::string title = "zebmon top  " + render::dateAndTime(model::secondsOf(*content.view.after),
                                                           content.wanted.zone);
  const bool old = age > 2 * content.wanted.interval;
  if (state.paused) title += "  PAUSED";
  if (state.paused || old) title += ", " + render::duration(age.count()) + " old";
  if (!state.paused) title += spanText(content);
  if (state.sort != Sort::chain) title += std::string("  by ") + wordsOf(state.sort);
  if (!state.filter.empty()) {
    title += "  filter \"" + text::shortened(state.filter, kShownFilter) + "\"";
  }
  if (state.paused) title += spanText(content);
  return title;
}

std::vector<render::Line> brokerLines(const Content& content, std::size_t mostBrokers,
                                      const render::TableStyle& style) {
  render::Sheet sheet = sheetOf(*content.view.after);
  const std::size_t count = sheet.rows.size();
  if (count > mostBrokers) sheet.rows.resize(mostBrokers);
  auto lines = linesOf(sheet, style);
  if (count > mostBrokers) {
    lines.push_back({{fmt::format("and {} more: zebmon brokers", count - mostBrokers)}});
  }
  return lines;
}

std::vector<Concern> concernsOf(const State& state, const Content& content) {
  std::vector<Concern> concerns;
  const std::string problem = render::problemOf(*content.all, content.wanted.selection);
  if (!problem.empty()) concerns.push_back({Attribute::critical, problem + "."});
  addBrokers(concerns, content);
  addFailures(concerns, content);
  addVerdict(concerns, state, content);
  return concerns;
}

}  // namespace top
