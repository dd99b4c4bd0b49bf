// SPDX-License-Identifier: Apache-2.0
#include "records/node_record.h"

#include <cstring>

#include "base/trace.h"

namespace {

constexpr char kUnit[] = "zebcnoir";

}  // namespace

ZEB_NOIR::ZEB_NOIR(const ZEB_Resource_ID* id) : ZEB_REIR(ZEB_NOIR_RECORD, id) {
  ZEB_Trace trace(kUnit, "ZEB_NOIR::ZEB_NOIR");
  require(subFlowName_);
}

ZEB_NOIR& ZEB_NOIR::operator=(const ZEB_NOIR& other) {
  ZEB_Trace trace(kUnit, "ZEB_NOIR::operator=");
  if (!OK()) return *this;
  ZEB_REIR::operator=(other);
  nodeType_ = other.nodeType_;
  setSubFlowName(&other.subFlowName_);
  return *this;
}

std::uint32_t ZEB_NOIR::size() const {
  ZEB_Trace trace(kUnit, "ZEB_NOIR::size");
  if (!OK()) return trace.leave(0U);
  return trace.leave(ZEB_REIR::size() + layout::noir::nodeType.width + subFlowName_.binarySize());
}

void* ZEB_NOIR::getFrom(const void* bytes, void* p) {
  ZEB_Trace trace(kUnit, "ZEB_NOIR::get");
  if (!usable(p)) return trace.leave(p);
  const void* at = ZEB_Behind(bytes, ZEB_Distance(p, ZEB_REIR::getFrom(bytes, p)));
  std::uint32_t code;
  std::memcpy(&code, at, sizeof code);
  nodeType_ = static_cast<ZEB_NodeType>(code);
  at = subFlowName_.get(ZEB_Behind(at, sizeof code));
  require(subFlowName_);
  return trace.leave(ZEB_Behind(p, ZEB_Distance(bytes, at)));
}

void* ZEB_NOIR::putTo(void* bytes, void* p) {
  ZEB_Trace trace(kUnit, "ZEB_NOIR::put");
  if (!usable(p)) return trace.leave(p);
  void* at = ZEB_Behind(bytes, ZEB_Distance(p, ZEB_REIR::putTo(bytes, p)));
  const std::uint32_t code = nodeType_;
  std::memcpy(at, &code, sizeof code);
  at = subFlowName_.put(ZEB_Behind(at, sizeof code));
  return trace.leave(ZEB_Behind(p, ZEB_Distance(bytes, at)));
}

void ZEB_NOIR::print() const {
  ZEB_Trace trace(kUnit, "ZEB_NOIR::print");
  ZEB_REIR::print();
  trace.print("Node type           : %i", static_cast<int>(nodeType_));
}

void ZEB_NOIR::setNodeType(ZEB_NodeType nodeType) {
  ZEB_Trace trace(kUnit, "ZEB_NOIR::setNodeType");
  nodeType_ = nodeType;
}

ZEB_NodeType ZEB_NOIR::getNodeType() const {
  ZEB_Trace trace(kUnit, "ZEB_NOIR::getNodeType");
  return trace.leave(nodeType_);
}

void ZEB_NOIR::setSubFlowName(const ZEB_String* name) {
  ZEB_Trace trace(kUnit, "ZEB_NOIR::setSubFlowName");
  if (!name) return;
  subFlowName_ = *name;
  require(subFlowName_);
}

ZEB_String ZEB_NOIR::getSubFlowName() const {
  ZEB_Trace trace(kUnit, "ZEB_NOIR::getSubFlowName");
  return subFlowName_;
}
