// SPDX-License-Identifier: Apache-2.0
// The functions that a plug-in's undefined symbols bind to. They are the only symbols that this
// program offers on purpose, hence the visibility of this file.
#pragma GCC visibility push(default)
#include "interface/host_interface.h"
#pragma GCC visibility pop

#include <algorithm>
#include <cstdarg>
#include <memory>

#include "host/run/exception.h"
#include "host/run/log.h"
#include "host/run/node.h"
#include "host/run/plugin.h"

namespace {

constexpr int kBadHandle = 1;

HostTerminal* addTerminal(int* returnCode, HostNode* node, const uint16_t* name, bool output) {
  *returnCode = node == nullptr ? kBadHandle : HOST_SUCCESS;
  if (node == nullptr) return nullptr;
  return &node->terminals.emplace_back(HostTerminal{node, host::fromUnits(name), output});
}

// The length without the terminator, and as much of the name as the buffer takes.
void giveName(HostName& entry, const host::Text16& name) {
  entry.length = static_cast<int32_t>(name.size());
  if (entry.buffer == nullptr || entry.bufferLength <= 0) return;
  const auto room = static_cast<std::size_t>(entry.bufferLength);
  const std::size_t copied = std::min(room, name.size());
  std::copy_n(name.begin(), copied, entry.buffer);
  if (copied < room) entry.buffer[copied] = 0;
}

std::string text(const char* text) {
  return text == nullptr ? std::string() : std::string(text);
}

}  // namespace

extern "C" {

HostFactory* hnxCreateNodeFactory(int* returnCode, const uint16_t* factoryName) {
  *returnCode = HOST_SUCCESS;
  static auto* factories = new std::vector<std::unique_ptr<HostFactory>>;
  factories->push_back(std::make_unique<HostFactory>());
  factories->back()->name = host::fromUnits(factoryName);
  return factories->back().get();
}

void hnxDefineNodeClass(int* returnCode, HostFactory* factory, const uint16_t* className,
                        HostNodeFunctionTable* table) {
  const bool usable = factory != nullptr && table != nullptr;
  *returnCode = usable ? HOST_SUCCESS : kBadHandle;
  if (usable) factory->classes.push_back({host::fromUnits(className), table});
}

HostTerminal* hnxCreateInputTerminal(int* returnCode, HostNode* node, const uint16_t* name) {
  return addTerminal(returnCode, node, name, false);
}

HostTerminal* hnxCreateOutputTerminal(int* returnCode, HostNode* node, const uint16_t* name) {
  return addTerminal(returnCode, node, name, true);
}

void hnxGetBrokerInfo(int* returnCode, HostNode* node, HostBrokerInfo* info) {
  *returnCode = node == nullptr || info == nullptr ? kBadHandle : HOST_SUCCESS;
  if (*returnCode != HOST_SUCCESS) return;
  giveName(info->broker, node->names.broker);
  giveName(info->executionGroup, node->names.executionGroup);
  giveName(info->messageFlow, node->names.messageFlow);
  giveName(info->fourth, host::Text16());
}

int hnxBufferSize(int* returnCode, HostMessage* message) {
  *returnCode = message == nullptr ? kBadHandle : HOST_SUCCESS;
  return message == nullptr ? 0 : message->streamSize();
}

void hnxWriteBuffer(int* returnCode, HostMessage* message) {
  *returnCode = message == nullptr ? kBadHandle : HOST_SUCCESS;
  if (message != nullptr) message->serialise();
}

const uint8_t* hnxBufferPointer(int* returnCode, HostMessage* message) {
  *returnCode = message == nullptr ? kBadHandle : HOST_SUCCESS;
  return message == nullptr ? nullptr : message->stream();
}

// A failure of the flow behind the terminal becomes a return code here, and is pending from now on.
void hnxPropagate(int* returnCode, HostTerminal* terminal, HostTree*, HostTree*,
                  HostMessage* message) {
  *returnCode = HOST_SUCCESS;
  if (terminal == nullptr || !terminal->output || message == nullptr) {
    *returnCode = kBadHandle;
    return;
  }
  try {
    terminal->node->downstream(*message);
  } catch (const host::MessageFailure& failure) {
    host::setPendingException(failure.data);
    *returnCode = HOST_EXCEPTION;
  }
}

void hcxLog(int* returnCode, int, const char* unit, int line, const char* function,
            const uint16_t* source, int number, const char* entryText, ...) {
  *returnCode = HOST_SUCCESS;
  const std::string unitName = text(unit);
  const std::string functionName = text(function);
  const std::string shown = text(entryText);
  host::LogEntry entry{unitName, line, functionName, host::toUtf8(host::fromUnits(source)), number,
                       shown,    {}};
  if (number != 0) {
    va_list inserts;
    va_start(inserts, entryText);
    while (const char* insert = va_arg(inserts, const char*)) entry.inserts.emplace_back(insert);
    va_end(inserts);
  }
  host::writeLog(entry);
}

void hcxGetLastExceptionData(int* returnCode, HostExceptionData* data) {
  const host::ExceptionData* pending = host::pendingException();
  *returnCode = pending == nullptr || data == nullptr ? kBadHandle : HOST_SUCCESS;
  if (*returnCode != HOST_SUCCESS) return;
  data->origin = pending->origin.c_str();
  data->code = pending->code.c_str();
  data->text = pending->text.c_str();
}

void hcxRethrowLastException(int* returnCode) {
  *returnCode = host::pendingException() == nullptr ? kBadHandle : HOST_SUCCESS;
  host::raisePendingException();
}

}  // extern "C"
