// SPDX-License-Identifier: Apache-2.0
// The functions that the library's undefined symbols bind to must be visible.
#pragma GCC visibility push(default)
#include "interface/host_interface.h"
#pragma GCC visibility pop

#include "bench/support/lean_host.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>

namespace {

HostNodeFunctionTable* lastTable = nullptr;
std::atomic<int> logged{0};
char handle = 0;  // what every handle points to that nobody looks at

void giveName(HostName& entry, const std::u16string& name) {
  entry.length = static_cast<std::int32_t>(name.size());
  if (entry.buffer == nullptr) return;
  const auto room = static_cast<std::size_t>(std::max(entry.bufferLength, 0));
  std::copy_n(name.begin(), std::min(room, name.size()), entry.buffer);
}

}  // namespace

namespace bench {

HostNodeFunctionTable* handedOver() {
  return lastTable;
}

int messagesLogged() {
  return logged;
}

}  // namespace bench

extern "C" {

HostFactory* hnxCreateNodeFactory(int* returnCode, const uint16_t*) {
  *returnCode = HOST_SUCCESS;
  return reinterpret_cast<HostFactory*>(&handle);
}

void hnxDefineNodeClass(int* returnCode, HostFactory*, const uint16_t*,
                        HostNodeFunctionTable* table) {
  *returnCode = HOST_SUCCESS;
  lastTable = table;
}

HostTerminal* hnxCreateInputTerminal(int* returnCode, HostNode*, const uint16_t*) {
  *returnCode = HOST_SUCCESS;
  return reinterpret_cast<HostTerminal*>(&handle);
}

HostTerminal* hnxCreateOutputTerminal(int* returnCode, HostNode*, const uint16_t*) {
  *returnCode = HOST_SUCCESS;
  return reinterpret_cast<HostTerminal*>(&handle);
}

void hnxGetBrokerInfo(int* returnCode, HostNode* node, HostBrokerInfo* info) {
  *returnCode = HOST_SUCCESS;
  giveName(info->broker, node->broker);
  giveName(info->executionGroup, node->executionGroup);
  giveName(info->messageFlow, node->messageFlow);
  giveName(info->fourth, {});
}

int hnxBufferSize(int* returnCode, HostMessage* message) {
  *returnCode = HOST_SUCCESS;
  return message->size;
}

void hnxWriteBuffer(int* returnCode, HostMessage*) {
  *returnCode = HOST_SUCCESS;
}

const uint8_t* hnxBufferPointer(int* returnCode, HostMessage* message) {
  *returnCode = HOST_SUCCESS;
  return message->bits;
}

void hnxPropagate(int* returnCode, HostTerminal*, HostTree*, HostTree*, HostMessage*) {
  *returnCode = HOST_SUCCESS;
}

void hcxLog(int* returnCode, int, const char*, int, const char* function, const uint16_t*,
            int number, const char* text, ...) {
  *returnCode = HOST_SUCCESS;
  if (number == 0) return;
  ++logged;
  std::fprintf(stderr, "the library says in %s: %s\n", function, text);
}

void hcxGetLastExceptionData(int* returnCode, HostExceptionData*) {
  *returnCode = HOST_SUCCESS;
}

void hcxRethrowLastException(int* returnCode) {
  *returnCode = HOST_SUCCESS;
}

}  // extern "C"
