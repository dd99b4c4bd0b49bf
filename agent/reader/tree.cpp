// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/tree.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace reader {
namespace {

namespace stir = layout::stir;

// The records of one statistics area, joined by parent ID.
class Family {
 public:
  // The area must live as long.
  Family(const Area& area, std::vector<Record> records)
      : area_(area),
        records_(std::move(records)),
        members_(records_.size()),
        shift_(64 - static_cast<int>(std::bit_width(2 * records_.size() + 1))),
        table_(std::size_t{1} << (64 - shift_), kNone) {
    for (std::uint32_t i = 0; i < records_.size(); ++i) {
      std::uint32_t& first = placeOf(records_[i].id());
      if (first == kNone) first = i;
      members_[i].first = first;
    }
    // Each child goes in front of its parent's others: from the last to the first.
    for (auto i = static_cast<std::uint32_t>(records_.size()); i-- > 0;) {
      const std::uint32_t parent = placeOf(records_[i].parent());
      members_[i].hasParent = parent != kNone;
      if (parent != kNone) members_[i].nextSibling = std::exchange(members_[parent].child, i);
    }
  }

  const std::vector<Record>& records() const { return records_; }

  const Record* first(std::uint32_t type) const {
    const auto found = std::ranges::find(records_, type, &Record::type);
    return found == records_.end() ? nullptr : &*found;
  }

  // The children of this type, in stored order.
  std::vector<const Record*> children(std::uint32_t type, const Record& parent) const {
    std::vector<const Record*> children;
    if (tangled()) return children;
    for (std::uint32_t i = members_[memberOf(parent).first].child; i != kNone;
         i = members_[i].nextSibling) {
      if (records_[i].type() == type) children.push_back(&records_[i]);
    }
    handedOut_ += children.size();
    return children;
  }

  // The first of these, or null.
  const Record* firstChild(std::uint32_t type, const Record& parent) const {
    if (tangled()) return nullptr;
    for (std::uint32_t i = members_[memberOf(parent).first].child; i != kNone;
         i = members_[i].nextSibling) {
      ++handedOut_;
      if (records_[i].type() == type) return &records_[i];
    }
    return nullptr;
  }

  // Records of one ID all have the children of that ID, so damaged ones can multiply without an
  // end. True when more children were asked for than a tree has; there are no more then.
  bool tangled() const { return handedOut_ > kMostOfAll + kMostOfEach * records_.size(); }

  bool holdsParentOf(const Record& record) const { return memberOf(record).hasParent; }

  bool isTorn(const Record& record) const {
    return std::ranges::binary_search(area_.torn, record.offset());
  }

  // The parent of a record may be among those that were not copied.
  bool isWhole() const { return area_.uncopied() == 0; }

  bool repeats(const Record& record) const { return &records_[memberOf(record).first] != &record; }

 private:
  static constexpr std::size_t kMostOfEach = 16;
  static constexpr std::size_t kMostOfAll = 10000;
  static constexpr std::uint32_t kNone = ~0U;

  // What is known of the record at the same index, all of it as indexes.
  struct Member {
    std::uint32_t first = kNone;  // of its ID
    std::uint32_t child = kNone;  // its first, if it is the first of its ID
    std::uint32_t nextSibling = kNone;
    bool hasParent = false;
  };

  const Member& memberOf(const Record& record) const {
    return members_[static_cast<std::size_t>(&record - records_.data())];
  }

  // Where the table has, or would have, the first record of this ID. Half of it is free.
  std::uint32_t& placeOf(const RecordId& id) {
    std::size_t at = id.hash() >> shift_;
    while (table_[at] != kNone && records_[table_[at]].id() != id) at = (at + 1) % table_.size();
    return table_[at];
  }

  const Area& area_;
  std::vector<Record> records_;
  std::vector<Member> members_;
  int shift_;
  std::vector<std::uint32_t> table_;
  mutable std::size_t handedOut_ = 0;
};

Number number(const Record& record, const layout::Field& field, DamageList& damage) {
  const Number value = record.decimal(field);
  if (!value) {
    damage.add(kStatistics, record.offset() + field.offset,
               std::string(field.name) + " is not a decimal number");
  }
  return value;
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
          .lastCollection = record.calendar(stir::lastCollection),
          .torn = false};
}

Node nodeOf(const Record& record, const Family& family, DamageList& damage) {
  Node node{.label = record.text(layout::reir::label),
            .type = record.unsigned32(layout::noir::nodeType),
            .subFlowName = record.text(layout::noir::subFlowName),
            .deleted = record.deleted(),
            .recordId = record.id(),
            .statistics = std::nullopt};
  if (const Record* const statistics = family.firstChild(ZEB_STIR_RECORD, record)) {
    node.statistics = statisticsOf(*statistics, damage);
    node.statistics->torn = family.isTorn(*statistics);
  }
  return node;
}

MessageFlow flowOf(const Record& record, const Family& family, DamageList& damage) {
  MessageFlow flow{.label = record.text(layout::reir::label),
                   .deleted = record.deleted(),
                   .recordId = record.id(),
                   .nodes = {}};
  const auto nodes = family.children(ZEB_NOIR_RECORD, record);
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
  for (const Record* child : family.children(ZEB_MFIR_RECORD, record)) {
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
  for (const Record* child : family.children(ZEB_EGIR_RECORD, record)) {
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
    if (record.parent().type() != record.type() - 1 ||
        (!family.holdsParentOf(record) && family.isWhole())) {
      damage.add(kStatistics, record.offset(),
                 "a record of type " + std::to_string(record.type()) + " has no parent", true);
    }
  }
}

}  // namespace

std::optional<Broker> readTree(const SegmentCopy& copy, DamageList& damage) {
  const Area* area = copy.find(kStatistics);
  if (area == nullptr) return std::nullopt;
  const Family family(*area, walk(*area, damage));
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
