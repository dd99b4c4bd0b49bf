// SPDX-License-Identifier: Apache-2.0
#include "records/broker_record.h"

#include <cstring>

#include "base/calendar.h"
#include "base/trace.h"

namespace {

constexpr char kUnit[] = "zebcbrir";

}  // namespace

ZEB_BRIR::ZEB_BRIR(const ZEB_Resource_ID* id) : ZEB_REIR(ZEB_BRIR_RECORD, id) {
  ZEB_Trace trace(kUnit, "ZEB_BRIR::ZEB_BRIR");
}

ZEB_BRIR& ZEB_BRIR::operator=(const ZEB_BRIR& other) {
  ZEB_Trace trace(kUnit, "ZEB_BRIR::operator=");
  if (!OK()) return *this;
  ZEB_REIR::operator=(other);
  resetTime_ = other.resetTime_;
  return *this;
}

std::uint32_t ZEB_BRIR::size() const {
  ZEB_Trace trace(kUnit, "ZEB_BRIR::size");
  return trace.leave(OK() ? ZEB_REIR::size() + layout::brir::resetTime.width : 0U);
}

void* ZEB_BRIR::getFrom(const void* bytes, void* p) {
  ZEB_Trace trace(kUnit, "ZEB_BRIR::get");
  if (!usable(p)) return trace.leave(p);
  void* const at = ZEB_REIR::getFrom(bytes, p);
  std::memcpy(&resetTime_, ZEB_Behind(bytes, ZEB_Distance(p, at)), sizeof resetTime_);
  return trace.leave(ZEB_Behind(at, sizeof resetTime_));
}

void* ZEB_BRIR::putTo(void* bytes, void* p) {
  ZEB_Trace trace(kUnit, "ZEB_BRIR::put");
  if (!usable(p)) return trace.leave(p);
  void* const at = ZEB_REIR::putTo(bytes, p);
  std::memcpy(ZEB_Behind(bytes, ZEB_Distance(p, at)), &resetTime_, sizeof resetTime_);
  return trace.leave(ZEB_Behind(at, sizeof resetTime_));
}

void ZEB_BRIR::print() const {
  ZEB_Trace trace(kUnit, "ZEB_BRIR::print");
  char text[kCalendarTextBytes];
  trace.print("Reset Time          : %s", ZEB_FormatCalendar(text, resetTime_));
  ZEB_REIR::print();
}

void ZEB_BRIR::setResetTime(unsigned int resetTime) {
  ZEB_Trace trace(kUnit, "ZEB_BRIR::setResetTime");
  resetTime_ = resetTime;
}

unsigned int ZEB_BRIR::getResetTime() const {
  ZEB_Trace trace(kUnit, "ZEB_BRIR::getResetTime");
  return trace.leave(resetTime_);
}
