// SPDX-License-Identifier: Apache-2.0
#include "base/resource_id.h"

#include "base/trace.h"

namespace {

constexpr char kUnit[] = "zebcreid";

}  // namespace

ZEB_Resource_ID::ZEB_Resource_ID(const ZEB_String* uuid, const ZEB_String* label) {
  ZEB_Trace trace(kUnit, "ZEB_Resource_ID::ZEB_Resource_ID");
  setUuid(uuid);
  setLabel(label);
}

ZEB_Resource_ID::ZEB_Resource_ID(const ZEB_Resource_ID& other)
    : label_(other.label_), uuid_(other.uuid_) {
  ZEB_Trace trace(kUnit, "ZEB_Resource_ID::ZEB_Resource_ID");
}

ZEB_Resource_ID& ZEB_Resource_ID::operator=(const ZEB_Resource_ID& other) {
  ZEB_Trace trace(kUnit, "ZEB_Resource_ID::operator=");
  label_ = other.label_;
  uuid_ = other.uuid_;
  return *this;
}

ZEB_Resource_ID::~ZEB_Resource_ID() {
  ZEB_Trace trace(kUnit, "ZEB_Resource_ID::~ZEB_Resource_ID");
}

void ZEB_Resource_ID::setLabel(const ZEB_String* label) {
  ZEB_Trace trace(kUnit, "ZEB_Resource_ID::setLabel");
  if (label) label_ = *label;
}

void ZEB_Resource_ID::setUuid(const ZEB_String* uuid) {
  ZEB_Trace trace(kUnit, "ZEB_Resource_ID::setUuid");
  if (uuid) uuid_ = *uuid;
}

const ZEB_String& ZEB_Resource_ID::getLabel() const {
  ZEB_Trace trace(kUnit, "ZEB_Resource_ID::getLabel");
  return label_;
}

const ZEB_String& ZEB_Resource_ID::getUuid() const {
  ZEB_Trace trace(kUnit, "ZEB_Resource_ID::getUuid");
  return uuid_;
}

std::uint32_t ZEB_Resource_ID::alike(const ZEB_Resource_ID* other) const {
  ZEB_Trace trace(kUnit, "ZEB_Resource_ID::alike");
  const bool same = other && other->label_ == label_ && other->uuid_ == uuid_;
  return trace.leave(static_cast<std::uint32_t>(same));
}
