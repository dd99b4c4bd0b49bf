// SPDX-License-Identifier: Apache-2.0
#include "resources/message_flow.h"

#include "base/trace.h"
#include "resources/container.h"

namespace {

constexpr char kUnit[] = "zebcmefl";

}  // namespace

ZEB_Message_Flow::ZEB_Message_Flow(const ZEB_Resource_ID* id)
    : ZEB_ORVA_Resource(ZEB_MFIR_RECORD, id) {
  ZEB_Trace trace(kUnit, "ZEB_Message_Flow::ZEB_Message_Flow");
  if (!OK()) cleanup();
}

ZEB_Message_Flow::ZEB_Message_Flow(const ZEB_MFIR* record) : ZEB_ORVA_Resource(record) {
  ZEB_Trace trace(kUnit, "ZEB_Message_Flow::ZEB_Message_Flow");
  if (!OK()) cleanup();
}

ZEB_Message_Flow::~ZEB_Message_Flow() {
  ZEB_Trace trace(kUnit, "ZEB_Message_Flow::~ZEB_Message_Flow");
  cleanup();
}

void ZEB_Message_Flow::cleanup() {
  ZEB_Trace trace(kUnit, "ZEB_Message_Flow::cleanup");
  nodes_.cleanup();
}

ZEB_Node* ZEB_Message_Flow::findNode(const ZEB_Resource_ID* id) const {
  ZEB_Trace trace(kUnit, "ZEB_Message_Flow::findNode");
  return trace.leave(nodes_.findNode(id));
}

ZEB_Node* ZEB_Message_Flow::insertNode(const ZEB_Resource_ID* id) {
  ZEB_Trace trace(kUnit, "ZEB_Message_Flow::insertNode");
  const ZEB_NOIR record(id);
  return trace.leave(insertNode(&record));
}

ZEB_Node* ZEB_Message_Flow::insertNode(const ZEB_NOIR* record) {
  ZEB_Trace trace(kUnit, "ZEB_Message_Flow::insertNode2");
  return trace.leave(ZEB_InsertChild(trace, *this, nodes_, record));
}

// Traced under the execution group's name, on purpose.
ZEB_ReturnCode ZEB_Message_Flow::findNodes(const ZEB_Record_Set* records, int keepEmpty) {
  ZEB_Trace trace(kUnit, "ZEB_Execution_Group::findNodes");
  if (!records) return trace.leave(ZEB_ReturnCode(ZEB_SUCCESS));
  for (const ZEB_Record* record : records->childrenOf(getInformationRecord())) {
    if (record->type() != ZEB_NOIR_RECORD) continue;
    if (ZEB_Node* const node = rebuildNode(static_cast<const ZEB_NOIR*>(record), keepEmpty))
      node->findStatistics(records);
  }
  return trace.leave(ZEB_ReturnCode(ZEB_SUCCESS));
}

// The node of a stored record: a known one, brought back to life where another instance did so, or
// a new one; null when it is left out.
ZEB_Node* ZEB_Message_Flow::rebuildNode(const ZEB_NOIR* stored, int keepEmpty) {
  const ZEB_Resource_ID id = stored->getResourceId();
  ZEB_Node* const node = findNode(&id);
  const bool deleted = stored->isDeleted() != 0;
  if (!node) return keepEmpty == 0 && deleted ? nullptr : insertNode(stored);
  if (node->isDeleted() != 0 && !deleted) node->assign(*stored);
  return node;
}

ZEB_ReturnCode ZEB_Message_Flow::getRecords(ZEB_Record_Set* out) {
  ZEB_Trace trace(kUnit, "ZEB_Message_Flow::getRecords");
  return trace.leave(gather(out, nodes_));
}

void ZEB_Message_Flow::initStatistics() {
  ZEB_Trace trace(kUnit, "ZEB_Message_Flow::initStatistics");
  ZEB_ORVA_Resource::initStatistics();
  for (ZEB_Node* child : nodes_) child->initStatistics();
}

ZEB_ReturnCode ZEB_Message_Flow::getStatistics(ZEB_STIR* first, ZEB_STIR* second, ZEB_STIR* third) {
  ZEB_Trace trace(kUnit, "ZEB_Message_Flow::getStatistics");
  collect(nodes_);
  return trace.leave(ZEB_ORVA_Resource::getStatistics(first, second, third));
}

void ZEB_Message_Flow::print() {
  ZEB_Trace trace(kUnit, "ZEB_Message_Flow::print");
  ZEB_ORVA_Resource::print();
  nodes_.print();
}

void ZEB_Message_Flow::resetStatistics(ZEB_Statistics_Store* store) {
  ZEB_Trace trace(kUnit, "ZEB_Message_Flow::resetStatistics");
  for (ZEB_Node* child : nodes_) child->resetStatistics(store);
}

std::uint32_t ZEB_Message_Flow::nodes() const {
  ZEB_Trace trace(kUnit, "ZEB_Message_Flow::nodes");
  return trace.leave(static_cast<std::uint32_t>(nodes_.entries()));
}

ZEB_Node_Set& ZEB_Message_Flow::getNodes() {
  ZEB_Trace trace(kUnit, "ZEB_Message_Flow::getNodes");
  return nodes_;
}

ZEB_Message_Flow_Set::ZEB_Message_Flow_Set() {
  ZEB_Trace trace(kResourceSetUnit, "ZEB_Message_Flow_Set::ZEB_Message_Flow_Set");
}

ZEB_Message_Flow_Set::~ZEB_Message_Flow_Set() {
  ZEB_Trace trace(kResourceSetUnit, "ZEB_Message_Flow_Set::~ZEB_Message_Flow_Set");
}

ZEB_Message_Flow* ZEB_Message_Flow_Set::findMessageFlow(const ZEB_Resource_ID* id) const {
  ZEB_Trace trace(kResourceSetUnit, "ZEB_Message_Flow_Set::findMessageFlow");
  return trace.leave(findMember(id));
}
