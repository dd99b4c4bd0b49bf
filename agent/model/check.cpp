// SPDX-License-Identifier: Apache-2.0
#include "agent/model/check.h"

#include <algorithm>
#include <array>
#include <span>

#include "agent/model/exceptions.h"
#include "agent/model/findings/kinds.h"
#include "agent/model/group_state.h"
#include "agent/model/liveness.h"
#include "agent/model/load.h"
#include "agent/model/pattern.h"
#include "agent/model/rates.h"
#include "agent/model/ring_reach.h"

namespace model {
namespace {

using Kind = Check::Kind;
using Readings = std::vector<Reading>;

Level levelOf(const Check& check, double value) {
  if (value >= check.critical) return Level::critical;
  return check.warning && value >= *check.warning ? Level::warning : Level::ok;
}

Reading known(const Check& check, std::string object, double value, Why why = Why::none) {
  return {check, levelOf(check, value), std::move(object), value, why};
}

// More may have been overwritten than the limit leaves.
Reading atLeast(const Check& check, std::string object, double value) {
  Reading reading = known(check, std::move(object), value, Why::missed);
  if (reading.level == Level::ok) reading.level = Level::unknown;
  return reading;
}

Reading unknown(const Check& check, std::string object, Why why) {
  return {check, Level::unknown, std::move(object), {}, why};
}

// Why nothing can be told of a broker; none when it can.
Why whyNot(const SeenBroker& broker) {
  if (broker.tree) return Why::none;
  const bool gone = broker.segment.state == reader::State::noSegment ||
                    broker.segment.state == reader::State::noKeyFile;
  return gone ? Why::notRunning : Why::unreadable;
}

// The events of the interval: those behind the newest that the earlier run saw.
struct NewEvents {
  std::span<const reader::Event> events;
  bool missed = false;
};

NewEvents newEvents(const SeenBroker* before, const SeenBroker& now) {
  const std::span<const reader::Event> all = now.events->events;
  if (before == nullptr || !before->events || before->events->events.empty()) return {all, false};
  const reader::RecordId& newest = before->events->events.back().recordId;
  const auto found = std::ranges::find(all, newest, &reader::Event::recordId);
  if (found == all.end()) return {all, true};
  return {all.subspan(static_cast<std::size_t>(found - all.begin()) + 1), false};
}

class Examination {
 public:
  Examination(const Check& check, const CheckInput& input) : check_(check), input_(input) {}

  Readings run() {
    const bool isMissing = input_.now.brokers.empty() && input_.selection.names();
    if (input_.now.error != 0) {
      add(unknown(check_, {}, Why::unreadable));
    } else if (check_.kind == Kind::locks && !isMissing) {
      lookAtLocks();
    } else if (input_.now.brokers.empty()) {
      add(unknown(check_, {}, Why::noBroker));
      if (check_.kind == Kind::groupsUp) readings_.back().level = Level::critical;
    } else {
      for (const auto& broker : input_.now.brokers) lookAt(*broker);
    }
    return std::move(readings_);
  }

 private:
  void lookAt(const SeenBroker& broker);
  void lookAtLocks();
  void lookAtGroups(const SeenBroker& broker);
  void lookAtArea(const SeenBroker& broker);
  void lookAtNodes(const SeenBroker& broker);
  void lookAtFlows(const SeenBroker& broker);
  void lookAtExceptions(const SeenBroker& broker);
  void lookAtExceptionsOfTheRing(const SeenBroker& broker);
  Reading stateOf(const SeenBroker& broker, const reader::ExecutionGroup& group) const;
  Reading silenceOf(const SeenBroker& broker, const reader::Node& node) const;
  Reading queuedOf(const FlowGrowth& flow) const;
  Reading failedOf(const SeenBroker& broker, const FlowGrowth& flow) const;
  double passed() const;  // seconds since the earlier run; 0 when there was none
  std::optional<double> secondsInMemory(const SeenBroker& broker) const;
  const SeenBroker* earlier(const SeenBroker& broker) const;
  Growths growths() const;
  std::vector<Exception> failuresIn(std::span<const reader::Event> events) const;

  void add(Reading reading, std::vector<std::string> around = {}) {
    reading.around = std::move(around);
    readings_.push_back(std::move(reading));
  }

  const Check& check_;
  const CheckInput& input_;
  Readings readings_;
};

void Examination::lookAt(const SeenBroker& broker) {
  if (const Why why = whyNot(broker); why != Why::none) {
    add(unknown(check_, broker.name(), why));
    if (check_.kind == Kind::groupsUp && why == Why::notRunning) {
      readings_.back().level = Level::critical;
    }
    return;
  }
  switch (check_.kind) {
    case Kind::groupsUp:
      return lookAtGroups(broker);
    case Kind::area:
      return lookAtArea(broker);
    case Kind::silent:
      return lookAtNodes(broker);
    case Kind::exceptions:
      return lookAtExceptions(broker);
    default:
      return lookAtFlows(broker);
  }
}

// Of what nobody knows, the key file tells at least which one it is.
std::string nameOf(const LockView& lock) {
  const Guarded& guarded = lock.guarded;
  if (!guarded.node.empty()) return guarded.node;
  return guarded.what == Guarded::What::unknown ? lock.lock.name : findings::nameOf(guarded);
}

// Whether it may be held for all that is known.
bool isHidden(const LockView& lock) {
  const reader::Presence presence = lock.lock.semaphore.presence;
  return presence == reader::Presence::refused || presence == reader::Presence::failed;
}

bool lacksLocks(const Snapshot& snapshot) {
  return snapshot.machine && (snapshot.machine->locks.error != 0 || snapshot.machine->locks.cut);
}

// One look can't tell every dead process; what it can't tell is unknown.
void Examination::lookAtLocks() {
  double stuck = 0;
  bool unsure = false;
  bool hidden = lacksLocks(input_.now);
  std::string first;
  for (const LockView& lock : input_.locks) {
    hidden = hidden || isHidden(lock);
    if (!lock.held()) continue;
    unsure = unsure || lock.lastUser.fate == Fate::unknown;
    if (!lock.lastUser.gone()) continue;
    if (stuck == 0) first = nameOf(lock);
    ++stuck;
  }
  if (stuck > 0 || !(hidden || unsure)) return add(known(check_, first, stuck));
  add(unknown(check_, {}, hidden ? Why::unreadable : Why::noProcess));
}

Reading Examination::stateOf(const SeenBroker& broker, const reader::ExecutionGroup& group) const {
  const GroupState state = input_.now.machine
                               ? groupState(group.processId, broker.segment, *input_.now.machine)
                               : GroupState::unknown;
  switch (state) {
    case GroupState::up:
      return known(check_, group.label, 0);
    case GroupState::stopped:
      return known(check_, group.label, 1, Why::stopped);
    case GroupState::gone:
    case GroupState::anotherOne:
      return known(check_, group.label, 1);
    default:
      return unknown(check_, group.label, Why::noProcess);
  }
}

void Examination::lookAtGroups(const SeenBroker& broker) {
  for (const auto& group : broker.tree->executionGroups) {
    if (group.deleted) continue;
    add(stateOf(broker, group), {broker.name()});
  }
  if (readings_.empty()) add(unknown(check_, broker.name(), Why::noNode));
}

void Examination::lookAtArea(const SeenBroker& broker) {
  const reader::Area* area = broker.segment.copy.find(reader::kStatistics);
  if (area == nullptr || area->size == 0) {
    return add(unknown(check_, broker.name(), Why::unreadable));
  }
  add(known(check_, broker.name(), 100.0 * area->last / area->size));
}

Reading Examination::silenceOf(const SeenBroker& broker, const reader::Node& node) const {
  if (!node.statistics) return unknown(check_, node.label, Why::unreadable);
  reader::Time last = node.statistics->lastCollection;
  const Why why = last ? Why::none : Why::neverCounted;
  if (!last) last = broker.tree->resetTime;
  if (!last) return unknown(check_, node.label, why);
  const std::int64_t age = std::max<std::int64_t>(0, secondsOf(input_.now) - *last);
  return known(check_, node.label, static_cast<double>(age), why);
}

void Examination::lookAtNodes(const SeenBroker& broker) {
  for (const auto& group : broker.tree->executionGroups) {
    for (const auto& flow : group.messageFlows) {
      for (const auto& node : flow.nodes) {
        if (node.deleted || !matches(check_.node, node.label)) continue;
        add(silenceOf(broker, node), {broker.name(), group.label, flow.label});
      }
    }
  }
}

double Examination::passed() const {
  return input_.before != nullptr ? Seconds(input_.now.steady - input_.before->steady).count() : 0;
}

// Of what time the events in memory are, where older ones were overwritten. An event's own time has
// no parts of a second; a ring that turns within one is measured by the stamps of its records.
std::optional<double> Examination::secondsInMemory(const SeenBroker& broker) const {
  const auto reach = ringReach(broker, secondsOf(input_.now));
  if (!reach) return {};
  const reader::Stamp first = broker.events->events.front().recordId.created();
  const reader::Stamp last = broker.events->events.back().recordId.created();
  const double span = static_cast<std::int32_t>(last.seconds - first.seconds) +
                      (static_cast<double>(last.milliseconds) - first.milliseconds) / 1000;
  constexpr double kLeast = 0.001;
  return reach->count() > 1 ? static_cast<double>(reach->count()) : std::clamp(span, kLeast, 1.0);
}

const SeenBroker* Examination::earlier(const SeenBroker& broker) const {
  if (input_.before == nullptr) return nullptr;
  const auto found = std::ranges::find_if(input_.before->brokers, [&broker](const auto& other) {
    return other->segment.keyFile == broker.segment.keyFile &&
           other->segment.id == broker.segment.id;
  });
  return found == input_.before->brokers.end() ? nullptr : found->get();
}

Growths Examination::growths() const {
  return between(input_.before != nullptr ? *input_.before : Snapshot{}, input_.now);
}

// Since the earlier run, else since the reset.
Reading Examination::queuedOf(const FlowGrowth& flow) const {
  constexpr double kMillisecondsASecond = 1000;
  std::optional<double> worst;
  for (const NodeGrowth& node : flow.nodes) {
    if (!isInput(node) || !node.after->statistics) continue;
    const bool measured = node.change == Change::measured;
    const auto queued =
        measured ? mean(node.growth.queuedMs, node.growth.messages)
                 : mean(node.after->statistics->sumQueued, node.after->statistics->messageCount);
    if (queued) worst = std::max(worst.value_or(0), *queued);
  }
  if (worst) return known(check_, flow.flow, *worst / kMillisecondsASecond);
  return {check_, Level::ok, flow.flow, {}, Why::neverCounted};
}

bool isEventOf(const reader::Event& event, const FlowGrowth& flow) {
  if (!event.origin || event.origin->executionGroup != flow.group ||
      event.origin->messageFlow != flow.flow) {
    return false;
  }
  return std::ranges::any_of(flow.nodes, [&event](const NodeGrowth& node) {
    return isInput(node) && node.node().label == event.origin->node;
  });
}

Reading Examination::failedOf(const SeenBroker& broker, const FlowGrowth& flow) const {
  if (input_.before == nullptr || earlier(broker) == nullptr) {
    if (!input_.keepsState) return unknown(check_, flow.flow, Why::needsState);
    return {check_, Level::ok, flow.flow, {}, Why::firstRun};
  }
  std::int64_t messages = 0;
  for (const NodeGrowth& node : flow.nodes) {
    if (!isInput(node)) continue;
    if (node.change == Change::reset) return {check_, Level::ok, flow.flow, {}, Why::reset};
    if (!node.growth.messages || __builtin_add_overflow(messages, *node.growth.messages, &messages))
      return unknown(check_, flow.flow, Why::unreadable);
  }
  if (!broker.events) return unknown(check_, flow.flow, Why::unreadable);
  const auto ofInputs = [&flow](const reader::Event& event) { return isEventOf(event, flow); };
  if (std::ranges::none_of(broker.events->events, ofInputs)) {
    return unknown(check_, flow.flow, Why::noEvents);
  }
  const NewEvents fresh = newEvents(earlier(broker), broker);
  const auto failed =
      static_cast<double>(std::ranges::count_if(fresh.events, [&](const auto& event) {
        return event.kind() == reader::EventKind::exception && isEventOf(event, flow);
      }));
  if (messages == 0) return {check_, Level::ok, flow.flow, {}, Why::neverCounted};
  const auto share = [messages](double of) {
    return std::min(100.0 * of / static_cast<double>(messages), 100.0);
  };
  if (!fresh.missed) return known(check_, flow.flow, share(failed));
  const auto reach = secondsInMemory(broker);
  if (!reach) return atLeast(check_, flow.flow, share(failed));
  return known(check_, flow.flow, share(failed * std::max(1.0, passed() / *reach)), Why::shortRing);
}

void Examination::lookAtFlows(const SeenBroker& broker) {
  for (const BrokerGrowth& growth : growths().brokers) {
    if (growth.after.get() != &broker) continue;
    for (const FlowGrowth& flow : growth.flows) {
      if (std::ranges::none_of(flow.nodes, isInput)) continue;
      add(check_.kind == Kind::queued ? queuedOf(flow) : failedOf(broker, flow),
          {broker.name(), flow.group});
    }
  }
}

// Those of which a node told that was selected.
std::vector<Exception> Examination::failuresIn(std::span<const reader::Event> events) const {
  std::vector<Exception> found = exceptionsOf(events);
  const auto isSelected = [&](std::size_t event) {
    return selects(input_.selection, events[event]);
  };
  std::erase_if(found, [&](const Exception& one) {
    return !isSelected(one.event) && std::ranges::none_of(one.echoes, isSelected);
  });
  return found;
}

void Examination::lookAtExceptions(const SeenBroker& broker) {
  if (!broker.events) return add(unknown(check_, broker.name(), Why::unreadable));
  const SeenBroker* before = earlier(broker);
  if (before == nullptr || !(passed() > 0)) return lookAtExceptionsOfTheRing(broker);
  const NewEvents fresh = newEvents(before, broker);
  const auto number = static_cast<double>(failuresIn(fresh.events).size());
  if (!fresh.missed) return add(known(check_, broker.name(), number / passed() * check_.period));
  const auto reach = secondsInMemory(broker);
  if (!reach) return add(atLeast(check_, broker.name(), number / passed() * check_.period));
  add(known(check_, broker.name(), number / std::min(*reach, passed()) * check_.period,
            Why::shortRing));
}

// What is in memory is of the period, or of less time: then the same goes for the rest of it.
void Examination::lookAtExceptionsOfTheRing(const SeenBroker& broker) {
  const std::vector<Exception> all = failuresIn(broker.events->events);
  const auto since = static_cast<double>(secondsOf(input_.now)) - check_.period;
  const auto number = std::ranges::count_if(all, [&](const Exception& exception) {
    const reader::Time& time = broker.events->events[exception.event].time;
    return time && static_cast<double>(*time) >= since;
  });
  const auto counted = static_cast<double>(number);
  const auto reach = secondsInMemory(broker);
  if (!reach || *reach >= check_.period) return add(known(check_, broker.name(), counted));
  add(known(check_, broker.name(), counted / *reach * check_.period, Why::shortRing));
}

int severity(Level level) {
  constexpr std::array order{0, 2, 3, 1};
  return order[static_cast<std::size_t>(level)];
}

}  // namespace

Level worse(Level one, Level other) {
  return severity(one) >= severity(other) ? one : other;
}

std::vector<Reading> readingsOf(const std::vector<Check>& checks, const CheckInput& input) {
  Readings all;
  for (const Check& check : checks) {
    Readings some = Examination(check, input).run();
    if (some.empty()) some.push_back(unknown(check, check.node, Why::noNode));
    std::ranges::move(some, std::back_inserter(all));
  }
  return all;
}

}  // namespace model
