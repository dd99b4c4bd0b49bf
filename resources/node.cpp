// SPDX-License-Identifier: Apache-2.0
#include "resources/node.h"

#include <new>

#include "base/trace.h"

namespace {

constexpr char kUnit[] = "zebcnode";

}  // namespace

ZEB_Node::ZEB_Node(const ZEB_Resource_ID* id) : ZEB_ORVA_Resource(ZEB_NOIR_RECORD, id) {
  ZEB_Trace trace(kUnit, "ZEB_Node::ZEB_Node");
  init();
  if (!OK()) cleanup();
}

ZEB_Node::ZEB_Node(const ZEB_NOIR* record) : ZEB_ORVA_Resource(record) {
  ZEB_Trace trace(kUnit, "ZEB_Node::ZEB_Node");
  init();
  if (OK() && record) {
    const ZEB_String subFlowName = record->getSubFlowName();
    setNodeType(record->getNodeType());
    setSubFlowName(&subFlowName);
    if (!getInformationRecord()->OK()) setStatus(ZEB_STATUS_FAILED);
  }
  if (!OK()) cleanup();
}

ZEB_Node::~ZEB_Node() {
  ZEB_Trace trace(kUnit, "ZEB_Node::~ZEB_Node");
  cleanup();
}

void ZEB_Node::init() {
  ZEB_Trace trace(kUnit, "ZEB_Node::init");
  statistics_.reset(new (std::nothrow) ZEB_STIR(1));
  if (!statistics_) {
    trace.allocationError();
    setStatus(ZEB_STATUS_FAILED);
  } else if (statistics_->OK()) {
    statistics_->setParent(getRecordId());
  } else {
    setStatus(ZEB_STATUS_FAILED);
  }
}

void ZEB_Node::cleanup() {
  ZEB_Trace trace(kUnit, "ZEB_Node::cleanup");
  statistics_.reset();
}

ZEB_STIR* ZEB_Node::getStatsRecord() const {
  ZEB_Trace trace(kUnit, "ZEB_Node::getStatsRecord");
  return trace.leave(statistics_.get());
}

ZEB_ReturnCode ZEB_Node::getRecords(ZEB_Record_Set* out) {
  ZEB_Trace trace(kUnit, "ZEB_Node::getRecords");
  if (!out) return trace.leave(ZEB_ReturnCode(ZEB_NULL_ARGUMENT));
  ZEB_ReturnCode code;
  for (ZEB_Record* record : {static_cast<ZEB_Record*>(getInformationRecord()),
                             static_cast<ZEB_Record*>(statistics_.get())}) {
    if (!record)
      code = ZEB_NO_RECORD;
    else if (!out->insert(record))
      code = ZEB_NOT_ALLOCATED;
  }
  return trace.leave(code);
}

ZEB_ReturnCode ZEB_Node::findStatistics(const ZEB_Record_Set* records) {
  ZEB_Trace trace(kUnit, "ZEB_Node::findStatistics");
  if (!records || records->isEmpty()) return trace.leave(ZEB_ReturnCode(ZEB_SUCCESS));
  for (const ZEB_Record* record : records->childrenOf(getInformationRecord())) {
    if (record->type() != ZEB_STIR_RECORD) continue;
    insertStatistics(static_cast<const ZEB_STIR*>(record));
    return trace.leave(ZEB_ReturnCode(ZEB_SUCCESS));
  }
  return trace.leave(ZEB_ReturnCode(ZEB_NOT_READ));
}

ZEB_STIR* ZEB_Node::insertStatistics(const ZEB_STIR* record) {
  ZEB_Trace trace(kUnit, "ZEB_Node::insertStatistics");
  if (statistics_ && record) *statistics_ = *record;
  return trace.leave(statistics_.get());
}

void ZEB_Node::initStatistics() {
  ZEB_Trace trace(kUnit, "ZEB_Node::initStatistics");
  ZEB_ORVA_Resource::initStatistics();
}

ZEB_ReturnCode ZEB_Node::getStatistics(ZEB_STIR* first, ZEB_STIR* second, ZEB_STIR* third) {
  ZEB_Trace trace(kUnit, "ZEB_Node::getStatistics");
  if (collected_ == 0 && getInformationRecord()) {
    const ZEB_NodeType type = getNodeType();
    ZEB_STIR* accumulator = nullptr;
    if (type == ZEB_INPUT_NODE)
      accumulator = first_.get();
    else if (type == ZEB_OUTPUT_NODE)
      accumulator = second_.get();
    else if (type >= ZEB_OTHER_NODE && type <= ZEB_SUB_FLOW_OUTPUT_NODE)
      accumulator = third_.get();
    // A copy and not a sum, on purpose: a node has one record.
    if (accumulator && statistics_) *accumulator = *statistics_;
    collected_ = 1;
  }
  return trace.leave(ZEB_ORVA_Resource::getStatistics(first, second, third));
}

void ZEB_Node::resetStatistics(ZEB_Statistics_Store* store) {
  ZEB_Trace trace(kUnit, "ZEB_Node::resetStatistics");
  if (!statistics_) return;
  if (store)
    store->resetStatistics(statistics_.get());
  else
    statistics_->reset();
}

void ZEB_Node::markDeleted() {
  ZEB_Trace trace(kUnit, "ZEB_Node::markDeleted");
  if (ZEB_REIR* const record = getInformationRecord()) record->markDeleted();
}

void ZEB_Node::undelete() {
  ZEB_Trace trace(kUnit, "ZEB_Node::undelete");
  if (ZEB_REIR* const record = getInformationRecord()) record->undelete();
}

std::uint32_t ZEB_Node::isDeleted() const {
  ZEB_Trace trace(kUnit, "ZEB_Node::isDeleted");
  const ZEB_REIR* const record = getInformationRecord();
  return trace.leave(record ? record->isDeleted() : 0U);
}

ZEB_NodeType ZEB_Node::getNodeType() const {
  ZEB_Trace trace(kUnit, "ZEB_Node::getNodeType");
  const auto* const record = recordAs<ZEB_NOIR>();
  return trace.leave(record ? record->getNodeType() : ZEB_OTHER_NODE);
}

void ZEB_Node::setNodeType(ZEB_NodeType nodeType) {
  ZEB_Trace trace(kUnit, "ZEB_Node::setNodeType");
  if (auto* const record = recordAs<ZEB_NOIR>()) record->setNodeType(nodeType);
}

ZEB_String ZEB_Node::getSubFlowName() const {
  ZEB_Trace trace(kUnit, "ZEB_Node::getSubFlowName");
  const auto* const record = recordAs<ZEB_NOIR>();
  return record ? record->getSubFlowName() : ZEB_String();
}

void ZEB_Node::setSubFlowName(const ZEB_String* name) {
  ZEB_Trace trace(kUnit, "ZEB_Node::setSubFlowName");
  if (auto* const record = recordAs<ZEB_NOIR>()) record->setSubFlowName(name);
}

void ZEB_Node::setLabel(const ZEB_String* label) {
  ZEB_Trace trace(kUnit, "ZEB_Node::setLabel");
  if (ZEB_REIR* const record = getInformationRecord()) record->setLabel(label);
}

void ZEB_Node::assign(const ZEB_NOIR& record) {
  if (auto* const own = recordAs<ZEB_NOIR>()) *own = record;
}

ZEB_Node_Set::ZEB_Node_Set() {
  ZEB_Trace trace(kResourceSetUnit, "ZEB_Node_Set::ZEB_Node_Set");
}

ZEB_Node_Set::~ZEB_Node_Set() {
  ZEB_Trace trace(kResourceSetUnit, "ZEB_Node_Set::~ZEB_Node_Set");
}

ZEB_Node* ZEB_Node_Set::findNode(const ZEB_Resource_ID* id) const {
  ZEB_Trace trace(kResourceSetUnit, "ZEB_Node_Set::findNode");
  return trace.leave(findMember(id));
}
