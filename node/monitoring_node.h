// SPDX-License-Identifier: Apache-2.0
// ZEB_Monitoring_Node: what one node instance measures, and where it puts it.
#ifndef ZEB_NODE_MONITORING_NODE_H
#define ZEB_NODE_MONITORING_NODE_H

#include <memory>

#include "node/activation.h"
#include "records/message_descriptor.h"
#include "resources/broker.h"

// The host's configuration thread calls the setters; with the fifth of the attributes that count,
// or when asked to, the node initialises itself: it joins the tree in shared memory and decides
// what it collects. Message threads then call updateStatistics, postEvent and postException,
// several at once. The fields are not locked. A host sets attributes before messages flow, or on
// the only thread that has a message in the node: what is active may then change during a message.
class ZEB_Monitoring_Node {
 public:
  // Copies the identifiers and attaches the broker's shared memory. Status 301 when that fails or
  // an identifier is null, with the messages of what failed. `activationOverride` is a
  // ZEB_ActivateNode; 0 leaves it to the node's attribute.
  ZEB_Monitoring_Node(const ZEB_Resource_ID* broker, const ZEB_Resource_ID* executionGroup,
                      const ZEB_Resource_ID* messageFlow, const ZEB_Resource_ID* node,
                      int activationOverride);
  // As cleanup. No message may be in the node.
  ~ZEB_Monitoring_Node();
  ZEB_Monitoring_Node(const ZEB_Monitoring_Node&) = delete;
  ZEB_Monitoring_Node& operator=(const ZEB_Monitoring_Node&) = delete;

  // Each records its value and, except setQueueTimeCollection, may initialise the node. Null: see
  // each. A value set after the initialisation changes the field and nothing else.
  void setNodeLabel(const ZEB_String* label);  // only while OK; null is ignored
  void setNodeType(const ZEB_String* text);    // exact texts; null or any other: 3, other
  ZEB_ReturnCode setEventMessage(const ZEB_String* text);  // null is ignored; code 0
  void setSubFlowName(const ZEB_String* name);             // null is ignored
  void setActivateNode(const ZEB_String* text);  // any letter case; null or any other: mode 1
  void setQueueTimeCollection(const ZEB_String* text);  // on for exactly "yes"; at once

  // Decides what the node collects, joins the resource tree and stores the event template. Does
  // nothing once it has succeeded or failed. Deploying a node that collects statistics resets the
  // statistics of every node of the broker. Takes the statistics area's lock, and waits for it. A
  // node without a label gets "*Unknown*DravikMonitor".
  void initializeNode();

  // Folds one message into the node's record: queued and elapsed time and size in bytes. Takes the
  // record's lock, and waits for it. The queued time counts as 0 while its collection is off.
  void updateStatistics(_TimeStamp queued, _TimeStamp elapsed, int size);

  // Posts an event of the template, or for null of the node's own; without either, or with a null
  // descriptor, nothing. Both are only read during the call. Takes the event data area's lock.
  void postEvent(const MessageDescriptor* descriptor, const ZEB_EVTR* eventTemplate);

  // Posts the host's pending exception, whether or not the node has an event message. The template
  // of its text is stored first, unless there is one. Nothing for a null descriptor.
  [[gnu::noinline]] void postException(const MessageDescriptor* descriptor);

  // Once the status is 301 the node joins nothing and posts nothing.
  bool OK() const;
  int getStatus() const;
  // What the node collects: both until it is initialised.
  bool isActiveForStats() const;
  bool isActiveForEvents() const;
  bool isNodeLabelSet() const;
  bool isInitialized() const;
  // The type of the tree's node once it has joined, else the one that was set.
  ZEB_NodeType getNodeType() const;
  // The calling thread's pthread_self(), and this process.
  static std::uint64_t getThreadId();
  static int getProcessId();

  // Marks the node as deleted, here and in the area, and detaches. What is stored stays for
  // readers.
  void cleanup();

 private:
  void init(const ZEB_Resource_ID* broker, const ZEB_Resource_ID* executionGroup,
            const ZEB_Resource_ID* messageFlow, const ZEB_Resource_ID* node);
  void initializeWhenComplete();
  void decideActivity();
  void joinTree();
  std::unique_ptr<ZEB_ORVA_Resource> findOrInsertNode();
  ZEB_ReturnCode initEventMessage();
  void fail() { status_ = ZEB_STATUS_FAILED; }

  int status_ = ZEB_STATUS_OK;
  ZEB_Resource_ID brokerId_;
  ZEB_Resource_ID executionGroupId_;
  ZEB_Resource_ID messageFlowId_;
  ZEB_Resource_ID nodeId_;
  std::unique_ptr<ZEB_Broker> broker_;
  ZEB_Execution_Group* executionGroup_ = nullptr;  // these four belong to the broker's tree
  ZEB_Message_Flow* messageFlow_ = nullptr;
  ZEB_Node* node_ = nullptr;
  ZEB_STIR* statistics_ = nullptr;
  std::unique_ptr<ZEB_EVTR> eventTemplate_;
  ZEB_NodeType nodeType_ = ZEB_OTHER_NODE;
  ZEB_String eventMessage_;
  ZEB_String subFlowName_;
  ZEB_ActivateNode activation_ = ZEB_ACTIVE;
  int activationOverride_;
  bool typeSet_ = false;
  bool labelSet_ = false;
  bool initialized_ = false;
  bool collectQueueTime_ = true;
  bool eventMessageSet_ = false;
  bool subFlowNameSet_ = false;
  bool activationSet_ = false;
  bool activeForStats_ = true;
  bool activeForEvents_ = true;
};

#endif  // ZEB_NODE_MONITORING_NODE_H
