// SPDX-License-Identifier: Apache-2.0
#include "agent/model/diff.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <map>
#include <set>

#include "agent/model/condition.h"
#include "agent/model/findings/kinds.h"
#include "agent/model/lock_view.h"
#include "agent/model/pattern.h"
#include "agent/model/settings.h"

namespace model {
namespace {

using findings::counted;
using How = Difference::How;
using DifferenceKind = Difference::Kind;
using reader::State;

constexpr double kDrift = 2;  // seconds that the kernel's accounts of one moment may differ

// The kernel's own account of when it started; nothing when a look doesn't have it.
std::optional<double> bootOf(const Snapshot& snapshot) {
  if (!snapshot.machine || !snapshot.machine->clocks.bootTime) return {};
  return static_cast<double>(*snapshot.machine->clocks.bootTime);
}

double wallOf(const Snapshot& snapshot) {
  return Seconds(snapshot.wall.time_since_epoch()).count();
}

// By how much the wall clock went on while the other one, which nobody sets, did not.
double setBetween(const Snapshot& before, const Snapshot& after) {
  const double wall = wallOf(after) - wallOf(before);
  if (before.machine && after.machine) {
    const auto& from = before.machine->clocks;
    const auto& to = after.machine->clocks;
    return wall - Seconds(to.sinceBoot).count() + Seconds(from.sinceBoot).count();
  }
  return wall - steadyBetween(before, after).count();
}

bool startedBetween(const Snapshot& before, const Snapshot& after) {
  const auto first = bootOf(before);
  const auto second = bootOf(after);
  if (!first || !second) return std::abs(setBetween(before, after)) > kDrift;
  if (std::abs(*first - *second) <= kDrift) return false;
  return *second >= wallOf(before) || *first >= wallOf(after);
}

}  // namespace

// Nobody but a machine that started later than a look was taken makes it one of another run. When
// its clock was set, the start moves too, but not behind what was seen.
Apart apart(const Snapshot& before, const Snapshot& after, bool sameHost) {
  using Of = Apart::Kind;
  const Seconds byWall(wallOf(after) - wallOf(before));
  if (!sameHost) return {.kind = Of::otherMachine, .time = byWall};
  if (before.wall == after.wall && before.steady == after.steady) return {.kind = Of::sameLook};
  if (startedBetween(before, after)) return {.kind = Of::startedAgain, .time = byWall};
  const double set = setBetween(before, after);
  return {.kind = Of::sameRun,
          .time = steadyBetween(before, after),
          .clockSet = Seconds(std::abs(set) > kDrift ? set : 0)};
}

namespace {

// One level of the tree: what it holds by name, without what is deleted.
template <class Resource>
using ByName = std::map<std::string, const Resource*>;

template <class Resource>
ByName<Resource> present(const std::vector<Resource>& all) {
  ByName<Resource> found;
  for (const Resource& one : all) {
    if (!one.deleted) found.emplace(one.label, &one);
  }
  return found;
}

std::size_t nodesIn(const reader::MessageFlow& flow) {
  return present(flow.nodes).size();
}

std::string contentsOf(const reader::Node&) {
  return {};
}

std::string contentsOf(const reader::MessageFlow& flow) {
  return counted(nodesIn(flow), "node", "nodes");
}

std::string contentsOf(const reader::ExecutionGroup& group) {
  const auto flows = present(group.messageFlows);
  std::size_t nodes = 0;
  for (const auto& [label, flow] : flows) nodes += nodesIn(*flow);
  return counted(flows.size(), "flow", "flows") + ", " + counted(nodes, "node", "nodes");
}

std::string contentsOf(const SeenBroker& broker) {
  if (!broker.tree) return nameOf(conditionOf(broker, nullptr));
  return counted(present(broker.tree->executionGroups).size(), "group", "groups");
}

DifferenceKind kindOf(const reader::ExecutionGroup&) {
  return DifferenceKind::group;
}
DifferenceKind kindOf(const reader::MessageFlow&) {
  return DifferenceKind::flow;
}
DifferenceKind kindOf(const reader::Node&) {
  return DifferenceKind::node;
}

class Comparison {
 public:
  Comparison(const Snapshot& before, const Snapshot& after, Apart::Kind apart,
             const Selection& selection)
      : before_(before),
        after_(after),
        selectedBefore_(select(before, selection)),
        selectedAfter_(select(after, selection)),
        sameMachine_(apart != Apart::Kind::otherMachine),
        selection_(selection) {}

  Differences run() {
    if (before_.machine && after_.machine) {
      if (!selection_.narrows()) addOfWholeBrokers();
      addProcesses();
    } else {
      differences_.notCompared.push_back(
          "locks, processes, settings and findings: a look lacks what the machine said");
    }
    const Growths growths = between(distinct(selectedBefore_), distinct(selectedAfter_));
    for (const BrokerGrowth& broker : growths.brokers) compare(broker);
    std::ranges::stable_sort(differences_.list, {}, &Difference::kind);
    return std::move(differences_);
  }

 private:
  void add(DifferenceKind kind, How how, std::string name, std::string before, std::string after) {
    differences_.list.push_back(
        {kind, how, std::move(name), std::move(before), std::move(after), {}});
  }

  void addOfWholeBrokers() {
    addFindings();
    addLocks();
    addSettings();
  }

  // What two maps of texts have by the same key.
  void compare(DifferenceKind kind, const std::map<std::string, std::string>& before,
               const std::map<std::string, std::string>& after) {
    for (const auto& [name, text] : before) {
      const auto found = after.find(name);
      if (found == after.end()) {
        add(kind, How::went, name, text, "");
      } else if (found->second != text) {
        add(kind, How::changed, name, text, found->second);
      }
    }
    for (const auto& [name, text] : after) {
      if (!before.contains(name)) add(kind, How::came, name, "", text);
    }
  }

  void addFindings();
  void addLocks();
  void addSettings();
  void addProcesses();
  void compare(const BrokerGrowth& growth);
  void compareTrees(const std::string& path, const reader::Broker& before,
                    const reader::Broker& after);
  template <class Resource, class Inside>
  void compareLevel(const std::string& path, const std::vector<Resource>& before,
                    const std::vector<Resource>& after, const Inside& inside);
  void addResets(const BrokerGrowth& growth);
  void compareProcess(const std::string& path, const reader::ExecutionGroup& before,
                      const reader::ExecutionGroup& after);

  const Snapshot& before_;
  const Snapshot& after_;
  const Snapshot selectedBefore_;
  const Snapshot selectedAfter_;
  const bool sameMachine_;
  const Selection& selection_;
  Differences differences_;
};

// Their evidence has ages in it, which differ at each look.
void Comparison::addFindings() {
  const auto byKey = [this](const Snapshot& whole, const Snapshot& selected) {
    std::map<std::string, std::string> texts;
    for (const Finding& finding : select(findingsOf(nullptr, whole), selected, selection_).found) {
      const bool critical = finding.severity == Severity::critical;
      texts[finding.key()] = (critical ? "critical: " : "warning: ") + finding.object;
    }
    return texts;
  };
  compare(DifferenceKind::finding, byKey(before_, selectedBefore_), byKey(after_, selectedAfter_));
}

void Comparison::addLocks() {
  const auto held = [this](const Snapshot& whole, const Snapshot& selected) {
    std::map<std::string, std::string> texts;
    for (const LockView& lock : locksOf(whole, selected, selection_.broker.empty())) {
      if (!lock.held()) continue;
      const bool known = lock.guarded.broker != nullptr;
      texts[known ? findings::nameOf(lock.guarded) : lock.lock.file.path] =
          fmt::format("held by process {}{}", lock.lock.semaphore.lastProcess,
                      lock.lastUser.gone() ? ", which has ended" : "");
    }
    return texts;
  };
  compare(DifferenceKind::lock, held(before_, selectedBefore_), held(after_, selectedAfter_));
}

// For the brokers of both looks, so that one that came is no change of a setting.
void Comparison::addSettings() {
  std::vector<std::string> labels = labelsOf(selectedBefore_);
  for (const std::string& label : labelsOf(selectedAfter_)) {
    if (std::ranges::find(labels, label) == labels.end()) labels.push_back(label);
  }
  const auto inForce = [&labels](const reader::Configuration& file) {
    std::map<std::string, std::string> texts = {{"file", file.exists ? file.path : "none"}};
    for (const Setting& setting : settingsOf(file, labels).settings) {
      texts[setting.key] = setting.effective + (setting.isDefault ? " (default)" : "");
    }
    return texts;
  };
  compare(DifferenceKind::setting, inForce(before_.machine->configuration),
          inForce(after_.machine->configuration));
}

std::set<std::int32_t> processesOfGroups(const Snapshot& snapshot) {
  std::set<std::int32_t> processes;
  for (const auto& broker : snapshot.brokers) {
    if (!broker->tree) continue;
    for (const auto& group : broker->tree->executionGroups) processes.insert(group.processId);
  }
  return processes;
}

const char* stateOf(const reader::Process& process) {
  const Fate fate = fateOf(process).fate;
  if (fate == Fate::dead) return " has ended";
  if (fate != Fate::alive) return "";
  return process.stopped.value_or(false) ? " is stopped" : " runs";
}

// Those of groups are told with their groups.
void Comparison::addProcesses() {
  if (!sameMachine_ || selection_.narrows() || !selection_.broker.empty()) return;
  std::set<std::int32_t> told = processesOfGroups(before_);
  told.merge(processesOfGroups(after_));
  for (const auto& [id, before] : before_.machine->processes) {
    const reader::Process* const after = after_.machine->find(id);
    if (after == nullptr || told.contains(id)) continue;
    const std::string was = stateOf(before);
    const std::string is = stateOf(*after);
    if (was != is && !was.empty() && !is.empty())
      add(DifferenceKind::process, How::changed, fmt::format("process {}", id), was.substr(1),
          is.substr(1));
  }
}

// What the machine doesn't tell in one of the looks is no change.
void Comparison::compareProcess(const std::string& path, const reader::ExecutionGroup& before,
                                const reader::ExecutionGroup& after) {
  if (!sameMachine_) return;
  const auto state = [](const Snapshot& look, std::int32_t id) -> std::string {
    const reader::Process* const process = look.machine ? look.machine->find(id) : nullptr;
    return process != nullptr ? stateOf(*process) : "";
  };
  const std::string was = state(before_, before.processId);
  const std::string is = state(after_, after.processId);
  const bool sameId = before.processId == after.processId;
  if (sameId && (was == is || was.empty() || is.empty())) return;
  add(DifferenceKind::process, How::changed, path,
      fmt::format("process {}{}", before.processId, was),
      fmt::format("process {}{}", after.processId, is));
}

template <class Resource, class Inside>
void Comparison::compareLevel(const std::string& path, const std::vector<Resource>& before,
                              const std::vector<Resource>& after, const Inside& inside) {
  const ByName<Resource> was = present(before);
  const ByName<Resource> is = present(after);
  for (const auto& [label, resource] : was) {
    const std::string name = path + "/" + label;
    const auto found = is.find(label);
    if (found == is.end()) {
      add(kindOf(*resource), How::went, name, contentsOf(*resource), "");
    } else {
      inside(name, *resource, *found->second);
    }
  }
  for (const auto& [label, resource] : is) {
    if (!was.contains(label))
      add(kindOf(*resource), How::came, path + "/" + label, "", contentsOf(*resource));
  }
}

void Comparison::compareTrees(const std::string& path, const reader::Broker& before,
                              const reader::Broker& after) {
  const auto nodes = [](const std::string&, const reader::Node&, const reader::Node&) {};
  const auto flows = [&](const std::string& name, const auto& was, const auto& is) {
    compareLevel(name, was.nodes, is.nodes, nodes);
  };
  const auto groups = [&](const std::string& name, const auto& was, const auto& is) {
    compareProcess(name, was, is);
    compareLevel(name, was.messageFlows, is.messageFlows, flows);
  };
  compareLevel(path, before.executionGroups, after.executionGroups, groups);
}

std::string segmentText(const SeenBroker& broker) {
  return fmt::format("shared memory {} of {} bytes", broker.segment.id, broker.segment.size);
}

// All nodes of a broker at once, else one by one.
void Comparison::addResets(const BrokerGrowth& growth) {
  const std::string path = growth.after->name();
  if (growth.reset) {
    const bool other = growth.before->segment.id != growth.after->segment.id;
    add(DifferenceKind::broker, How::reset, path, other ? segmentText(*growth.before) : "",
        other ? segmentText(*growth.after) : "");
    if (growth.after->tree) differences_.list.back().resetTime = growth.after->tree->resetTime;
    return;
  }
  for (const FlowGrowth& flow : growth.flows) {
    for (const NodeGrowth& node : flow.nodes) {
      if (node.change != Change::reset) continue;
      add(DifferenceKind::node, How::reset,
          path + "/" + flow.group + "/" + flow.flow + "/" + node.node().label, "", "");
    }
  }
}

void Comparison::compare(const BrokerGrowth& growth) {
  const std::string path = growth.broker().name();
  if (!growth.before)
    return add(DifferenceKind::broker, How::came, path, "", contentsOf(*growth.after));
  if (!growth.after)
    return add(DifferenceKind::broker, How::went, path, contentsOf(*growth.before), "");
  const std::string was = nameOf(conditionOf(*growth.before, before_.machine.get()));
  const std::string is = nameOf(conditionOf(*growth.after, after_.machine.get()));
  if (was != is) add(DifferenceKind::broker, How::changed, path, was, is);
  if (!growth.before->isComplete() || !growth.after->isComplete()) {
    differences_.notCompared.push_back("what broker " + path +
                                       " holds: a look could not read all of it");
  } else if (growth.before->tree && growth.after->tree) {
    if (sameMachine_) addResets(growth);
    compareTrees(path, *growth.before->tree, *growth.after->tree);
  }
}

bool grew(const NodeGrowth& node) {
  if (node.change == Change::notCollected) return false;
  if (node.change != Change::measured) return true;
  const Growth& growth = node.growth;
  return growth.messages.value_or(0) != 0 || growth.bytes.value_or(0) != 0 ||
         growth.elapsedMs.value_or(0) != 0 || growth.queuedMs.value_or(0) != 0;
}

}  // namespace

Differences differencesOf(const Snapshot& before, const Snapshot& after, Apart::Kind apart,
                          const Selection& selection) {
  return Comparison(before, after, apart, selection).run();
}

bool anythingMeasured(const Growths& growths, const Selection& selection) {
  for (const BrokerGrowth& broker : growths.brokers) {
    for (const FlowGrowth& flow : broker.flows) {
      if (!matches(selection.group, flow.group) || !matches(selection.flow, flow.flow)) continue;
      for (const NodeGrowth& node : flow.nodes) {
        if (matches(selection.node, node.node().label) && grew(node)) return true;
      }
    }
  }
  return false;
}

}  // namespace model
