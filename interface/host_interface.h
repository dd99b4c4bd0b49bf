// SPDX-License-Identifier: Apache-2.0
// The functions that a host offers to a node plug-in, and the structures that cross that line.
//
// A host is a 64-bit Linux process that loads the plug-in with dlopen and lets the plug-in's
// undefined hnx* and hcx* symbols bind to functions of its own. Handles are opaque: the plug-in
// stores them and gives them back, nothing else. Names and texts are strings of 16-bit units that
// end in a zero unit; `uint16_t` is the host's character. Every function takes the address of an
// int first, into which the host writes its return code: 0 is success, 64 says that an exception
// of a downstream node is pending. A host may leave the int alone, so callers set it to 0 first.
#ifndef ZEB_INTERFACE_HOST_INTERFACE_H
#define ZEB_INTERFACE_HOST_INTERFACE_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct HostFactory HostFactory;    // a node factory, made by hnxCreateNodeFactory
typedef struct HostNode HostNode;          // one node instance in a deployed message flow
typedef struct HostTerminal HostTerminal;  // an input or output terminal of a node
typedef struct HostTree HostTree;          // a message tree, passed through unread
typedef struct HostMessage HostMessage;    // the message itself; null for an empty one

// Return codes that the plug-in knows; any other is a failure that it only logs or traces.
enum { HOST_SUCCESS = 0, HOST_EXCEPTION = 64 };

// One name of HostBrokerInfo, 32 bytes. The plug-in asks twice: first with null buffers, to learn
// `length`, then with buffers of `bufferLength` units entered, which the host fills. `length` may
// or may not count a terminator, and the host may leave the terminator out.
typedef struct HostName {
  uint16_t* buffer;      // of the plug-in, null while only the length is asked for
  int32_t bufferLength;  // 16-bit units
  int32_t unused12;
  int64_t unused16;
  int32_t length;  // 16-bit units, as the host reports it
  int32_t unused28;
} HostName;

// Where a node instance lives, as labels; 184 bytes, zero-filled by the plug-in before the first
// call. The buffers stay the plug-in's: the host keeps none of them.
typedef struct HostBrokerInfo {
  int64_t unused0;
  HostName broker;
  HostName executionGroup;
  HostName messageFlow;
  HostName fourth;  // filled and not read
  int64_t unused136[6];
} HostBrokerInfo;

// The pending exception, 1136 bytes, zero-filled by the plug-in. The three texts are 8-bit
// strings that the host owns until the exception is re-raised; each may be null.
typedef struct HostExceptionData {
  uint8_t unused0[1040];
  const char* origin;  // where it happened
  int64_t unused1048;
  const char* code;  // its number, as text
  const char* text;  // what went wrong
  uint8_t unused1072[64];
} HostExceptionData;

// The plug-in's functions, called by the host through HostNodeFunctionTable. `context` is what
// createContext returned; with null, the others do nothing. Lengths are in 16-bit units. A text
// that does not fit is cut, its terminator with it.
//
// createContext: null only when memory ran out; a context that failed passes messages on,
// unmeasured. The host sets attributes before messages flow, from one thread at a time, and
// deletes a context when no message is in it any more.
//
// setAttribute: 1 for an attribute that getAttributeName knows, else 0. getAttribute: the reverse,
// 0 for one that it knows, else 1. getAttributeName: 0 for an index from 0 to 4, else 1. A message
// goes through evaluate, on any thread, several at once; it returns or throws what
// hcxRethrowLastException throws.
typedef void* (*HostCreateContext)(HostFactory*, const uint16_t* nodeName, HostNode*);
typedef void (*HostDeleteContext)(void* context);
typedef int (*HostGetAttributeName)(void* context, int index, uint16_t* buffer, int bufferLength);
typedef int (*HostSetAttribute)(void* context, const uint16_t* name, const uint16_t* value);
typedef int (*HostGetAttribute)(void* context, const uint16_t* name, uint16_t* buffer,
                                int bufferLength);
typedef void (*HostEvaluate)(void* context, HostTree* first, HostTree* second, HostMessage*);

// 88 bytes, owned by the plug-in. The host keeps the address, so it must outlive every context.
typedef struct HostNodeFunctionTable {
  int32_t reserved0;   // 0
  char eyecatcher[4];  // "NVFT", no terminator
  int32_t version;     // 3
  int32_t reserved12;  // 0
  HostCreateContext createContext;
  HostDeleteContext deleteContext;
  HostGetAttributeName getAttributeName;
  HostSetAttribute setAttribute;
  HostGetAttribute getAttribute;
  HostEvaluate evaluate;
  void* unused64;  // null
  void* unused72;  // null
  void* unused80;  // null
} HostNodeFunctionTable;

// Makes a factory, which the host owns; null when it refuses. The name is only read during the
// call.
HostFactory* hnxCreateNodeFactory(int* returnCode, const uint16_t* factoryName);

// Defines a node class of that factory. The table is kept by address; the name is only read during
// the call.
void hnxDefineNodeClass(int* returnCode, HostFactory*, const uint16_t* className,
                        HostNodeFunctionTable*);

// Make a terminal of the node, which the host owns; null when it refuses.
HostTerminal* hnxCreateInputTerminal(int* returnCode, HostNode*, const uint16_t* name);
HostTerminal* hnxCreateOutputTerminal(int* returnCode, HostNode*, const uint16_t* name);

// Fills in the names, or their lengths where a buffer is null.
void hnxGetBrokerInfo(int* returnCode, HostNode*, HostBrokerInfo*);

// Bytes of the message's bit stream, descriptor included; 0 while it was not serialised.
int hnxBufferSize(int* returnCode, HostMessage*);

// Makes the host serialise the message into its bit stream.
void hnxWriteBuffer(int* returnCode, HostMessage*);

// The bit stream, owned by the host, whose first 364 bytes are the message descriptor; or null.
// The plug-in
// reads it before it propagates the message.
const uint8_t* hnxBufferPointer(int* returnCode, HostMessage*);

// Hands the message to whatever is wired to the terminal and returns when all of it has run. The
// code is 64 when a node downstream failed: its exception is pending then.
void hnxPropagate(int* returnCode, HostTerminal*, HostTree* first, HostTree* second, HostMessage*);

// Writes a log entry. `text` is already formatted and is followed by 8-bit inserts and then a null
// pointer of type char*. The host writes trace entries, number 0, as they are. Number 1 is a lack
// of memory, 2 a function that failed, 3 a maximum that was reached (docs/operations.md). `type` is
// always 2. Any thread calls it, perhaps with locks of the plug-in held.
void hcxLog(int* returnCode, int type, const char* unit, int line, const char* function,
            const uint16_t* source, int number, const char* text, ...);

// Fills in the data of the exception that is pending in this thread.
void hcxGetLastExceptionData(int* returnCode, HostExceptionData*);

// Re-raises the exception that is pending in this thread. It need not return: it may throw.
void hcxRethrowLastException(int* returnCode);

#ifdef __cplusplus
}  // extern "C"

static_assert(sizeof(HostName) == 32);
static_assert(offsetof(HostName, buffer) == 0);
static_assert(offsetof(HostName, bufferLength) == 8);
static_assert(offsetof(HostName, length) == 24);

static_assert(sizeof(HostBrokerInfo) == 184);
static_assert(offsetof(HostBrokerInfo, broker) == 8);
static_assert(offsetof(HostBrokerInfo, executionGroup) == 40);
static_assert(offsetof(HostBrokerInfo, messageFlow) == 72);
static_assert(offsetof(HostBrokerInfo, fourth) == 104);

static_assert(sizeof(HostExceptionData) == 1136);
static_assert(offsetof(HostExceptionData, origin) == 1040);
static_assert(offsetof(HostExceptionData, code) == 1056);
static_assert(offsetof(HostExceptionData, text) == 1064);

static_assert(sizeof(HostNodeFunctionTable) == 88);
static_assert(offsetof(HostNodeFunctionTable, eyecatcher) == 4);
static_assert(offsetof(HostNodeFunctionTable, version) == 8);
static_assert(offsetof(HostNodeFunctionTable, createContext) == 16);
static_assert(offsetof(HostNodeFunctionTable, deleteContext) == 24);
static_assert(offsetof(HostNodeFunctionTable, getAttributeName) == 32);
static_assert(offsetof(HostNodeFunctionTable, setAttribute) == 40);
static_assert(offsetof(HostNodeFunctionTable, getAttribute) == 48);
static_assert(offsetof(HostNodeFunctionTable, evaluate) == 56);
static_assert(offsetof(HostNodeFunctionTable, unused64) == 64);
static_assert(offsetof(HostNodeFunctionTable, unused80) == 80);
#endif

#endif  // ZEB_INTERFACE_HOST_INTERFACE_H
