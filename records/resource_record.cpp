// SPDX-License-Identifier: Apache-2.0
#include "records/resource_record.h"

#include "base/trace.h"

namespace {

constexpr char kUnit[] = "zebcreir";

}  // namespace

ZEB_REIR::ZEB_REIR(ZEB_RecordType type, const ZEB_Resource_ID* id)
    : ZEB_Record(type, id != nullptr) {
  ZEB_Trace trace(kUnit, "ZEB_REIR::ZEB_REIR");
  require(uuid_);
  require(label_);
  if (!OK() || !id) return;
  setUuid(&id->getUuid());
  setLabel(&id->getLabel());
}

ZEB_REIR& ZEB_REIR::operator=(const ZEB_REIR& other) {
  ZEB_Trace trace(kUnit, "ZEB_REIR::operator=");
  if (!OK()) return *this;
  ZEB_Record::operator=(other);
  setUuid(&other.uuid_);
  setLabel(&other.label_);
  return *this;
}

std::uint32_t ZEB_REIR::size() const {
  ZEB_Trace trace(kUnit, "ZEB_REIR::size");
  return trace.leave(OK() ? ZEB_Record::size() + uuid_.binarySize() + label_.binarySize() : 0U);
}

void* ZEB_REIR::getFrom(const void* bytes, void* p) {
  ZEB_Trace trace(kUnit, "ZEB_REIR::get");
  if (!usable(p)) return trace.leave(p);
  const void* at = ZEB_Behind(bytes, ZEB_Distance(p, ZEB_Record::getFrom(bytes, p)));
  at = uuid_.get(at);
  at = label_.get(at);
  require(uuid_);
  require(label_);
  return trace.leave(ZEB_Behind(p, ZEB_Distance(bytes, at)));
}

void* ZEB_REIR::putTo(void* bytes, void* p) {
  ZEB_Trace trace(kUnit, "ZEB_REIR::put");
  if (!usable(p)) return trace.leave(p);
  void* at = ZEB_Behind(bytes, ZEB_Distance(p, ZEB_Record::putTo(bytes, p)));
  at = label_.put(uuid_.put(at));
  return trace.leave(ZEB_Behind(p, ZEB_Distance(bytes, at)));
}

void ZEB_REIR::print() const {
  ZEB_Trace trace(kUnit, "ZEB_REIR::print");
  ZEB_Record::print();
  trace.print("UUID                : %s", uuid_);
  trace.print("Label               : %s", label_);
}

void ZEB_REIR::setUuid(const ZEB_String* uuid) {
  ZEB_Trace trace(kUnit, "ZEB_REIR::setUuid");
  if (!uuid) return;
  uuid_ = *uuid;
  require(uuid_);
}

void ZEB_REIR::setLabel(const ZEB_String* label) {
  ZEB_Trace trace(kUnit, "ZEB_REIR::setLabel");
  if (!label) return;
  label_ = *label;
  require(label_);
}

ZEB_String ZEB_REIR::getUuid() const {
  ZEB_Trace trace(kUnit, "ZEB_REIR::getUuid");
  return uuid_;
}

ZEB_String ZEB_REIR::getLabel() const {
  ZEB_Trace trace(kUnit, "ZEB_REIR::getLabel");
  return label_;
}

ZEB_Resource_ID ZEB_REIR::getResourceId() const {
  ZEB_Trace trace(kUnit, "ZEB_REIR::getResourceId");
  return ZEB_Resource_ID(&uuid_, &label_);
}

std::uint32_t ZEB_REIR::alike(const ZEB_Resource_ID* id) const {
  ZEB_Trace trace(kUnit, "ZEB_REIR::alike");
  const bool same = id && id->getLabel() == label_ && id->getUuid() == uuid_;
  return trace.leave(static_cast<std::uint32_t>(same));
}
