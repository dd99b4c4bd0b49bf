// SPDX-License-Identifier: Apache-2.0
#include "resources/resource.h"

#include <new>

#include "base/trace.h"
#include "records/broker_record.h"
#include "records/execution_group_record.h"
#include "records/message_flow_record.h"
#include "records/node_record.h"

namespace {

constexpr char kUnit[] = "zebcmsre";

ZEB_REIR* makeRecord(ZEB_RecordType type, const ZEB_Resource_ID* id) {
  switch (type) {
    case ZEB_BRIR_RECORD:
      return new (std::nothrow) ZEB_BRIR(id);
    case ZEB_EGIR_RECORD:
      return new (std::nothrow) ZEB_EGIR(id);
    case ZEB_MFIR_RECORD:
      return new (std::nothrow) ZEB_MFIR(id);
    case ZEB_NOIR_RECORD:
      return new (std::nothrow) ZEB_NOIR(id);
    default:
      return new (std::nothrow) ZEB_REIR(type, id);
  }
}

// Assigns what the classes have of their own too: both records are of the type.
void assign(ZEB_RecordType type, ZEB_REIR* to, const ZEB_REIR* from) {
  switch (type) {
    case ZEB_BRIR_RECORD:
      *static_cast<ZEB_BRIR*>(to) = *static_cast<const ZEB_BRIR*>(from);
      return;
    case ZEB_EGIR_RECORD:
      *static_cast<ZEB_EGIR*>(to) = *static_cast<const ZEB_EGIR*>(from);
      return;
    case ZEB_NOIR_RECORD:
      *static_cast<ZEB_NOIR*>(to) = *static_cast<const ZEB_NOIR*>(from);
      return;
    default:
      *to = *from;
  }
}

const char* nameOf(std::uint32_t type) {
  switch (type) {
    case ZEB_BRIR_RECORD:
      return "Broker";
    case ZEB_EGIR_RECORD:
      return "Execution Group";
    case ZEB_MFIR_RECORD:
      return "Message Flow";
    case ZEB_NOIR_RECORD:
      return "ComDravikMonitorNode";
    default:
      return "n/a";
  }
}

}  // namespace

ZEB_ORVA_Resource::ZEB_ORVA_Resource(ZEB_RecordType type, const ZEB_Resource_ID* id) {
  ZEB_Trace trace(kUnit, "ZEB_ORVA_Resource::ZEB_ORVA_Resource");
  setInformationRecord(type, id);
  if (!OK()) cleanup();
}

ZEB_ORVA_Resource::ZEB_ORVA_Resource(const ZEB_REIR* record) {
  ZEB_Trace trace(kUnit, "ZEB_ORVA_Resource::ZEB_ORVA_Resource");
  if (record)
    copyInformationRecord(*record);
  else
    setInformationRecord(ZEB_REIR_RECORD, nullptr);
  if (!OK()) cleanup();
}

ZEB_ORVA_Resource::~ZEB_ORVA_Resource() {
  ZEB_Trace trace(kUnit, "ZEB_ORVA_Resource::~ZEB_ORVA_Resource");
  cleanup();
}

void ZEB_ORVA_Resource::cleanup() {
  ZEB_Trace trace(kUnit, "ZEB_ORVA_Resource::cleanup");
  record_.reset();
  first_.reset();
  second_.reset();
  third_.reset();
}

void ZEB_ORVA_Resource::setInformationRecord(ZEB_RecordType type, const ZEB_Resource_ID* id) {
  ZEB_Trace trace(kUnit, "ZEB_ORVA_Resource::setInformationRecord");
  if (!OK()) return;
  record_.reset(makeRecord(type, id));
  requireRecord(trace);
}

// Traced as what it is a part of.
void ZEB_ORVA_Resource::copyInformationRecord(const ZEB_REIR& record) {
  ZEB_Trace trace(kUnit, "ZEB_ORVA_Resource::setInformationRecord");
  const auto type = static_cast<ZEB_RecordType>(record.type());
  record_.reset(makeRecord(type, nullptr));
  if (record_ && record_->OK()) assign(type, record_.get(), &record);
  requireRecord(trace);
}

void ZEB_ORVA_Resource::requireRecord(const ZEB_Trace& trace) {
  if (record_ && record_->OK()) return;
  status_ = ZEB_STATUS_FAILED;
  trace.allocationError();
}

void ZEB_ORVA_Resource::initStatistics() {
  ZEB_Trace trace(kUnit, "ZEB_ORVA_Resource::initStatistics");
  for (std::unique_ptr<ZEB_STIR>* accumulator : {&first_, &second_, &third_}) {
    if (*accumulator) {
      (*accumulator)->reset();
      continue;
    }
    accumulator->reset(new (std::nothrow) ZEB_STIR(1));
    if (!*accumulator) trace.allocationError();  // the status stays as it is, on purpose
  }
  collected_ = 0;
}

ZEB_ReturnCode ZEB_ORVA_Resource::getStatistics(ZEB_STIR* first, ZEB_STIR* second,
                                                ZEB_STIR* third) {
  ZEB_Trace trace(kUnit, "ZEB_ORVA_Resource::getStatistics");
  ZEB_ReturnCode code;
  const auto add = [&code](ZEB_STIR* to, const std::unique_ptr<ZEB_STIR>& from) {
    if (to && from)
      *to += *from;
    else
      code = ZEB_MISSING;
  };
  add(first, first_);
  add(second, second_);
  add(third, third_);
  return trace.leave(code);
}

void ZEB_ORVA_Resource::print() {
  ZEB_Trace trace(kUnit, "ZEB_ORVA_Resource::print");
  trace.print("Type                : %s", nameOf(getType()));
  trace.print("Label               : %s", getLabel());
  trace.print("Uuid                : %s", getUuid());
}

ZEB_ReturnCode ZEB_ORVA_Resource::getRecords(ZEB_Record_Set* /*out*/) {
  ZEB_Trace trace(kUnit, "ZEB_ORVA_Resource::getRecords");
  return trace.leave(ZEB_ReturnCode(ZEB_NOT_READ));
}

ZEB_REIR* ZEB_ORVA_Resource::getInformationRecord() const {
  ZEB_Trace trace(kUnit, "ZEB_ORVA_Resource::getInformationRecord");
  return trace.leave(record_.get());
}

const ZEB_Record_ID* ZEB_ORVA_Resource::getRecordId() const {
  ZEB_Trace trace(kUnit, "ZEB_ORVA_Resource::getRecordId");
  return trace.leave(record_ ? record_->getRecordId() : nullptr);
}

const ZEB_Record_ID* ZEB_ORVA_Resource::getParentId() const {
  ZEB_Trace trace(kUnit, "ZEB_ORVA_Resource::getParentId");
  return trace.leave(record_ ? record_->getParentId() : nullptr);
}

void ZEB_ORVA_Resource::setParent(const ZEB_ORVA_Resource* parent) {
  ZEB_Trace trace(kUnit, "ZEB_ORVA_Resource::setParent");
  if (record_ && parent) record_->setParent(parent->getRecordId());
}

std::uint32_t ZEB_ORVA_Resource::isChildOf(const ZEB_ORVA_Resource* other) const {
  ZEB_Trace trace(kUnit, "ZEB_ORVA_Resource::isChildOf");
  return trace.leave(record_ && other ? record_->isChildOf(other->record_.get()) : 0U);
}

std::uint32_t ZEB_ORVA_Resource::alike(const ZEB_Resource_ID* id) const {
  ZEB_Trace trace(kUnit, "ZEB_ORVA_Resource::alike");
  return trace.leave(record_ ? record_->alike(id) : 0U);
}

ZEB_Resource_ID ZEB_ORVA_Resource::getResourceId() const {
  ZEB_Trace trace(kUnit, "ZEB_ORVA_Resource::getResourceId");
  return record_ ? record_->getResourceId() : ZEB_Resource_ID();
}

ZEB_String ZEB_ORVA_Resource::getLabel() const {
  ZEB_Trace trace(kUnit, "ZEB_ORVA_Resource::getLabel");
  return record_ ? record_->getLabel() : ZEB_String();
}

ZEB_String ZEB_ORVA_Resource::getUuid() const {
  ZEB_Trace trace(kUnit, "ZEB_ORVA_Resource::getUuid");
  return record_ ? record_->getUuid() : ZEB_String();
}

std::uint32_t ZEB_ORVA_Resource::getType() const {
  ZEB_Trace trace(kUnit, "ZEB_ORVA_Resource::getType");
  return trace.leave(record_ ? record_->type() : 0U);
}

int ZEB_ORVA_Resource::getStatus() const {
  ZEB_Trace trace(kUnit, "ZEB_ORVA_Resource::getStatus");
  return trace.leave(status_.load());
}

bool ZEB_ORVA_Resource::OK() const {
  ZEB_Trace trace(kUnit, "ZEB_ORVA_Resource::OK");
  return trace.leave(status_ == ZEB_STATUS_OK);
}
