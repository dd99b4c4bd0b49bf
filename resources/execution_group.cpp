// SPDX-License-Identifier: Apache-2.0
#include "resources/execution_group.h"

#include "base/trace.h"
#include "resources/container.h"

namespace {

constexpr char kUnit[] = "zebcexgr";

}  // namespace

ZEB_Execution_Group::ZEB_Execution_Group(const ZEB_Resource_ID* id)
    : ZEB_ORVA_Resource(ZEB_EGIR_RECORD, id) {
  ZEB_Trace trace(kUnit, "ZEB_Execution_Group::ZEB_Execution_Group");
  if (!OK()) cleanup();
}

ZEB_Execution_Group::ZEB_Execution_Group(const ZEB_EGIR* record) : ZEB_ORVA_Resource(record) {
  ZEB_Trace trace(kUnit, "ZEB_Execution_Group::ZEB_Execution_Group");
  if (!OK()) cleanup();
  if (record) setProcessId(record->getProcessId());
}

ZEB_Execution_Group::~ZEB_Execution_Group() {
  ZEB_Trace trace(kUnit, "ZEB_Execution_Group::~ZEB_Execution_Group");
  cleanup();
}

void ZEB_Execution_Group::cleanup() {
  ZEB_Trace trace(kUnit, "ZEB_Execution_Group::cleanup");
  messageFlows_.cleanup();
}

ZEB_Message_Flow* ZEB_Execution_Group::findMessageFlow(const ZEB_Resource_ID* id) const {
  ZEB_Trace trace(kUnit, "ZEB_Execution_Group::findMessageFlow");
  return trace.leave(messageFlows_.findMessageFlow(id));
}

ZEB_Message_Flow* ZEB_Execution_Group::insertMessageFlow(const ZEB_Resource_ID* id) {
  ZEB_Trace trace(kUnit, "ZEB_Execution_Group::insertMessageFlow");
  const ZEB_MFIR record(id);
  return trace.leave(insertMessageFlow(&record));
}

ZEB_Message_Flow* ZEB_Execution_Group::insertMessageFlow(const ZEB_MFIR* record) {
  ZEB_Trace trace(kUnit, "ZEB_Execution_Group::insertMessageFlow2");
  return trace.leave(ZEB_InsertChild(trace, *this, messageFlows_, record));
}

ZEB_ReturnCode ZEB_Execution_Group::findMessageFlows(const ZEB_Record_Set* records, int keepEmpty) {
  ZEB_Trace trace(kUnit, "ZEB_Execution_Group::findMessageFlows");
  if (!records) return trace.leave(ZEB_ReturnCode(ZEB_NULL_ARGUMENT));
  return trace.leave(ZEB_RebuildChildren<ZEB_MFIR>(
      *records, ZEB_MFIR_RECORD, *this, messageFlows_, keepEmpty,
      [this](const ZEB_Resource_ID* id) { return findMessageFlow(id); },
      [this](const ZEB_MFIR* record) { return insertMessageFlow(record); },
      [&](ZEB_Message_Flow* flow) { flow->findNodes(records, keepEmpty); },
      [](const ZEB_Message_Flow* flow) { return flow->nodes() == 0; }));
}

ZEB_ReturnCode ZEB_Execution_Group::getRecords(ZEB_Record_Set* out) {
  ZEB_Trace trace(kUnit, "ZEB_Execution_Group::getRecords");
  return trace.leave(gather(out, messageFlows_));
}

void ZEB_Execution_Group::initStatistics() {
  ZEB_Trace trace(kUnit, "ZEB_Execution_Group::initStatistics");
  ZEB_ORVA_Resource::initStatistics();
  for (ZEB_Message_Flow* child : messageFlows_) child->initStatistics();
}

ZEB_ReturnCode ZEB_Execution_Group::getStatistics(ZEB_STIR* first, ZEB_STIR* second,
                                                  ZEB_STIR* third) {
  ZEB_Trace trace(kUnit, "ZEB_Execution_Group::getStatistics");
  collect(messageFlows_);
  return trace.leave(ZEB_ORVA_Resource::getStatistics(first, second, third));
}

void ZEB_Execution_Group::print() {
  ZEB_Trace trace(kUnit, "ZEB_Execution_Group::print");
  ZEB_ORVA_Resource::print();
  messageFlows_.print();
}

void ZEB_Execution_Group::resetStatistics(ZEB_Statistics_Store* store) {
  ZEB_Trace trace(kUnit, "ZEB_Execution_Group::resetStatistics");
  for (ZEB_Message_Flow* child : messageFlows_) child->resetStatistics(store);
}

std::uint32_t ZEB_Execution_Group::messageFlows() const {
  ZEB_Trace trace(kUnit, "ZEB_Execution_Group::messageFlows");
  return trace.leave(static_cast<std::uint32_t>(messageFlows_.entries()));
}

int ZEB_Execution_Group::getProcessId() const {
  ZEB_Trace trace(kUnit, "ZEB_Execution_Group::getProcessId");
  const auto* const record = recordAs<ZEB_EGIR>();
  return trace.leave(record ? record->getProcessId() : 0);
}

void ZEB_Execution_Group::setProcessId(int processId) {
  ZEB_Trace trace(kUnit, "ZEB_Execution_Group::setProcessId");
  if (auto* const record = recordAs<ZEB_EGIR>()) record->setProcessId(processId);
}

ZEB_Execution_Group_Set::ZEB_Execution_Group_Set() {
  ZEB_Trace trace(kResourceSetUnit, "ZEB_Execution_Group_Set::ZEB_Execution_Group_Set");
}

ZEB_Execution_Group_Set::~ZEB_Execution_Group_Set() {
  ZEB_Trace trace(kResourceSetUnit, "ZEB_Execution_Group_Set::~ZEB_Execution_Group_Set");
}

ZEB_Execution_Group* ZEB_Execution_Group_Set::findExecutionGroup(const ZEB_Resource_ID* id) const {
  ZEB_Trace trace(kResourceSetUnit, "ZEB_Execution_Group_Set::findExecutionGroup");
  return trace.leave(findMember(id));
}
