// SPDX-License-Identifier: Apache-2.0
#include "tests/reference/sequence.h"

namespace reference {
namespace {

constexpr std::int64_t kBegin = 1767322800000;  // 2026-01-02 03:00:00 UTC
constexpr std::size_t kMostInstances = 8;
constexpr std::int64_t kLargestCount = 2147483647;

}  // namespace

Sequence::Sequence(std::uint64_t seed, const Setting& setting)
    : random_(seed), processes_(setting.processes), strange_(setting.strange) {
  areaSize_ = any(setting.areaSizes);
  const auto names = [&](const std::string& stem, std::size_t most, int longest) {
    std::vector<std::string> drawn;
    for (std::size_t i = 1 + below(most); i > 0; --i) {
      drawn.push_back(stem + std::to_string(i));
      drawn.back().append(below(static_cast<std::size_t>(longest)), 'x');
    }
    return drawn;
  };
  brokers_ = names("BRK", 2, 1);
  groups_ = names("G", 2, setting.longestLabel);
  flows_ = names("F", 2, setting.longestLabel);
  labels_ = names("N", 4, setting.longestLabel);
  left_ = 20 + below(25);
}

std::size_t Sequence::below(std::size_t n) {
  return random_() % n;
}

std::optional<Operation> Sequence::next(const Model& model) {
  if (left_ == 0 && model.instances().empty()) return std::nullopt;
  const std::int64_t now = model.now() == 0 ? kBegin : drawTime(model.now());
  Operation operation = draw(model);
  operation.now = now;
  for (Operation& other : operation.meanwhile) other.now = now + static_cast<int>(below(3000));
  return operation;
}

// Now and then the clock goes back.
std::int64_t Sequence::drawTime(std::int64_t now) {
  return in100(3) ? now - static_cast<int>(below(5000)) : now + static_cast<int>(below(5000));
}

Operation Sequence::draw(const Model& model) {
  if (!due_.empty()) {
    const Due due = due_.back();
    due_.pop_back();
    if (due.kind == Kind::deploy) return deploy(model, due.instance);
    return send(model, due.instance);
  }
  if (left_ == 0) return end(model, any(model.instances()).first);
  --left_;
  if (in100(10))
    if (const auto operation = raiseCount(model)) return *operation;
  return otherwise(model, -1);
}

// Any operation that leaves the instance `busy` alone. The last instances are seldom deleted, since
// the area goes with them.
Operation Sequence::otherwise(const Model& model, int busy) {
  const std::size_t drawn = below(100);
  const int waiting = anyInstance(model, false, busy);
  const int deployed = anyInstance(model, true, busy);
  if (drawn < 15 && waiting >= 0) return deploy(model, waiting, busy);
  if (drawn < 30 && deployed >= 0) return send(model, deployed);
  if (drawn < 55 && (model.instances().size() > 3 || in100(5)))
    if (const int gone = in100(90) ? deployed : waiting; gone >= 0) return end(model, gone);
  if (drawn < 70)
    if (const auto operation = disturb(model)) return *operation;
  if (model.instances().size() < kMostInstances) return create();
  return deployed >= 0 ? send(model, deployed) : end(model, waiting);
}

Operation Sequence::create() {
  Operation operation;
  operation.kind = Kind::create;
  operation.instance = instances_++;
  operation.process = static_cast<int>(below(static_cast<std::size_t>(processes_)));
  operation.broker = in100(85) ? brokers_.front() : brokers_.back();
  operation.group = any(groups_);
  operation.flow = any(flows_);
  if (in100(60)) due_.push_back({Kind::deploy, operation.instance});
  return operation;
}

Operation Sequence::of(Kind kind, const Model& model, int instance) const {
  Operation operation;
  operation.kind = kind;
  operation.instance = instance;
  operation.process = model.instances().at(instance).process;
  operation.broker = model.instances().at(instance).brokerLabel;
  return operation;
}

// A deployment is interrupted now and then, by another one if an instance waits for it; but not one
// that interrupts another.
Operation Sequence::deploy(const Model& model, int instance, int busy) {
  Operation operation = of(Kind::deploy, model, instance);
  operation.plan = drawPlan();
  if (busy >= 0 || operation.plan.activateNode != "yes" || !in100(30)) return operation;
  const int waiting = anyInstance(model, false, instance);
  operation.meanwhile.push_back(waiting >= 0 && in100(60) ? deploy(model, waiting, instance)
                                                          : otherwise(model, instance));
  return operation;
}

NodePlan Sequence::drawPlan() {
  const std::vector<std::string> types{"input", "input",        "output",
                                       "other", "subFlowInput", "subFlowOutput"};
  const std::vector<std::string> subFlows{"", "A", "B", "AB", "CD", "ABC"};
  const std::vector<std::string> modes{"no", "eventOnly", "inputOutputOnly",
                                       "inputOutputAndEventOnly"};
  NodePlan plan;
  plan.label = any(labels_);
  plan.type = any(types);
  plan.subFlowName = any(subFlows);
  plan.activateNode = in100(85) ? "yes" : any(modes);
  plan.eventMessage = in100(5) ? "seen" : "";
  plan.collectQueueTime = in100(80) ? "yes" : "no";
  return plan;
}

Operation Sequence::send(const Model& model, int instance) {
  Operation operation = of(Kind::send, model, instance);
  operation.size = static_cast<std::int32_t>(below(100000));
  if (in100(3)) operation.size = in100(50) ? 2147483647 : -static_cast<int>(below(100000));
  operation.takes = static_cast<std::int64_t>(below(in100(3) ? 5000000000 : 500));
  if (in100(2)) operation.takes = -static_cast<std::int64_t>(below(2000));
  const auto ago = static_cast<std::int64_t>(below(in100(3) ? 5000000000 : 20000));
  operation.put = (model.now() - (in100(3) ? -ago : ago)) / 10 * 10;
  return operation;
}

Operation Sequence::end(const Model& model, int instance) {
  return of(Kind::end, model, instance);
}

// Brings a record to its maximum, or to one below, and has its instance send a message next, or
// two.
std::optional<Operation> Sequence::raiseCount(const Model& model) {
  const int instance = anyInstance(model, true);
  if (instance < 0) return std::nullopt;
  const Node* const node = model.instances().at(instance).node;
  if (node == nullptr || !node->statistics.place) return std::nullopt;
  Operation operation = of(Kind::count, model, instance);
  operation.record = *node->statistics.place;
  operation.value = kLargestCount - static_cast<std::int64_t>(below(2));
  for (std::int64_t left = operation.value; left <= kLargestCount; ++left)
    due_.push_back({Kind::send, instance});
  return operation;
}

std::optional<Operation> Sequence::disturb(const Model& model) {
  if (model.areas().empty()) return std::nullopt;
  const auto& [broker, area] = any(model.areas());
  if (area.records.empty()) return std::nullopt;
  Operation operation;
  operation.broker = broker;
  operation.record = below(area.records.size());
  disturbRecord(operation, area);
  return operation;
}

void Sequence::disturbRecord(Operation& operation, const Area& area) {
  const std::uint32_t type = area.records[operation.record].type();
  const bool isNode = type == support::kNode;
  const bool isNamed = isNode || type == support::kGroup || type == support::kFlow;
  if (isNamed && in100(strange_)) {
    operation.kind = Kind::label;
    operation.value = static_cast<std::int64_t>('1' + below(4));
  } else if (in100(strange_)) {
    operation.kind = Kind::sameId;
    operation.value = static_cast<int>(any(recordsOfType(area, type)));
  } else if (in100(8)) {
    operation.kind = Kind::twin;
  } else if (in100(8)) {
    operation.kind = Kind::parent;
    const std::vector<std::size_t> parents = recordsOfType(area, type - 1);
    if (!parents.empty() && in100(70)) operation.value = static_cast<int>(any(parents));
  } else if (type == support::kBroker && in100(30)) {
    operation.kind = Kind::renamed;
  } else if (type == support::kStatistics) {
    operation.kind = Kind::count;
    operation.value = static_cast<std::int64_t>(below(1000000));
  } else if (type == support::kFlow || in100(isNode ? 80 : 20)) {
    operation.kind = Kind::deleted;
    operation.value = area.records[operation.record].deleted == 0 ? 1 : 0;
  } else {
    operation.kind = Kind::number;
    operation.value = static_cast<std::int64_t>(isNode ? 1 + below(5) : below(100000));
  }
}

std::vector<std::size_t> Sequence::recordsOfType(const Area& area, std::uint32_t type) const {
  std::vector<std::size_t> found;
  for (std::size_t i = 0; i < area.records.size(); ++i)
    if (area.records[i].type() == type) found.push_back(i);
  return found;
}

int Sequence::anyInstance(const Model& model, bool deployed, int busy) {
  std::vector<int> found;
  for (const auto& [number, instance] : model.instances())
    if (number != busy && instance.plan.has_value() == deployed) found.push_back(number);
  return found.empty() ? -1 : any(found);
}

}  // namespace reference
