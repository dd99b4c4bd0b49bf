// SPDX-License-Identifier: Apache-2.0
#include "node/attribute.h"

#include "base/return_code.h"
#include "base/trace.h"

namespace {

constexpr char kUnit[] = "zebpattr";

}  // namespace

ZEB_Attribute::ZEB_Attribute(const zebchar* name, const zebchar* value)
    : name_(name), value_(value) {
  ZEB_Trace trace(kUnit, "ZEB_Attribute::ZEB_Attribute");
  check();
  if (!OK()) cleanup();
}

ZEB_Attribute::ZEB_Attribute(const ZEB_Attribute& other)
    : name_(other.name_), value_(other.value_) {
  ZEB_Trace trace(kUnit, "ZEB_Attribute::ZEB_Attribute");
  check();
  if (!OK()) cleanup();
}

ZEB_Attribute::~ZEB_Attribute() {
  ZEB_Trace trace(kUnit, "ZEB_Attribute::~ZEB_Attribute");
  cleanup();
}

void ZEB_Attribute::check() {
  if (!name_.OK() || !value_.OK()) status_ = ZEB_STATUS_FAILED;
}

void ZEB_Attribute::cleanup() {
  ZEB_Trace trace(kUnit, "ZEB_Attribute::cleanup");
  name_.cleanup();
  value_.cleanup();
}

bool ZEB_Attribute::OK() const {
  ZEB_Trace trace(kUnit, "ZEB_Attribute::OK");
  return trace.leave(status_ == ZEB_STATUS_OK);
}

int ZEB_Attribute::getStatus() const {
  ZEB_Trace trace(kUnit, "ZEB_Attribute::getStatus");
  return trace.leave(status_);
}

const ZEB_String& ZEB_Attribute::getName() const {
  ZEB_Trace trace(kUnit, "ZEB_Attribute::getName");
  return name_;
}

const ZEB_String& ZEB_Attribute::getValue() const {
  ZEB_Trace trace(kUnit, "ZEB_Attribute::getValue");
  return value_;
}

void ZEB_Attribute::setName(const zebchar* name) {
  ZEB_Trace trace(kUnit, "ZEB_Attribute::setName");
  if (name && name_.OK()) name_ = name;
  check();
}

void ZEB_Attribute::setValue(const zebchar* value) {
  ZEB_Trace trace(kUnit, "ZEB_Attribute::setValue");
  if (value && value_.OK()) value_ = value;
  check();
}
