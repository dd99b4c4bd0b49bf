// SPDX-License-Identifier: Apache-2.0
#include "resources/broker_tree.h"

#include <new>

namespace {

void insertRecord(ZEB_Record_Set* records, const ZEB_Stored_Image& image) {
  std::unique_ptr<ZEB_Record> record = image.record();
  if (!record || !records->insert(record.get())) throw std::bad_alloc();
  record.release();  // NOLINT(bugprone-unused-return-value): the set has it
}

template <class Set>
auto* firstOf(const Set& set) {
  return set.entries() > 0 ? *set.begin() : nullptr;
}

}  // namespace

void ZEB_Broker_Tree::keepTo(const ZEB_Node_Path& path) {
  if (groups_.entries() == 0) path_ = path;
}

bool ZEB_Broker_Tree::partHas(const ZEB_Resource_ID& group) const {
  return isWhole() || group.alike(path_->executionGroup) != 0;
}

void ZEB_Broker_Tree::clear() {
  clearRest();
  groups_.cleanup();
}

void ZEB_Broker_Tree::clearRest() {
  rest_ = {};
  storedTree_.reset();
}

ZEB_Execution_Group* ZEB_Broker_Tree::group() const {
  return firstOf(groups_);
}

ZEB_Message_Flow* ZEB_Broker_Tree::flow() const {
  return group() ? firstOf(group()->getMessageFlows()) : nullptr;
}

ZEB_Node* ZEB_Broker_Tree::node() const {
  return flow() ? firstOf(flow()->getNodes()) : nullptr;
}

ZEB_Rest_Of_Tree::Way ZEB_Broker_Tree::way() const {
  return {.group = group() ? group()->getInformationRecord() : nullptr,
          .flow = flow() ? flow()->getInformationRecord() : nullptr,
          .node = node() ? node()->getInformationRecord() : nullptr,
          .statistics = node() ? node()->getStatsRecord() : nullptr};
}

// Others may have inserted more, into the group or the flow.
bool ZEB_Broker_Tree::hasOnlyTheWay() const {
  const auto isAlone = [](const auto& set, const ZEB_Resource_ID* id) {
    return set.entries() == 0 || (set.entries() == 1 && set.at(0)->alike(id) != 0);
  };
  return isAlone(groups_, path_->executionGroup) &&
         (!group() || isAlone(group()->getMessageFlows(), path_->messageFlow)) &&
         (!flow() || isAlone(flow()->getNodes(), path_->node));
}

bool ZEB_Broker_Tree::read(ZEB_Stats_Area& area, int keepEmpty, ZEB_Record_Set* path) {
  if (isWhole() || !area.usable() || !hasOnlyTheWay()) return false;
  // The group and the flow would seem to be empty.
  if (keepEmpty == 0 && !node()) return false;
  if (!storedTree_) storedTree_ = ZEB_Stored_Tree::of(area.getFirstPosition());
  bool taken = false;
  const bool isRead =
      storedTree_ && storedTree_->read(area.stored(), [&] { taken = take(area, keepEmpty, path); });
  if (!isRead || !taken) path->clearAndDestroy();
  return isRead && taken;
}

bool ZEB_Broker_Tree::take(ZEB_Stats_Area& area, int keepEmpty, ZEB_Record_Set* path) {
  const ZEB_Stored_Tree::Path stored = storedTree_->find(*path_);
  for (const auto* entry :
       {stored.broker, stored.group, stored.flow, stored.node, stored.statistics})
    if (entry) insertRecord(path, entry->image);
  const bool room = area.isEnoughSpace(area.getNextPosition(), layout::stir::bytes);
  return rest_.merge(*storedTree_, stored, way(), keepEmpty, room);
}

void ZEB_Broker_Tree::writeRest(ZEB_Stats_Area& area) {
  for (const ZEB_Stored_Image& image : rest_.unwritten())
    area.writeBytes(image.address(), image.bytes());
  rest_.allWritten();
  if (!rest_.lacksStatistics()) return;
  // There is no room, but an append that is refused stamps the area all the same.
  ZEB_STIR refused(1);
  area.put(&refused);
}

ZEB_Broker_Tree::Members::Members(ZEB_Broker_Tree& tree)
    : tree_(tree), group_(tree.group()), flow_(tree.flow()), node_(tree.node()), way_(tree.way()) {
  try {
    for (const ZEB_Stored_Image& image : tree.rest_.images())
      if (auto record = image.record()) made_.push_back(std::move(record));
  } catch (const std::bad_alloc&) {  // the tree has what there was memory for
  }
  for (const auto& record : made_) records_.insert(record.get());
  for (ZEB_ORVA_Resource* const object :
       std::initializer_list<ZEB_ORVA_Resource*>{group_, flow_, node_})
    if (object) records_.insert(object->getInformationRecord());
}

void ZEB_Broker_Tree::Members::order() const {
  const ZEB_Rest_Of_Tree& rest = tree_.rest_;
  if (group_) tree_.groups_.moveFirst(rest.groupsBefore(way_));
  if (flow_) group_->getMessageFlows().moveFirst(rest.flowsBefore(way_));
  if (node_) flow_->getNodes().moveFirst(rest.nodesBefore(way_));
}
