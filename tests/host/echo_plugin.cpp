// SPDX-License-Identifier: Apache-2.0
// The least that a host accepts as a plug-in: its node passes each message on and re-raises what
// failed behind it. It keeps attributes in the order they came and enumerates five names. A node
// whose label begins with "crash" ends its process when it is deleted; one whose label begins with
// "swallow" keeps an exception to itself.
#pragma GCC visibility push(default)
#include "interface/host_interface.h"
#pragma GCC visibility pop

#include <cstdlib>
#include <map>
#include <string>

namespace {

using Text = std::u16string;

struct Node {
  HostTerminal* out;
  std::map<Text, Text> attributes;
};

Text textOf(const uint16_t* units) {
  Text text;
  while (*units != 0) text.push_back(static_cast<char16_t>(*units++));
  return text;
}

void copy(const Text& text, uint16_t* buffer, int length) {
  for (int i = 0; i < length && static_cast<std::size_t>(i) <= text.size(); ++i) {
    buffer[i] = text.c_str()[i];
  }
}

const Text kNames[] = {u"type", u"eventMessage", u"collectQueueTime", u"subFlowName",
                       u"activateNode"};

void* createContext(HostFactory*, const uint16_t*, HostNode* node) {
  int code = 0;
  return new Node{hnxCreateOutputTerminal(&code, node, reinterpret_cast<const uint16_t*>(u"out")),
                  {}};
}

bool called(void* context, const Text& start) {
  return static_cast<Node*>(context)->attributes[u"label"].starts_with(start);
}

void deleteContext(void* context) {
  if (called(context, u"crash")) std::abort();
  delete static_cast<Node*>(context);
}

int getAttributeName(void*, int index, uint16_t* buffer, int length) {
  if (index < 0 || index > 4) return 1;
  copy(kNames[index], buffer, length);
  return 0;
}

int setAttribute(void* context, const uint16_t* name, const uint16_t* value) {
  static_cast<Node*>(context)->attributes[textOf(name)] = textOf(value);
  return 1;
}

int getAttribute(void* context, const uint16_t* name, uint16_t* buffer, int length) {
  copy(static_cast<Node*>(context)->attributes[textOf(name)], buffer, length);
  return 0;
}

void evaluate(void* context, HostTree* first, HostTree* second, HostMessage* message) {
  int code = 0;
  if (hnxBufferSize(&code, message) == 0) hnxWriteBuffer(&code, message);
  code = 0;
  hnxPropagate(&code, static_cast<Node*>(context)->out, first, second, message);
  if (code == HOST_EXCEPTION) {
    HostExceptionData data{};
    hcxGetLastExceptionData(&code, &data);
    const uint16_t source[] = {'e', 'c', 'h', 'o', 0};
    hcxLog(&code, 2, "echonode", __LINE__, "evaluate", source, 2, "caught", data.origin, data.code,
           data.text, static_cast<char*>(nullptr));
    if (!called(context, u"swallow")) hcxRethrowLastException(&code);
  }
}

HostNodeFunctionTable table = {0,
                               {'N', 'V', 'F', 'T'},
                               3,
                               0,
                               createContext,
                               deleteContext,
                               getAttributeName,
                               setAttribute,
                               getAttribute,
                               evaluate,
                               nullptr,
                               nullptr,
                               nullptr};

}  // namespace

extern "C" __attribute__((visibility("default"))) HostFactory* gqaGetMessageflowNodeFactory() {
  int code = 0;
  HostFactory* factory =
      hnxCreateNodeFactory(&code, reinterpret_cast<const uint16_t*>(u"EchoFactory"));
  hnxDefineNodeClass(&code, factory, reinterpret_cast<const uint16_t*>(u"EchoNode"), &table);
  return factory;
}
