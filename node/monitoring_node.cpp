// SPDX-License-Identifier: Apache-2.0
#include "node/monitoring_node.h"

#include <pthread.h>
#include <unistd.h>

#include <new>

#include "base/trace.h"
#include "format/names.h"
#include "interface/host_interface.h"

namespace {

constexpr char kUnit[] = "zebpmono";

ZEB_NodeType nodeTypeOf(const ZEB_String* text) {
  if (!text) return ZEB_OTHER_NODE;
  if (*text == "input") return ZEB_INPUT_NODE;
  if (*text == "output") return ZEB_OUTPUT_NODE;
  if (*text == "subFlowInput") return ZEB_SUB_FLOW_INPUT_NODE;
  if (*text == "subFlowOutput") return ZEB_SUB_FLOW_OUTPUT_NODE;
  return ZEB_OTHER_NODE;
}

// What the host has to say of its pending exception.
ZEB_String pendingException() {
  int unread = 0;
  HostExceptionData data{};
  hcxGetLastExceptionData(&unread, &data);
  ZEB_String text(layout::kExceptionPrefix);
  text += data.origin;
  text += "(";
  text += data.code;
  text += "). ";
  text += data.text;
  return text;
}

}  // namespace

ZEB_Monitoring_Node::ZEB_Monitoring_Node(const ZEB_Resource_ID* broker,
                                         const ZEB_Resource_ID* executionGroup,
                                         const ZEB_Resource_ID* messageFlow,
                                         const ZEB_Resource_ID* node, int activationOverride)
    : activationOverride_(activationOverride) {
  ZEB_Trace trace(kUnit, "ZEB_Monitoring_Node::ZEB_Monitoring_Node");
  init(broker, executionGroup, messageFlow, node);
  if (!OK()) cleanup();
}

ZEB_Monitoring_Node::~ZEB_Monitoring_Node() {
  ZEB_Trace trace(kUnit, "ZEB_Monitoring_Node::~ZEB_Monitoring_Node");
  cleanup();
}

void ZEB_Monitoring_Node::init(const ZEB_Resource_ID* broker, const ZEB_Resource_ID* executionGroup,
                               const ZEB_Resource_ID* messageFlow, const ZEB_Resource_ID* node) {
  ZEB_Trace trace(kUnit, "ZEB_Monitoring_Node::init");
  if (!broker || !executionGroup || !messageFlow || !node) return fail();
  brokerId_ = *broker;
  executionGroupId_ = *executionGroup;
  messageFlowId_ = *messageFlow;
  nodeId_ = *node;
  broker_.reset(new (std::nothrow) ZEB_Broker(&brokerId_));
  if (!broker_) {
    fail();
    trace.allocationError();
  } else if (!broker_->OK()) {
    broker_.reset();
    fail();
  }
}

void ZEB_Monitoring_Node::cleanup() {
  ZEB_Trace trace(kUnit, "ZEB_Monitoring_Node::cleanup");
  if (node_ && broker_) broker_->deleteNode(node_);
  node_ = nullptr;
  statistics_ = nullptr;
  broker_.reset();
  eventTemplate_.reset();
}

void ZEB_Monitoring_Node::setNodeLabel(const ZEB_String* label) {
  ZEB_Trace trace(kUnit, "ZEB_Monitoring_Node::setNodeLabel");
  if (!OK() || !label) return;
  nodeId_.setLabel(label);
  labelSet_ = true;
  initializeWhenComplete();
}

void ZEB_Monitoring_Node::setNodeType(const ZEB_String* text) {
  ZEB_Trace trace(kUnit, "ZEB_Monitoring_Node::setNodeType");
  nodeType_ = nodeTypeOf(text);
  typeSet_ = true;
  initializeWhenComplete();
}

ZEB_ReturnCode ZEB_Monitoring_Node::setEventMessage(const ZEB_String* text) {
  ZEB_Trace trace(kUnit, "ZEB_Monitoring_Node::setEventMessage");
  if (text) {
    eventMessage_ = *text;
    eventMessageSet_ = true;
    initializeWhenComplete();
  }
  return trace.leave(ZEB_ReturnCode(ZEB_SUCCESS));
}

// Traced under the label setter's name, on purpose.
void ZEB_Monitoring_Node::setSubFlowName(const ZEB_String* name) {
  ZEB_Trace trace(kUnit, "ZEB_Monitoring_Node::setNodeLabel");
  if (!name) return;
  subFlowName_ = *name;
  subFlowNameSet_ = true;
  initializeWhenComplete();
}

void ZEB_Monitoring_Node::setActivateNode(const ZEB_String* text) {
  ZEB_Trace trace(kUnit, "ZEB_Monitoring_Node::setActivateNode");
  activation_ = text ? ZEB_ActivationOf(*text) : ZEB_ACTIVE;
  activationSet_ = true;
  initializeWhenComplete();
}

void ZEB_Monitoring_Node::setQueueTimeCollection(const ZEB_String* text) {
  ZEB_Trace trace(kUnit, "ZEB_Monitoring_Node::setQueueTimeCollection");
  collectQueueTime_ = text && *text == "yes";
}

void ZEB_Monitoring_Node::initializeWhenComplete() {
  if (typeSet_ && labelSet_ && eventMessageSet_ && subFlowNameSet_ && activationSet_ &&
      !initialized_)
    initializeNode();
}

void ZEB_Monitoring_Node::initializeNode() {
  ZEB_Trace trace(kUnit, "ZEB_Monitoring_Node::initializeNode");
  if (initialized_ || !OK() || !broker_ || !broker_->OK()) return;
  if (!labelSet_) {
    const ZEB_String unknown("*Unknown*DravikMonitor");
    nodeId_.setLabel(&unknown);
    labelSet_ = true;
  }
  decideActivity();
  if (activeForStats_) joinTree();
  if (OK() && activeForEvents_) initEventMessage();
  initialized_ = OK();
}

// Sub-flow input and output nodes count as neither input nor output, on purpose.
void ZEB_Monitoring_Node::decideActivity() {
  const bool inputOrOutput = nodeType_ == ZEB_INPUT_NODE || nodeType_ == ZEB_OUTPUT_NODE;
  const bool hasEventMessage = eventMessage_.size() > 0;
  switch (activationOverride_ != ZEB_NO_OVERRIDE ? activationOverride_
                                                 : static_cast<int>(activation_)) {
    case ZEB_ACTIVE:
      activeForStats_ = activeForEvents_ = true;
      break;
    case ZEB_INACTIVE:
      activeForStats_ = activeForEvents_ = false;
      break;
    case ZEB_EVENT_ONLY:
      activeForStats_ = false;
      activeForEvents_ = hasEventMessage;
      break;
    case ZEB_INPUT_OUTPUT_ONLY:
      activeForStats_ = activeForEvents_ = inputOrOutput;
      break;
    case ZEB_INPUT_OUTPUT_AND_EVENT_ONLY:
      activeForStats_ = activeForEvents_ = inputOrOutput || hasEventMessage;
      break;
    default:
      break;
  }
}

// Finds or makes the node's place, from the group down to the statistics record, and stores it.
void ZEB_Monitoring_Node::joinTree() {
  broker_->keepTo({&executionGroupId_, &messageFlowId_, &nodeId_});
  if (broker_->readStatsArea(1) == ZEB_SUCCESS) {
    executionGroup_ = broker_->findExecutionGroup(&executionGroupId_);
    if (!executionGroup_) executionGroup_ = broker_->insertExecutionGroup(&executionGroupId_);
  }
  if (!executionGroup_) return fail();
  executionGroup_->setProcessId(getProcessId());
  messageFlow_ = executionGroup_->findMessageFlow(&messageFlowId_);
  if (!messageFlow_) messageFlow_ = executionGroup_->insertMessageFlow(&messageFlowId_);
  if (!messageFlow_) return fail();

  std::unique_ptr<ZEB_ORVA_Resource> replaced = findOrInsertNode();
  if (!node_) return fail();
  node_->setNodeType(nodeType_);
  node_->setSubFlowName(&subFlowName_);
  if (replaced) {
    statistics_ = node_->insertStatistics(static_cast<ZEB_Node*>(replaced.get())->getStatsRecord());
    if (statistics_) statistics_->setParent(node_->getRecordId());
    replaced.reset();
  } else {
    statistics_ = node_->getStatsRecord();
    if (!statistics_) statistics_ = node_->insertStatistics(nullptr);
  }
  if (!statistics_) return fail();
  broker_->resetStatistics(0);
}

// Sets node_ to the node of the flow that is this one, brought back to life, or to a new one. A
// node whose sub-flow name has another length is replaced and handed over: judged by the length, on
// purpose, since an equally long name fits where the old one is stored.
std::unique_ptr<ZEB_ORVA_Resource> ZEB_Monitoring_Node::findOrInsertNode() {
  node_ = messageFlow_->findNode(&nodeId_);
  std::unique_ptr<ZEB_ORVA_Resource> replaced;
  if (node_) {
    const ZEB_String present = node_->getSubFlowName();
    if (present == subFlowName_ || present.size() == subFlowName_.size()) {
      node_->undelete();
      return nullptr;
    }
    constexpr ZEB_Record_ID kNoParent;
    node_->getInformationRecord()->setParent(&kNoParent);
    broker_->deleteNode(node_);
    replaced = messageFlow_->getNodes().remove(node_);
  }
  node_ = messageFlow_->insertNode(&nodeId_);
  return replaced;
}

ZEB_ReturnCode ZEB_Monitoring_Node::initEventMessage() {
  ZEB_Trace trace(kUnit, "ZEB_Monitoring_Node::initEventMessage");
  if (eventMessage_.size() == 0) return trace.leave(ZEB_ReturnCode(ZEB_SUCCESS));
  eventTemplate_.reset(new (std::nothrow)
                           ZEB_EVTR(&executionGroupId_.getLabel(), &messageFlowId_.getLabel(),
                                    &nodeId_.getLabel(), getNodeType(), &eventMessage_));
  if (!eventTemplate_) {
    trace.allocationError();
    return trace.leave(ZEB_ReturnCode(ZEB_NOT_ALLOCATED));
  }
  // Makes it the stored one, with the record ID that other processes know.
  if (broker_ && broker_->OK()) broker_->setEventTemplate(eventTemplate_.get());
  return trace.leave(ZEB_ReturnCode(ZEB_SUCCESS));
}

// Also for a node that never was initialised, or failed to be: the broker refuses a null record.
void ZEB_Monitoring_Node::updateStatistics(_TimeStamp queued, _TimeStamp elapsed, int size) {
  ZEB_Trace trace(kUnit, "ZEB_Monitoring_Node::updateStatistics");
  if (!broker_) return;
  broker_->updateStatistics(statistics_, collectQueueTime_ ? queued : _TimeStamp{}, elapsed, size);
}

void ZEB_Monitoring_Node::postEvent(const MessageDescriptor* descriptor,
                                    const ZEB_EVTR* eventTemplate) {
  ZEB_Trace trace(kUnit, "ZEB_Monitoring_Node::postEvent");
  const ZEB_EVTR* const kind = eventTemplate ? eventTemplate : eventTemplate_.get();
  if (!OK() || !kind || !descriptor || !broker_) return;
  ZEB_EVDR event(descriptor, static_cast<int>(getThreadId()));
  event.setParent(kind->getRecordId());
  broker_->postEvent(&event);
}

void ZEB_Monitoring_Node::postException(const MessageDescriptor* descriptor) {
  ZEB_Trace trace(kUnit, "ZEB_Monitoring_Node::postException");
  if (!OK() || !broker_ || !descriptor) return;
  const ZEB_String text = pendingException();
  ZEB_EVTR kind(&executionGroupId_.getLabel(), &messageFlowId_.getLabel(), &nodeId_.getLabel(),
                getNodeType(), &text);
  postEvent(descriptor, broker_->setEventTemplate(&kind));
}

bool ZEB_Monitoring_Node::OK() const {
  ZEB_Trace trace(kUnit, "ZEB_Monitoring_Node::OK");
  return trace.leave(status_ == ZEB_STATUS_OK);
}

int ZEB_Monitoring_Node::getStatus() const {
  ZEB_Trace trace(kUnit, "ZEB_Monitoring_Node::getStatus");
  return trace.leave(status_);
}

bool ZEB_Monitoring_Node::isActiveForStats() const {
  ZEB_Trace trace(kUnit, "ZEB_Monitoring_Node::isActiveForStats");
  return trace.leave(activeForStats_);
}

bool ZEB_Monitoring_Node::isActiveForEvents() const {
  ZEB_Trace trace(kUnit, "ZEB_Monitoring_Node::isActiveForEvents");
  return trace.leave(activeForEvents_);
}

bool ZEB_Monitoring_Node::isNodeLabelSet() const {
  ZEB_Trace trace(kUnit, "ZEB_Monitoring_Node::isNodeLabelSet");
  return trace.leave(labelSet_);
}

bool ZEB_Monitoring_Node::isInitialized() const {
  ZEB_Trace trace(kUnit, "ZEB_Monitoring_Node::isInitialized");
  return trace.leave(initialized_);
}

ZEB_NodeType ZEB_Monitoring_Node::getNodeType() const {
  ZEB_Trace trace(kUnit, "ZEB_Monitoring_Node::getNodeType");
  return trace.leave(node_ ? node_->getNodeType() : nodeType_);
}

std::uint64_t ZEB_Monitoring_Node::getThreadId() {
  ZEB_Trace trace(kUnit, "ZEB_Monitoring_Node::getThreadId");
  return trace.leave(static_cast<std::uint64_t>(pthread_self()));
}

int ZEB_Monitoring_Node::getProcessId() {
  ZEB_Trace trace(kUnit, "ZEB_Monitoring_Node::getProcessId");
  return trace.leave(static_cast<int>(getpid()));
}
