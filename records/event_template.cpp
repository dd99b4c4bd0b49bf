// SPDX-License-Identifier: Apache-2.0
#include "records/event_template.h"

#include <cstring>

#include "base/trace.h"

namespace {

constexpr char kUnit[] = "zebcevtr";

}  // namespace

ZEB_EVTR::ZEB_EVTR(const ZEB_String* executionGroup, const ZEB_String* messageFlow,
                   const ZEB_String* node, ZEB_NodeType nodeType, const ZEB_String* text)
    : ZEB_Record(ZEB_EVTR_RECORD, executionGroup != nullptr) {
  ZEB_Trace trace(kUnit, "ZEB_EVTR::ZEB_EVTR");
  nodeType_ = nodeType;
  take(executionGroup_, executionGroup);
  take(messageFlow_, messageFlow);
  take(node_, node);
  take(text_, text);
}

ZEB_EVTR::ZEB_EVTR(const ZEB_EVTR& other) : ZEB_Record(other), nodeType_(other.nodeType_) {
  ZEB_Trace trace(kUnit, "ZEB_EVTR::ZEB_EVTR");
  take(executionGroup_, &other.executionGroup_);
  take(messageFlow_, &other.messageFlow_);
  take(node_, &other.node_);
  take(text_, &other.text_);
}

void ZEB_EVTR::take(ZEB_String& field, const ZEB_String* value) {
  if (value) field = *value;
  require(field);
}

ZEB_EVTR& ZEB_EVTR::operator=(const ZEB_EVTR& other) {
  ZEB_Trace trace(kUnit, "ZEB_EVTR::operator=");
  if (!OK()) return *this;
  ZEB_Record::operator=(other);
  take(executionGroup_, &other.executionGroup_);
  take(messageFlow_, &other.messageFlow_);
  take(node_, &other.node_);
  nodeType_ = other.nodeType_;
  take(text_, &other.text_);
  return *this;
}

bool ZEB_EVTR::operator==(const ZEB_EVTR& other) const {
  ZEB_Trace trace(kUnit, "ZEB_EVTR::operator==");
  return trace.leave(OK() && executionGroup_ == other.executionGroup_ &&
                     messageFlow_ == other.messageFlow_ && node_ == other.node_ &&
                     nodeType_ == other.nodeType_ && text_ == other.text_);
}

std::uint32_t ZEB_EVTR::size() const {
  ZEB_Trace trace(kUnit, "ZEB_EVTR::size");
  if (!OK()) return trace.leave(0U);
  return trace.leave(ZEB_Record::size() + executionGroup_.binarySize() + messageFlow_.binarySize() +
                     node_.binarySize() + layout::evtr::nodeType.width + text_.binarySize());
}

void* ZEB_EVTR::getFrom(const void* bytes, void* p) {
  ZEB_Trace trace(kUnit, "ZEB_EVTR::get");
  if (!usable(p)) return trace.leave(p);
  const void* at = ZEB_Behind(bytes, ZEB_Distance(p, ZEB_Record::getFrom(bytes, p)));
  for (ZEB_String* name : {&executionGroup_, &messageFlow_, &node_}) {
    at = name->get(at);
    require(*name);
  }
  std::uint32_t code;
  std::memcpy(&code, at, sizeof code);
  nodeType_ = static_cast<ZEB_NodeType>(code);
  at = text_.get(ZEB_Behind(at, sizeof code));
  require(text_);
  return trace.leave(ZEB_Behind(p, ZEB_Distance(bytes, at)));
}

void* ZEB_EVTR::putTo(void* bytes, void* p) {
  ZEB_Trace trace(kUnit, "ZEB_EVTR::put");
  if (!usable(p)) return trace.leave(p);
  void* at = ZEB_Behind(bytes, ZEB_Distance(p, ZEB_Record::putTo(bytes, p)));
  at = node_.put(messageFlow_.put(executionGroup_.put(at)));
  const std::uint32_t code = nodeType_;
  std::memcpy(at, &code, sizeof code);
  at = text_.put(ZEB_Behind(at, sizeof code));
  return trace.leave(ZEB_Behind(p, ZEB_Distance(bytes, at)));
}

// Three lines show another field than their label names, on purpose.
void ZEB_EVTR::print() const {
  ZEB_Trace trace(kUnit, "ZEB_EVTR::print");
  ZEB_Record::print();
  trace.print("Execution Group     : %s", node_);
  trace.print("Message Flow        : %s", text_);
  trace.print("Node                : %s", node_);
  trace.print("Node Type           : %i", static_cast<int>(nodeType_));
  trace.print("Message text        : %s", text_);
}
