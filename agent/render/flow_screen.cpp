// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <utility>
#include <vector>

#include "agent/model/chain.h"
#include "agent/model/findings/kinds.h"
#include "agent/model/load.h"
#include "agent/render/paragraph.h"
#include "agent/render/rates.h"
#include "agent/render/words.h"
#include "text/printable.h"

namespace render {
namespace {

using model::FlowView;
using model::Loss;
using model::SelfTime;
using model::findings::counted;

constexpr std::size_t kBarColumns = 10;
constexpr std::size_t kLongestLabel = 40;
constexpr std::size_t kLongestName = 120;
constexpr std::size_t kLongestEvidence = 300;

std::string labelOf(const FlowView& flow, std::size_t node) {
  return text::shortened(flow.growth.nodes[node].node().label, kLongestLabel);
}

std::string milliseconds(double value) {
  return decimal(value) + " ms";
}

std::string percent(double share) {
  return fmt::format("{:.0f} %", share * 100);
}

std::string selfText(const SelfTime& self) {
  switch (self.state) {
    case SelfTime::State::measured:
      return milliseconds(self.perMessageMs);
    case SelfTime::State::belowOne:
      return "<1 ms";
    case SelfTime::State::tooShort:
      return kUnreadable;
    default:
      return kMissing;
  }
}

// How those that did not get to a node were lost.
std::string causesOf(const FlowView& flow, std::size_t outer, std::int64_t lost) {
  const auto failed =
      static_cast<std::int64_t>(std::min(flow.failed[outer], static_cast<std::uint64_t>(lost)));
  if (failed == 0) return "filtered, or failed unseen";
  const std::string some =
      fmt::format("{}{} failed", flow.sawAllFailures ? "" : "at least ", failed);
  if (failed == lost) return some;
  return fmt::format(
      "{}, {} filtered", some,
      flow.sawAllFailures ? std::to_string(lost - failed) : "the others failed or were");
}

// Empty when there is nothing to say of the way to this node.
std::string lossText(const FlowView& flow, std::size_t node) {
  const Loss& loss = flow.times[node].loss;
  const auto outer = flow.nesting.nodes[node].outer;
  if (!outer) return {};
  const std::int64_t came = flow.growth.nodes[*outer].growth.messages.value_or(0);
  if (loss.state == Loss::State::measured) {
    return fmt::format("{} of {} ({}) did not get here: {}", loss.messages, came,
                       percent(static_cast<double>(loss.messages) / static_cast<double>(came)),
                       causesOf(flow, *outer, loss.messages));
  }
  const bool isMore = loss.state == Loss::State::tooShort && loss.messages < 0 &&
                      static_cast<std::uint64_t>(-loss.messages) > loss.bound;
  if (!isMore) return {};
  return fmt::format("{} more here than in \"{}\": a node splits messages, or the chain is wrong",
                     counted(static_cast<std::uint64_t>(-loss.messages), "message", "messages"),
                     labelOf(flow, *outer));
}

std::string cut(const std::string& line, std::optional<std::size_t> width) {
  return width ? text::shortened(line, *width) : line;
}

// Draws the nodes of one flow.
class Tree {
 public:
  Tree(const FlowView& flow, Signs signs)
      : flow_(flow), signs_(signs), slowest_(model::slowest(flow.times)) {}

  std::string text(const TableStyle& style) {
    for (const model::Placed& placed : inOrder(flow_.nesting)) add(placed.node);
    const std::vector<Line> lines = linesOf(sheet_, style);
    const std::size_t titles = lines.size() - above_.size();
    std::string text;
    for (std::size_t i = 0; i < lines.size(); ++i) {
      const std::string above = i < titles ? "" : above_[i - titles];
      if (!above.empty()) text += cut(above, style.width) + "\n";
      text += printed(lines[i], style.colors);
    }
    return text;
  }

 private:
  void add(std::size_t node);

  const FlowView& flow_;
  Signs signs_;
  std::optional<std::size_t> slowest_;
  std::vector<std::string> above_;  // what stands above each row: a line, or nothing
  Sheet sheet_{{{.name = "node", .title = "node", .yields = 50, .least = 20},
                {.name = "rate", .title = "messages/s", .right = true},
                {.name = "elapsed", .title = "elapsed", .right = true, .yields = 30},
                {.name = "self", .title = "self", .right = true},
                {.name = "share", .title = "share", .right = true, .yields = 20},
                {.name = "bar", .title = "", .yields = 10},
                {.name = "note", .title = ""}},
               {}};
};

void Tree::add(std::size_t index) {
  const model::NodeGrowth& node = flow_.growth.nodes[index];
  const SelfTime& self = flow_.times[index].self;
  const std::string loss = lossText(flow_, index);
  above_.push_back(loss.empty() ? "" : branchTo(flow_.nesting, index, signs_, false) + loss);
  const auto rate = model::perSecond(node.growth.messages, flow_.interval);
  const auto elapsed = model::mean(node.growth.elapsedMs, node.growth.messages);
  const Tone tone = slowest_ == index ? Tone::warning : Tone::plain;
  sheet_.rows.push_back({"",
                         {branchTo(flow_.nesting, index, signs_) + labelOf(flow_, index),
                          rate ? decimal(*rate) : kMissing,
                          elapsed ? milliseconds(*elapsed) : kMissing,
                          {selfText(self), tone},
                          self.share ? percent(*self.share) : std::string(kMissing),
                          {barOf(self.share.value_or(0), kBarColumns, signs_), tone},
                          noteOf(node)}});
}

std::string busyText(const FlowView& flow) {
  constexpr double kMoreThanAll = 1.05;
  const model::Load& load = flow.load;
  if (!load.messages || !load.busy) return "how busy it is can't be told";
  std::string text =
      fmt::format("{} messages/s, at least {}", decimal(*load.messages), decimal(*load.busy));
  if (!load.utilisation) return text + " threads busy";
  text += fmt::format(" of {} threads busy ({})", *flow.threads, percent(*load.utilisation));
  if (*load.utilisation > kMoreThanAll) return text + ": are there more?";
  if (load.spare) text += fmt::format(", room for {} messages/s more", decimal(*load.spare));
  return text;
}

std::string waitingText(const FlowView& flow) {
  if (!flow.load.waiting) return "messages waiting: - (queued time is off, or none waited)";
  return fmt::format("{} messages waiting (mean over the interval; too low while the queue grows)",
                     decimal(*flow.load.waiting));
}

std::string chainText(const FlowView& flow) {
  switch (flow.nesting.source) {
    case model::NestingSource::given:
      return "chain as given";
    case model::NestingSource::flowFile:
      return "chain from the flow file";
    case model::NestingSource::inferred:
      return "chain inferred";
    case model::NestingSource::unknown:
      break;
  }
  return fmt::format("chain {}", model::kUnknownNesting);
}

bool hidesSelfTime(const model::NodeTime& time) {
  return time.self.state == SelfTime::State::tooShort;
}

bool hidesLoss(const model::NodeTime& time) {
  return time.loss.state == Loss::State::tooShort;
}

// What the interval was too short for.
std::string doubtsOf(const FlowView& flow) {
  std::string text;
  if (std::ranges::any_of(flow.times, hidesSelfTime)) {
    text += "?: interval too short for what is in flight; try a longer --interval\n";
  }
  if (std::ranges::any_of(flow.times, hidesLoss)) {
    text += fmt::format(
        "Losses: ? where they are at most {}: interval too short\n",
        counted(std::min<std::uint64_t>(flow.inFlight, 1000000000000), "message", "messages"));
  }
  return text;
}

bool anyIs(const FlowView& flow, model::Change change) {
  return std::ranges::any_of(
      flow.growth.nodes, [change](const model::NodeGrowth& node) { return node.change == change; });
}

bool hasMessages(const FlowView& flow) {
  return std::ranges::any_of(flow.growth.nodes, [](const model::NodeGrowth& node) {
    return node.growth.messages.value_or(0) > 0;
  });
}

// The nodes, those that take longest first: what is inside another one takes no longer.
std::vector<std::string> likelyOrder(const FlowView& flow) {
  std::vector<const model::NodeGrowth*> nodes;
  for (const model::NodeGrowth& node : flow.growth.nodes) {
    if (node.after != nullptr && !node.after->deleted) nodes.push_back(&node);
  }
  std::ranges::stable_sort(nodes, std::ranges::greater(), [](const model::NodeGrowth* node) {
    return std::pair(node->node().type == model::kInputNode, node->growth.elapsedMs.value_or(0));
  });
  std::vector<std::string> labels;
  for (const model::NodeGrowth* node : nodes) labels.push_back(node->node().label);
  return labels;
}

// A chain to begin with, for a user who has never written one. Nothing where a shell or a
// terminal would make something else of it.
std::string exampleOf(const FlowView& flow, const std::string& again) {
  constexpr std::size_t kMostNodes = 8;
  if (flow.nesting.source != model::NestingSource::unknown || !hasMessages(flow)) return {};
  const std::vector<std::string> labels = likelyOrder(flow);
  if (labels.size() < 2 || labels.size() > kMostNodes) return {};
  const std::string chain = model::chainTextOf(labels);
  const std::string& name = flow.growth.flow;
  if (!model::parseChain(chain).problem.empty() || text::printable(chain + name) != chain + name) {
    return {};
  }
  return fmt::format(
      "\nIf messages pass these nodes one after the other, type:\n  zebmon flow {} --chain {}{}\n",
      model::findings::quoted(name), model::findings::quoted(chain), text::printable(again));
}

std::string screenOf(const model::View& view, const model::BrokerView& broker, const FlowView& flow,
                     const TableStyle& style, Signs signs, const Typed& typed) {
  std::string text = inLines(
      fmt::format("{} / {} of {}: {:.1f} s until {}", text::shortened(flow.growth.group, 30),
                  text::shortened(flow.growth.flow, 30), nameOf(broker.growth.broker()),
                  flow.interval.count(), dateAndTime(model::secondsOf(*view.after), style.zone)),
      style.width);
  for (const std::string& sentence : {busyText(flow), waitingText(flow), chainText(flow)}) {
    text += inLines(sentence, style.width);
  }
  text += "\n";
  text += Tree(flow, signs).text(style);
  text += "\n" + doubtsOf(flow);
  std::string verdict = verdictOf(flow);
  if (!verdict.empty()) verdict[0] = static_cast<char>(std::toupper(verdict[0]));
  text += inLines(verdict + (flow.kept ? ":" : "."), style.width);
  return flow.kept ? text + "  zebmon doctor --only lock" + text::printable(typed.doctor) + "\n"
                   : text;
}

// Where no time was measured there are no shares, and so no slowest node.
bool allAreFast(const FlowView& flow) {
  using State = SelfTime::State;
  const auto isFast = [](const model::NodeTime& time) {
    return time.self.state == State::belowOne || time.self.state == State::noMessages;
  };
  return std::ranges::all_of(flow.times, isFast);
}

// Where the time of a node goes: up to the nodes in it.
std::string placeBehind(const FlowView& flow, std::size_t node) {
  const auto& inner = flow.nesting.nodes[node].inner;
  if (inner.empty()) return "behind it, where no other node measures";
  if (inner.size() > 1) return fmt::format("between it and the {} nodes in it", inner.size());
  return fmt::format("between it and \"{}\"", labelOf(flow, inner.front()));
}

std::string fullThreads(const FlowView& flow) {
  constexpr double kFull = 0.9;
  if (flow.load.utilisation.value_or(0) < kFull) return {};
  return fmt::format("; its {} thread{} busy nearly all the time, so messages will queue up",
                     *flow.threads, *flow.threads == 1 ? " is" : "s are");
}

}  // namespace

std::string verdictOf(const FlowView& flow) {
  if (flow.kept) {
    return fmt::format("messages stop at \"{}\", at the {}: {}",
                       text::shortened(flow.kept->stops.front().node, kLongestLabel),
                       text::shortened(flow.kept->object, kLongestName),
                       text::shortened(flow.kept->evidence, kLongestEvidence));
  }
  if (anyIs(flow, model::Change::reset)) {
    return "the statistics were reset in between, so nothing can be said: look once more";
  }
  if (std::ranges::all_of(flow.growth.nodes, [](const model::NodeGrowth& node) {
        return node.change == model::Change::went;
      })) {
    return "the flow is gone: its broker has stopped, or it was removed from it";
  }
  if (!hasMessages(flow)) {
    if (isDead(flow.group)) {
      return "no message was counted: the process of its execution group has ended. Start the "
             "group again";
    }
    if (flow.group == model::GroupState::stopped) {
      return "no message was counted: the process of its execution group is stopped. zebmon doctor "
             "tells how it goes on";
    }
    return "no message was counted: run zebmon doctor, or look longer";
  }
  if (flow.nesting.source == model::NestingSource::unknown) {
    return "which node is slow can't be told while nobody knows which is inside which: give "
           "--chain or --flows";
  }
  const auto slowest = model::slowest(flow.times);
  if (!slowest && !allAreFast(flow)) {
    return "the interval was too short to tell which node is slow: give a longer one";
  }
  if (!slowest || flow.times[*slowest].self.state == SelfTime::State::belowOne) {
    return "nothing here is slow: no node takes a millisecond a message" + fullThreads(flow);
  }
  const SelfTime& self = flow.times[*slowest].self;
  return fmt::format("look at \"{}\": {} a message, {} of the time, are spent {}{}",
                     labelOf(flow, *slowest), milliseconds(self.perMessageMs),
                     percent(self.share.value_or(0)), placeBehind(flow, *slowest),
                     fullThreads(flow));
}

std::string flowScreens(const model::View& view, const model::Selection& selection,
                        TableStyle style, Signs signs, const Typed& typed) {
  std::string text;
  for (const auto& broker : view.brokers) {
    for (const FlowView& flow : broker.flows) {
      if (!selects(selection, flow)) continue;
      if (!text.empty()) text += "\n";
      text += screenOf(view, broker, flow, style, signs, typed) + exampleOf(flow, typed.flow);
    }
  }
  return text;
}

}  // namespace render
