// SPDX-License-Identifier: Apache-2.0
#include "agent/front/history/what_changed.h"

#include <algorithm>

#include "agent/front/history/moment.h"
#include "agent/model/load.h"
#include "agent/model/pattern.h"

namespace history {
namespace {

using model::Period;

constexpr std::size_t kParts = 6;  // in which a chain is looked for
constexpr std::int64_t kDays = 7;  // that tell what is usual

class Finder {
 public:
  Finder(const Reader& reader, const Period& period, const model::Selection& selection,
         const std::function<bool()>& goOn)
      : reader_(reader), period_(period), selection_(selection), goOn_(goOn) {}

  void look(const KnownBroker& broker, const model::FlowKnowledge& known);
  std::vector<model::PastChange> sorted() &&;

 private:
  void judge(const KnownBroker& broker, const std::vector<model::Mark>& marks,
             const model::FlowMinutes& flow);

  const Reader& reader_;
  const Period period_;
  const model::Selection& selection_;
  const std::function<bool()>& goOn_;
  std::vector<model::PastChange> found_;
};

// Which node is in which, as two looks at the flow tell. They are found by their names and types.
void place(model::FlowMinutes& flow, const model::View& view) {
  for (const model::BrokerView& broker : view.brokers) {
    for (const model::FlowView& seen : broker.flows) {
      if (seen.growth.group != flow.group || seen.growth.flow != flow.flow) continue;
      const auto indexOf = [&](std::size_t node) {
        const reader::Node& wanted = seen.growth.nodes[node].node();
        const auto found = std::ranges::find_if(flow.nodes, [&wanted](const auto& other) {
          return other.node == wanted.label && other.type == wanted.type;
        });
        return static_cast<std::size_t>(found - flow.nodes.begin());
      };
      for (std::size_t i = 0; i < seen.nesting.nodes.size(); ++i) {
        const std::size_t at = indexOf(i);
        const model::Nest& nest = seen.nesting.nodes[i];
        if (at == flow.nodes.size() || !nest.placed) continue;
        flow.nesting.nodes[at].placed = true;
        if (!nest.outer) continue;
        const std::size_t outer = indexOf(*nest.outer);
        if (outer == flow.nodes.size()) continue;
        flow.nesting.nodes[at].outer = outer;
        flow.nesting.nodes[outer].inner.push_back(at);
      }
      flow.nesting.source = seen.nesting.source;
    }
  }
}

void Finder::look(const KnownBroker& broker, const model::FlowKnowledge& known) {
  const model::PastBroker past = reader_.past(broker, period_, kParts);
  if (past.looks.empty()) return;
  const model::View view = viewOf(past, known);
  const std::int64_t begin = period_.from / kMinuteMs * kMinuteMs;
  const std::int64_t end = std::min(period_.until, broker.lastLook + 1) / kMinuteMs * kMinuteMs;
  const std::int64_t today = begin / kDayMs * kDayMs;
  reader_.minutes(broker, {begin - kDayMs, std::max(end, begin)}, {today - kDays * kDayMs, today},
                  [&](model::FlowMinutes flow) {
                    if (!model::matches(selection_.group, flow.group)) return;
                    if (!model::matches(selection_.flow, flow.flow)) return;
                    if (!goOn_()) return;
                    place(flow, view);
                    judge(broker, past.marks, flow);
                  });
}

void Finder::judge(const KnownBroker& broker, const std::vector<model::Mark>& marks,
                   const model::FlowMinutes& flow) {
  const auto inputs = std::ranges::count(flow.nodes, model::kInputNode, &model::NodeMinutes::type);
  for (const model::LevelChange& change : changesOf(flow, period_.from / kMinuteMs)) {
    const std::string& node = flow.nodes[change.node].node;
    if (!model::matches(selection_.node, node)) continue;
    model::PastChange& found = found_.emplace_back(model::PastChange{.broker = broker.name(),
                                                                     .uuid = broker.uuid,
                                                                     .group = flow.group,
                                                                     .flow = flow.flow,
                                                                     .node = node,
                                                                     .change = change,
                                                                     .isOfFlow = false,
                                                                     .mark = {}});
    found.isOfFlow = change.measure == model::Measure::rate && inputs == 1 &&
                     flow.nodes[change.node].type == model::kInputNode;
    addNearest(found, marks);
  }
}

std::vector<model::PastChange> Finder::sorted() && {
  std::ranges::stable_sort(found_, {},
                           [](const model::PastChange& found) { return found.change.minute; });
  return std::move(found_);
}

}  // namespace

std::vector<model::PastChange> changesIn(const Reader& reader, const Period& period,
                                         const model::Selection& selection,
                                         const model::FlowKnowledge& known,
                                         const std::function<bool()>& goOn) {
  Finder finder(reader, period, selection, goOn);
  for (const KnownBroker& broker : reader.brokers()) {
    const bool isWanted = model::matches(selection.broker, broker.label) ||
                          model::matches(selection.broker, broker.uuid);
    if (isWanted && goOn()) finder.look(broker, known);
  }
  return std::move(finder).sorted();
}

}  // namespace history
