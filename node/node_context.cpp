// SPDX-License-Identifier: Apache-2.0
#include "node/node_context.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "base/put_time.h"
#include "base/settings.h"
#include "base/trace.h"
#include "format/names.h"
#include "node/common_values.h"

namespace {

constexpr char kUnit[] = "zebpcont";

constexpr auto kInput = ZEB_Widened("in");
constexpr auto kOutput = ZEB_Widened("out");

// The bytes of the message's bit stream; the host may have to make that first.
int bitStreamSize(HostMessage* message) {
  int returnCode = 0;
  const int size = hnxBufferSize(&returnCode, message);
  if (size != 0) return size;
  hnxWriteBuffer(&(returnCode = 0), message);
  return hnxBufferSize(&(returnCode = 0), message);
}

// False, and a descriptor of zeros, without a message or a bit stream.
bool readDescriptor(HostMessage* message, MessageDescriptor& descriptor) {
  int returnCode = 0;
  const std::uint8_t* const bitStream = message ? hnxBufferPointer(&returnCode, message) : nullptr;
  if (bitStream)
    std::memcpy(&descriptor, bitStream, sizeof descriptor);
  else
    descriptor = {};
  return bitStream != nullptr;
}

struct FreeBuffer {
  void operator()(void* buffer) const { std::free(buffer); }
};
using Buffer = std::unique_ptr<zebchar, FreeBuffer>;

// One unit more than reported, zeroed: whether the host counts a terminator is not known.
Buffer makeBuffer(HostName& name) {
  if (name.length < 0) name.length = 0;
  Buffer buffer(static_cast<zebchar*>(
      std::calloc(static_cast<std::size_t>(name.length) + 1, sizeof(zebchar))));
  name.buffer = buffer.get();
  name.bufferLength = name.length;
  return buffer;
}

// Whether memory sufficed for the units and for the narrow view, by which settings are looked up
// and compared.
bool isWhole(const ZEB_String& text) {
  return text.getcValue() != nullptr;
}

bool isWhole(const ZEB_Resource_ID& id) {
  return id.getUuid().OK() && id.getLabel().OK();
}

// Takes the UUID from the first registry directory that holds one; empty when none does. False when
// memory ran out: which segment is the broker's is unknown then.
bool findUuid(const ZEB_String& label, ZEB_String& uuid) {
  const ZEB_String places[] = {
      ZEB_String(layout::kRegistries[0]) + label, ZEB_String(layout::kRegistries[1]) + label,
      ZEB_String(layout::kRegistries[1]) + label + layout::kCurrentVersion};
  for (const ZEB_String& place : places) {
    if (!isWhole(place)) return false;
    uuid = ZEB_GetRegistryValue(place.getcValue(), layout::kUuidFile);
    if (!uuid.OK()) return false;
    if (uuid.size() > 0) break;
  }
  return true;
}

// Takes the override of that broker, "NoOverride" included; without one it stays. False when memory
// ran out.
bool findOverride(const ZEB_String& label, int& activationOverride) {
  const ZEB_String key = ZEB_String(layout::kActivateForKey) + label;
  if (!isWhole(key)) return false;
  const ZEB_String configured = ZEB_ConfigurationValue(key.getcValue());
  if (!isWhole(configured)) return false;
  activationOverride = ZEB_OverrideOf(configured, activationOverride);
  return true;
}

}  // namespace

ZEB_Node_Context::ZEB_Node_Context(HostNode* node)
    : node_(node), activationOverride_(overrideActivateNodeForAll) {
  ZEB_Trace trace(kUnit, "ZEB_Node_Context::ZEB_Node_Context");
  inputTerminal_ =
      createTerminal(trace, kInput.data(), "hnxCreateInputTerminal", hnxCreateInputTerminal);
  if (OK())
    outputTerminal_ =
        createTerminal(trace, kOutput.data(), "hnxCreateOutputTerminal", hnxCreateOutputTerminal);
  if (OK()) getResourceNames();
  if (OK()) {
    monitoringNode_.reset(new (std::nothrow) ZEB_Monitoring_Node(
        &brokerId_, &executionGroupId_, &messageFlowId_, &nodeId_, activationOverride_));
    if (!monitoringNode_) {
      status_ = ZEB_STATUS_FAILED;
      trace.allocationError();
    } else if (!monitoringNode_->OK()) {
      monitoringNode_.reset();
      status_ = ZEB_STATUS_FAILED;
    }
  }
  if (!OK()) cleanup();
}

ZEB_Node_Context::~ZEB_Node_Context() {
  ZEB_Trace trace(kUnit, "ZEB_Node_Context::~ZEB_Node_Context");
  cleanup();
}

void ZEB_Node_Context::cleanup() {
  ZEB_Trace trace(kUnit, "ZEB_Node_Context::cleanup");
  monitoringNode_.reset();
  attributes_.cleanup();
}

HostTerminal* ZEB_Node_Context::createTerminal(const ZEB_Trace& trace, const zebchar* name,
                                               const char* function,
                                               HostTerminal* (*create)(int*, HostNode*,
                                                                       const std::uint16_t*)) {
  int returnCode = 0;
  HostTerminal* const terminal = create(&returnCode, node_, name);
  if (!terminal) {
    trace.hostCallFailed(function, "Error %i.", returnCode);
    status_ = ZEB_STATUS_FAILED;
  }
  return terminal;
}

void ZEB_Node_Context::getResourceNames() {
  ZEB_Trace trace(kUnit, "ZEB_Node_Context::getResourceNames");
  int returnCode = 0;
  HostBrokerInfo names{};
  hnxGetBrokerInfo(&returnCode, node_, &names);

  HostName* const entries[] = {&names.broker, &names.executionGroup, &names.messageFlow,
                               &names.fourth};
  Buffer buffers[std::size(entries)];
  for (std::size_t i = 0; i < std::size(entries) && OK(); ++i) {
    buffers[i] = makeBuffer(*entries[i]);
    if (buffers[i]) continue;
    trace.allocationError();
    status_ = ZEB_STATUS_FAILED;
  }
  if (!OK()) return;
  hnxGetBrokerInfo(&(returnCode = 0), node_, &names);

  const ZEB_String brokerLabel(buffers[0].get());
  const ZEB_String groupLabel(buffers[1].get());
  const ZEB_String flowLabel(buffers[2].get());
  ZEB_String uuid;
  const bool uuidKnown = findUuid(brokerLabel, uuid);
  brokerId_.setUuid(&uuid);
  brokerId_.setLabel(&brokerLabel);
  executionGroupId_.setLabel(&groupLabel);
  messageFlowId_.setLabel(&flowLabel);
  trace.text("Broker Label = %s", brokerLabel);
  trace.text("Broker Uuid = %s", uuid);
  trace.text("Execution Group Label = %s", groupLabel);
  trace.text("Message Flow Label = %s", flowLabel);

  const bool overrideKnown = findOverride(brokerLabel, activationOverride_) && overrideIsKnown;
  // What memory ran out for must not be taken for what nobody has set.
  if (uuidKnown && overrideKnown && isWhole(brokerId_) && isWhole(executionGroupId_) &&
      isWhole(messageFlowId_))
    return;
  trace.allocationError();
  status_ = ZEB_STATUS_FAILED;
}

// The host may complete the node while the message is downstream, and the node be inactive then:
// what is active is asked again. Nothing catches here: what the host throws belongs to the host.
void ZEB_Node_Context::processMessage(HostTree* first, HostTree* second, HostMessage* message) {
  ZEB_Trace trace(kUnit, "ZEB_Node_Context::processMessage");
  ZEB_Monitoring_Node* const node = monitoringNode_.get();
  int returnCode = 0;
  int size = 0;
  _TimeStamp queued;
  ZEB_Timer timer;
  MessageDescriptor descriptor;  // read when the node is active

  const bool statistics = node && node->isActiveForStats();
  const bool events = node && node->isActiveForEvents();
  if (statistics) {
    timer.start();
    if (message) size = bitStreamSize(message);
    if (readDescriptor(message, descriptor) && node->getNodeType() == ZEB_INPUT_NODE)
      queued = getQueuedTime(descriptor.putDate, descriptor.putTime);
  }
  if (events) {
    if (!statistics) readDescriptor(message, descriptor);
    node->postEvent(&descriptor, nullptr);
  }

  hnxPropagate(&returnCode, outputTerminal_, first, second, message);
  trace.text("hnxPropagate rc=%i", returnCode);

  // A failure downstream counts too: the time up to it was spent.
  if (node && node->isActiveForStats()) {
    timer.stop();
    node->updateStatistics(queued, timer.elapsedTime(), size);
  }
  if (returnCode != HOST_EXCEPTION) return;
  if (node && node->isActiveForEvents()) node->postException(&descriptor);
  hcxRethrowLastException(&(returnCode = 0));
}

_TimeStamp ZEB_Node_Context::getQueuedTime(const char* putDate, const char* putTime) {
  ZEB_Trace trace(kUnit, "ZEB_Node_Context::getQueuedTime");
  if (!putDate || !putTime || *putDate == '\0' || *putTime == '\0') return {};
  const auto put = ZEB_ReadPutTime(putDate, putTime);
  return put ? ZEB_Timer::elapsedTime(*put) : _TimeStamp{};
}

bool ZEB_Node_Context::OK() const {
  ZEB_Trace trace(kUnit, "ZEB_Node_Context::OK");
  return trace.leave(status_ == ZEB_STATUS_OK);
}

int ZEB_Node_Context::getStatus() const {
  ZEB_Trace trace(kUnit, "ZEB_Node_Context::getStatus");
  return trace.leave(status_);
}
