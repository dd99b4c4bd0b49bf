// SPDX-License-Identifier: Apache-2.0
// ZEB_Node_Context: what the host holds for one node instance in one deployed message flow.
#ifndef ZEB_NODE_NODE_CONTEXT_H
#define ZEB_NODE_NODE_CONTEXT_H

#include <memory>

#include "interface/host_interface.h"
#include "node/attributes_list.h"
#include "node/monitoring_node.h"

// Passes every message on, unchanged, measured or not: a context that failed has no monitoring
// node and measures nothing. Its fields are fixed once the attributes are set, so that the host may
// call processMessage on several threads at once.
class ZEB_Node_Context {
 public:
  // Makes the terminals "in" and "out", learns from the host where the node lives, and from
  // registry and configuration the broker's UUID and override. Status 301 when any of that fails,
  // or its monitoring node is not OK.
  explicit ZEB_Node_Context(HostNode* node);
  // Marks the node as deleted in shared memory. No message may be in it.
  ~ZEB_Node_Context();
  ZEB_Node_Context(const ZEB_Node_Context&) = delete;
  ZEB_Node_Context& operator=(const ZEB_Node_Context&) = delete;

  bool OK() const;
  int getStatus() const;

  // Measures the message and hands it, with both trees, to whatever is wired to "out". Each of the
  // three may be null; none is kept. Does not return normally when a node downstream raised an
  // exception: the host raises it again.
  //
  // In the plug-in, all that it calls becomes one function: the kernel may make a processor forget
  // where the calls around a system call return to, and each such return then costs as much as what
  // it returns from. What is large and seldom needed stays out of it by gnu::noinline.
  [[gnu::flatten]] void processMessage(HostTree* first, HostTree* second, HostMessage* message);

  // Stores the attribute, whatever its name, and passes it on. 1 for the five that are enumerated,
  // 0 for "label" and unknown names. Null is an empty string. Both texts are copied. Once the label
  // and all of these but collectQueueTime are set, the monitoring node initialises itself.
  int setAttributeValue(const zebchar* name, const zebchar* value);

  // Copies the first value that was set, or the default. 0 for the five that are enumerated, 1 and
  // nothing copied for others. A null buffer gets nothing; the length is in 16-bit characters, and
  // a value that does not fit is cut, its terminator with it.
  int getAttributeValue(const zebchar* name, zebchar* buffer, int length);

  // Copies the name of that index, 0 to 4. 1 for any other index or a null buffer. Any call
  // initialises a node whose label is set and that is not initialised yet.
  int getAttributeName(int index, zebchar* buffer, int length);

 private:
  HostTerminal* createTerminal(const ZEB_Trace& trace, const zebchar* name, const char* function,
                               HostTerminal* (*create)(int*, HostNode*, const std::uint16_t*));
  void getResourceNames();
  static _TimeStamp getQueuedTime(const char* putDate, const char* putTime);
  void insertAttribute(const zebchar* name, const zebchar* value);
  ZEB_Monitoring_Node* usableNode() const;
  void setNodeLabel(const ZEB_String& value);
  void setNodeType(const ZEB_String& value);
  void setEventMessage(const ZEB_String& value);
  void setQueueTimeCollection(const ZEB_String& value);
  void setSubFlowName(const ZEB_String& value);
  void setActivateNode(const ZEB_String& value);
  void cleanup();

  int status_ = ZEB_STATUS_OK;
  HostNode* node_;
  HostTerminal* inputTerminal_ = nullptr;
  HostTerminal* outputTerminal_ = nullptr;
  ZEB_Resource_ID brokerId_;
  ZEB_Resource_ID executionGroupId_;
  ZEB_Resource_ID messageFlowId_;
  ZEB_Resource_ID nodeId_;
  std::unique_ptr<ZEB_Monitoring_Node> monitoringNode_;
  ZEB_Attributes_List attributes_;
  int activationOverride_;
};

#endif  // ZEB_NODE_NODE_CONTEXT_H
