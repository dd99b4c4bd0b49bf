// SPDX-License-Identifier: Apache-2.0
#include "records/event_data.h"

#include <cstring>

#include "base/calendar.h"
#include "base/trace.h"

namespace {

constexpr char kUnit[] = "zebcevdr";

template <class Field>
void copy(Field& to, const Field& from) {
  std::memcpy(&to, &from, sizeof to);
}

}  // namespace

ZEB_EVDR::ZEB_EVDR(const MessageDescriptor* descriptor, int threadId)
    : ZEB_Record(ZEB_EVDR_RECORD, descriptor != nullptr) {
  ZEB_Trace trace(kUnit, "ZEB_EVDR::ZEB_EVDR");
  if (!OK()) return;
  event_.eventTime = ZEB_CalendarNow();
  event_.threadId = threadId;
  if (!descriptor) return;
  copy(event_.messageId, descriptor->messageId);
  copy(event_.correlationId, descriptor->correlationId);
  copy(event_.putApplicationType, descriptor->putApplicationType);
  copy(event_.putApplicationName, descriptor->putApplicationName);
  copy(event_.putDate, descriptor->putDate);
  copy(event_.putTime, descriptor->putTime);
}

ZEB_EVDR& ZEB_EVDR::operator=(const ZEB_EVDR& other) {
  ZEB_Trace trace(kUnit, "ZEB_EVDR::operator=");
  if (!OK()) return *this;
  ZEB_Record::operator=(other);
  event_ = other.event_;
  return *this;
}

std::uint32_t ZEB_EVDR::size() const {
  ZEB_Trace trace(kUnit, "ZEB_EVDR::size");
  return trace.leave(OK() ? layout::evdr::bytes : 0U);
}

void* ZEB_EVDR::getFrom(const void* bytes, void* p) {
  ZEB_Trace trace(kUnit, "ZEB_EVDR::get");
  if (!usable(p)) [[unlikely]]
    return trace.leave(p);
  std::memcpy(&event_, ZEB_Behind(bytes, layout::header::bytes), sizeof event_);
  return trace.leave(ZEB_Behind(ZEB_Record::getFrom(bytes, p), sizeof event_));
}

void* ZEB_EVDR::putTo(void* bytes, void* p) {
  ZEB_Trace trace(kUnit, "ZEB_EVDR::put");
  if (!usable(p)) [[unlikely]]
    return trace.leave(p);
  void* const at = ZEB_Record::putTo(bytes, p);
  std::memcpy(ZEB_Behind(bytes, ZEB_Distance(p, at)), &event_, sizeof event_);
  return trace.leave(ZEB_Behind(at, sizeof event_));
}

void ZEB_EVDR::print() const {
  ZEB_Trace trace(kUnit, "ZEB_EVDR::print");
  char time[kCalendarTextBytes];
  trace.print("Event Time          : %s", ZEB_FormatCalendar(time, event_.eventTime));
  trace.print("Appl Name           : %.28s", event_.putApplicationName);
  // The type line bears the name's label, on purpose.
  trace.print("Appl Name           : %i", event_.putApplicationType);
  trace.print("Message ID          : %.24s", reinterpret_cast<const char*>(event_.messageId));
  trace.print("Correl ID           : %.24s", reinterpret_cast<const char*>(event_.correlationId));
  trace.print("Put date            : %.8s", event_.putDate);
  trace.print("Put time            : %.8s", event_.putTime);
  trace.print("Thread ID           : %i", event_.threadId);
}

int ZEB_EVDR::getThreadID() const {
  ZEB_Trace trace(kUnit, "ZEB_EVDR::getThreadID");
  return trace.leave(event_.threadId);
}

const char* ZEB_EVDR::getPutTime() const {
  ZEB_Trace trace(kUnit, "ZEB_EVDR::getPutTime");
  return trace.leave(static_cast<const char*>(event_.putTime));
}

const char* ZEB_EVDR::getPutDate() const {
  ZEB_Trace trace(kUnit, "ZEB_EVDR::getPutDate");
  return trace.leave(static_cast<const char*>(event_.putDate));
}

const std::uint8_t* ZEB_EVDR::getCorelID() const {
  ZEB_Trace trace(kUnit, "ZEB_EVDR::getCorelID");
  return trace.leave(static_cast<const std::uint8_t*>(event_.correlationId));
}

const std::uint8_t* ZEB_EVDR::getMsgID() const {
  ZEB_Trace trace(kUnit, "ZEB_EVDR::getMsgID");
  return trace.leave(static_cast<const std::uint8_t*>(event_.messageId));
}

const char* ZEB_EVDR::getPutApplName() const {
  ZEB_Trace trace(kUnit, "ZEB_EVDR::getPutApplName");
  return trace.leave(static_cast<const char*>(event_.putApplicationName));
}
