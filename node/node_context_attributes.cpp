// SPDX-License-Identifier: Apache-2.0
// The attributes of a node: which there are, what they mean when they were never set, and where
// their values go.
#include <iterator>
#include <new>

#include "base/trace.h"
#include "node/node_context.h"

namespace {

constexpr char kUnit[] = "zebpcont";

// The enumerated ones, by index. "label" is none of them: it can be set, but not read.
struct Enumerated {
  const char* name;
  const char* defaultValue;
};
constexpr Enumerated kEnumerated[] = {{"type", "other"},
                                      {"eventMessage", ""},
                                      {"collectQueueTime", "yes"},
                                      {"subFlowName", ""},
                                      {"activateNode", "yes"}};
constexpr char kLabel[] = "label";
constexpr int kNone = -1;

int indexOf(const ZEB_String& name) {
  for (std::size_t i = 0; i < std::size(kEnumerated); ++i)
    if (name == kEnumerated[i].name) return static_cast<int>(i);
  return kNone;
}

}  // namespace

int ZEB_Node_Context::setAttributeValue(const zebchar* name, const zebchar* value) {
  ZEB_Trace trace(kUnit, "ZEB_Node_Context::setAttributeValue");
  const ZEB_String attribute(name);
  const ZEB_String text(value);
  trace.text("Attribute Name = <%s>  Attribute Value = <%s>", attribute, text);
  // Appended on purpose, also when the name was set before: reading back gives the first value,
  // while the monitoring node has the latest.
  insertAttribute(name, value);
  if (attribute == kLabel) {
    setNodeLabel(text);
    return trace.leave(0);
  }
  using Setter = void (ZEB_Node_Context::*)(const ZEB_String&);
  static constexpr Setter kSetters[std::size(kEnumerated)] = {
      &ZEB_Node_Context::setNodeType, &ZEB_Node_Context::setEventMessage,
      &ZEB_Node_Context::setQueueTimeCollection, &ZEB_Node_Context::setSubFlowName,
      &ZEB_Node_Context::setActivateNode};
  const int index = indexOf(attribute);
  if (index == kNone) return trace.leave(0);
  (this->*kSetters[index])(text);
  return trace.leave(1);
}

// A known attribute gives 0 here and 1 when it is set: an asymmetry that stays, on purpose.
int ZEB_Node_Context::getAttributeValue(const zebchar* name, zebchar* buffer, int length) {
  ZEB_Trace trace(kUnit, "ZEB_Node_Context::getAttributeValue");
  const ZEB_String attribute(name);
  trace.text("Attribute Name = <%s>  Buffer size = <%i>", attribute, length);
  const int index = indexOf(attribute);
  if (index == kNone) return trace.leave(1);
  if (!buffer) return trace.leave(0);
  if (const ZEB_Attribute* const found = attributes_.find(attribute)) {
    if (found->getValue().getwcValue()) {
      trace.text("Attribute Value = <%s>", found->getValue());
      found->getValue().copyTo(buffer, length);
    } else {
      trace.text("Found Attribute, but no value to copy to buffer");
    }
  } else {
    const ZEB_String defaultValue(kEnumerated[index].defaultValue);
    trace.text("Attribute Value (Default) = <%s>", defaultValue);
    defaultValue.copyTo(buffer, length);
  }
  return trace.leave(0);
}

int ZEB_Node_Context::getAttributeName(int index, zebchar* buffer, int length) {
  ZEB_Trace trace(kUnit, "ZEB_Node_Context::getAttributeName");
  trace.text("Index = <%i> Buffer size = <%i>", index, length);
  // Before the index and the buffer are looked at: asking for any name completes the node.
  ZEB_Monitoring_Node* const node = usableNode();
  if (node && !node->isInitialized() && node->isNodeLabelSet()) node->initializeNode();
  if (!buffer || index < 0 || index >= static_cast<int>(std::size(kEnumerated)))
    return trace.leave(1);
  const ZEB_String name(kEnumerated[index].name);
  name.copyTo(buffer, length);
  trace.text("Attribute Name = <%s>", name);
  return trace.leave(0);
}

void ZEB_Node_Context::insertAttribute(const zebchar* name, const zebchar* value) {
  ZEB_Trace trace(kUnit, "ZEB_Node_Context::insertAttribute");
  std::unique_ptr<ZEB_Attribute> attribute(new (std::nothrow) ZEB_Attribute(name, value));
  if (!attribute)
    trace.allocationError();
  else if (attribute->OK() && !attributes_.append(std::move(attribute)))
    trace.allocationError();
}

ZEB_Monitoring_Node* ZEB_Node_Context::usableNode() const {
  return monitoringNode_ && monitoringNode_->OK() ? monitoringNode_.get() : nullptr;
}

void ZEB_Node_Context::setNodeLabel(const ZEB_String& value) {
  ZEB_Trace trace(kUnit, "ZEB_Node_Context::setNodeLabel");
  if (ZEB_Monitoring_Node* const node = usableNode()) node->setNodeLabel(&value);
}

void ZEB_Node_Context::setNodeType(const ZEB_String& value) {
  ZEB_Trace trace(kUnit, "ZEB_Node_Context::setNodeType");
  if (ZEB_Monitoring_Node* const node = usableNode()) node->setNodeType(&value);
}

void ZEB_Node_Context::setEventMessage(const ZEB_String& value) {
  ZEB_Trace trace(kUnit, "ZEB_Node_Context::setEventMessage");
  if (ZEB_Monitoring_Node* const node = usableNode()) node->setEventMessage(&value);
}

void ZEB_Node_Context::setQueueTimeCollection(const ZEB_String& value) {
  ZEB_Trace trace(kUnit, "ZEB_Node_Context::setQueueTimeCollection");
  if (ZEB_Monitoring_Node* const node = usableNode()) node->setQueueTimeCollection(&value);
}

void ZEB_Node_Context::setSubFlowName(const ZEB_String& value) {
  ZEB_Trace trace(kUnit, "ZEB_Node_Context::setSubFlowName");
  if (ZEB_Monitoring_Node* const node = usableNode()) node->setSubFlowName(&value);
}

void ZEB_Node_Context::setActivateNode(const ZEB_String& value) {
  ZEB_Trace trace(kUnit, "ZEB_Node_Context::setActivateNode");
  if (ZEB_Monitoring_Node* const node = usableNode()) node->setActivateNode(&value);
}
