// SPDX-License-Identifier: Apache-2.0
#include "records/execution_group_record.h"

#include <cstring>

#include "base/trace.h"

namespace {

constexpr char kUnit[] = "zebcegir";

}  // namespace

ZEB_EGIR::ZEB_EGIR(const ZEB_Resource_ID* id) : ZEB_REIR(ZEB_EGIR_RECORD, id) {
  ZEB_Trace trace(kUnit, "ZEB_EGIR::ZEB_EGIR");
}

ZEB_EGIR& ZEB_EGIR::operator=(const ZEB_EGIR& other) {
  ZEB_Trace trace(kUnit, "ZEB_EGIR::operator=");
  if (!OK()) return *this;
  ZEB_REIR::operator=(other);
  processId_ = other.processId_;
  return *this;
}

std::uint32_t ZEB_EGIR::size() const {
  ZEB_Trace trace(kUnit, "ZEB_EGIR::size");
  return trace.leave(OK() ? ZEB_REIR::size() + layout::egir::processId.width : 0U);
}

void* ZEB_EGIR::getFrom(const void* bytes, void* p) {
  ZEB_Trace trace(kUnit, "ZEB_EGIR::get");
  if (!usable(p)) return trace.leave(p);
  void* const at = ZEB_REIR::getFrom(bytes, p);
  std::memcpy(&processId_, ZEB_Behind(bytes, ZEB_Distance(p, at)), sizeof processId_);
  return trace.leave(ZEB_Behind(at, sizeof processId_));
}

void* ZEB_EGIR::putTo(void* bytes, void* p) {
  ZEB_Trace trace(kUnit, "ZEB_EGIR::put");
  if (!usable(p)) return trace.leave(p);
  void* const at = ZEB_REIR::putTo(bytes, p);
  std::memcpy(ZEB_Behind(bytes, ZEB_Distance(p, at)), &processId_, sizeof processId_);
  return trace.leave(ZEB_Behind(at, sizeof processId_));
}

void ZEB_EGIR::print() const {
  ZEB_Trace trace(kUnit, "ZEB_EGIR::print");
  if (processId_ == 0)
    trace.print("Process ID          : %s", "n/a");
  else
    trace.print("Process ID          : %d", processId_);
  ZEB_REIR::print();
}

void ZEB_EGIR::setProcessId(int processId) {
  ZEB_Trace trace(kUnit, "ZEB_EGIR::setProcessId");
  processId_ = processId;
}

int ZEB_EGIR::getProcessId() const {
  ZEB_Trace trace(kUnit, "ZEB_EGIR::getProcessId");
  return trace.leave(processId_);
}
