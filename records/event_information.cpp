// SPDX-License-Identifier: Apache-2.0
#include "records/event_information.h"

#include "base/trace.h"

namespace {

constexpr char kUnit[] = "zebcevir";

}  // namespace

ZEB_EVIR::ZEB_EVIR(const ZEB_EVTR* eventTemplate, const ZEB_EVDR* data)
    : ZEB_Record(ZEB_EVIR_RECORD, eventTemplate != nullptr),
      template_(nullptr, nullptr, nullptr, ZEB_OTHER_NODE, nullptr),
      data_(nullptr, 0) {
  ZEB_Trace trace(kUnit, "ZEB_EVIR::ZEB_EVIR");
  if (OK()) init(eventTemplate, data);
}

void ZEB_EVIR::init(const ZEB_EVTR* eventTemplate, const ZEB_EVDR* data) {
  ZEB_Trace trace(kUnit, "ZEB_EVIR::init");
  if (eventTemplate) template_ = *eventTemplate;
  if (data) data_ = *data;
  requireParts();
}

ZEB_EVIR& ZEB_EVIR::operator=(const ZEB_EVIR& other) {
  ZEB_Trace trace(kUnit, "ZEB_EVIR::operator=");
  ZEB_Record::operator=(other);
  template_ = other.template_;
  data_ = other.data_;
  requireParts();
  return *this;
}

void ZEB_EVIR::requireParts() {
  require(template_);
  require(data_);
}

std::uint32_t ZEB_EVIR::size() const {
  ZEB_Trace trace(kUnit, "ZEB_EVIR::size");
  return trace.leave(OK() ? ZEB_Record::size() + template_.size() + data_.size() : 0U);
}

void* ZEB_EVIR::getFrom(const void* bytes, void* p) {
  ZEB_Trace trace(kUnit, "ZEB_EVIR::get");
  if (!usable(p)) return trace.leave(p);
  void* at = ZEB_Record::getFrom(bytes, p);
  at = template_.getFrom(ZEB_Behind(bytes, ZEB_Distance(p, at)), at);
  at = data_.getFrom(ZEB_Behind(bytes, ZEB_Distance(p, at)), at);
  requireParts();
  return trace.leave(at);
}

void* ZEB_EVIR::putTo(void* bytes, void* p) {
  ZEB_Trace trace(kUnit, "ZEB_EVIR::put");
  if (!usable(p)) return trace.leave(p);
  void* at = ZEB_Record::putTo(bytes, p);
  at = template_.putTo(ZEB_Behind(bytes, ZEB_Distance(p, at)), at);
  return trace.leave(data_.putTo(ZEB_Behind(bytes, ZEB_Distance(p, at)), at));
}

void ZEB_EVIR::print() const {
  ZEB_Trace trace(kUnit, "ZEB_EVIR::print");
  ZEB_Record::print();
  template_.print();
  data_.print();
}
