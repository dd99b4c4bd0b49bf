#include "agent/reader/tree.h"

#include <algorithm>
#include <iterator>
#include <unordered_map>

namespace reader {
namespace {

namespace stir = layout::stir;

// The records of one statistics area, found by type and parent.
class Family {
 public:
  explicit Family(std::vector<Record> records) : records_(std::move(records)) {
    children_.reserve(records_.size());
    first_.reserve(records_.size());
    for (const Record& record : records_) {
      children_[record.parent()].push_back(&record);
      first_.emplace(record.id(), &record);
    }
  }

  const std::vector<Record>& records() const { return records_; }

  const Record* first(std::uint32_t type) const {
    const auto ofType = [type](const Record& record) { return record.type() == type; };
    const auto found = std::find_if(records_.begin(), records_.end(), ofType);
    return found == records_.end() ? nullptr : &*found;
  }

  std::vector<const Record*> children(std::uint32_t type, const RecordId& parent) const {
    const auto found = children_.find(parent);
    if (found == children_.end() || tangled()) return {};
    std::vector<const Record*> children = found->second;
    std::erase_if(children, [type](const Record* child) { return child->type() != type; });
    handedOut_ += children.size();
    return children;
  }

  // Records of one ID all have the children of that ID, so damaged ones can multiply without an
  // end. True when more children were asked for than a tree has; there are no more then.
  bool tangled() const { return handedOut_ > kMostOfAll + kMostOfEach * records_.size(); }

  bool holds(const RecordId& id) const { return first_.contains(id); }

  bool repeats(const Record& record) const { return first_.at(record.id()) != &record; }

 private:
  static constexpr std::size_t kMostOfEach = 16;
  static constexpr std::size_t kMostOfAll = 10000;

  std::vector<Record> records_;
  std::unordered_map<RecordId, std::vector<const Record*>, RecordIdHash> children_;
  std::unordered_map<RecordId, const Record*, RecordIdHash> first_;
  mutable std::size_t handedOut_ = 0;
};

// A stored 64-bit number; 0 when its text is damaged.
std::int64_t number(const Record& record, const layout::Field& field, DamageList& damage) {
  if (const auto value = record.decimal(field)) return *value;
  damage.add(kStatistics, record.offset() + field.offset,
             std::string(field.name) + " is not a decimal number");
  return 0;
}

Statistics statisticsOf(const Record& record, DamageList& damage) {
  return {.recordId = record.id(),
          .messageCount = number(record, stir::messageCount, damage),
          .sumSize = number(record, stir::sumSize, damage),
          .maxSize = record.signed32(stir::maxSize),
          .minSize = record.signed32(stir::minSize),
          .sumElapsed = number(record, stir::sumElapsed, damage),
          .maxElapsed = record.signed32(stir::maxElapsed),
          .minElapsed = record.signed32(stir::minElapsed),
          .sumQueued = number(record, stir::sumQueued, damage),
          .maxQueued = record.signed32(stir::maxQueued),
          .minQueued = record.signed32(stir::minQueued),
          .firstCollection = record.calendar(stir::firstCollection),
          .lastCollection = record.calendar(stir::lastCollection)};
}

Node nodeOf(const Record& record, const Family& family, DamageList& damage) {
  Node node{.label = record.text(layout::reir::label),
            .type = record.unsigned32(layout::noir::nodeType),
            .subFlowName = record.text(layout::noir::subFlowName),
            .deleted = record.deleted(),
            .recordId = record.id(),
            .statistics = std::nullopt};
  const auto statistics = family.children(ZEB_STIR_RECORD, node.recordId);
  if (!statistics.empty()) node.statistics = statisticsOf(*statistics.front(), damage);
  return node;
}

MessageFlow flowOf(const Record& record, const Family& family, DamageList& damage) {
  MessageFlow flow{.label = record.text(layout::reir::label),
                   .deleted = record.deleted(),
                   .recordId = record.id(),
                   .nodes = {}};
  const auto nodes = family.children(ZEB_NOIR_RECORD, flow.recordId);
  flow.nodes.reserve(nodes.size());
  for (const Record* child : nodes) flow.nodes.push_back(nodeOf(*child, family, damage));
  return flow;
}

ExecutionGroup groupOf(const Record& record, const Family& family, DamageList& damage) {
  ExecutionGroup group{.label = record.text(layout::reir::label),
                       .uuid = record.text(layout::reir::uuid),
                       .processId = record.signed32(layout::egir::processId),
                       .deleted = record.deleted(),
                       .recordId = record.id(),
                       .messageFlows = {}};
  for (const Record* child : family.children(ZEB_MFIR_RECORD, group.recordId)) {
    group.messageFlows.push_back(flowOf(*child, family, damage));
  }
  return group;
}

Broker brokerOf(const Record& record, const Family& family, DamageList& damage) {
  Broker broker{.label = record.text(layout::reir::label),
                .uuid = record.text(layout::reir::uuid),
                .resetTime = record.calendar(layout::brir::resetTime),
                .recordId = record.id(),
                .executionGroups = {}};
  for (const Record* child : family.children(ZEB_EGIR_RECORD, broker.recordId)) {
    broker.executionGroups.push_back(groupOf(*child, family, damage));
  }
  return broker;
}

// Records that hang on nothing, or whose ID is not theirs. A node that a redeployment replaced
// keeps its deleted record without a parent: that is no damage.
void reportUnreachable(const Family& family, DamageList& damage) {
  for (const Record& record : family.records()) {
    if (record.type() == ZEB_BRIR_RECORD) continue;
    if (record.type() < ZEB_BRIR_RECORD || record.type() > ZEB_STIR_RECORD) {
      damage.add(kStatistics, record.offset(),
                 "a record of type " + std::to_string(record.type()) + " does not belong here");
      continue;
    }
    if (family.repeats(record)) {
      damage.add(
          kStatistics, record.offset(),
          "a record of type " + std::to_string(record.type()) + " has the ID of an earlier one");
    }
    if (record.parent().isZero() && record.deleted()) continue;
    if (record.parent().type() != record.type() - 1 || !family.holds(record.parent())) {
      damage.add(kStatistics, record.offset(),
                 "a record of type " + std::to_string(record.type()) + " has no parent");
    }
  }
}

}  // namespace

const char* nodeTypeName(std::uint32_t type) {
  constexpr const char* names[] = {"unknown", "input",        "output",
                                   "other",   "subFlowInput", "subFlowOutput"};
  return names[type < std::size(names) ? type : 0];
}

std::optional<Broker> readTree(const SegmentCopy& copy, DamageList& damage) {
  const Area* area = copy.find(kStatistics);
  if (area == nullptr) return std::nullopt;
  const Family family(walk(*area, damage));
  const Record* broker = family.first(ZEB_BRIR_RECORD);
  reportUnreachable(family, damage);
  if (broker == nullptr) return std::nullopt;
  Broker tree = brokerOf(*broker, family, damage);
  if (family.tangled()) {
    damage.add(kStatistics, layout::block::bytes,
               "so many records share an ID that not all they seem to have is shown");
  }
  return tree;
}

}  // namespace reader
