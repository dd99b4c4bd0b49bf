// SPDX-License-Identifier: Apache-2.0
// A host for tests: it offers the functions that the library calls, records every call in order,
// and answers as the test's script says.
//
// The records may be read and the host be called from any thread. The script is set while the
// library is at rest. One host per process, since the functions are found by name.
#ifndef ZEB_TESTS_SUPPORT_SCRIPTED_HOST_H
#define ZEB_TESTS_SUPPORT_SCRIPTED_HOST_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "interface/host_interface.h"

namespace support {

// A node instance as the host knows it; its address is the HostNode handle.
struct ScriptedNode {
  std::u16string broker = u"BRK1";
  std::u16string executionGroup = u"default";
  std::u16string messageFlow = u"FLOW1";
  std::u16string fourth = u"FOURTH";
  int lengthExtra = 0;        // added to each length reported: 1 counts a terminator
  char16_t fillRest = u'\0';  // what the host leaves in a buffer behind the name

  HostNode* handle() { return reinterpret_cast<HostNode*>(this); }
};

// A message; its address is the HostMessage handle.
struct ScriptedMessage {
  std::vector<std::uint8_t> bits;  // the bit stream; empty gives a null pointer
  std::vector<int> sizes;          // answers of hnxBufferSize, the last one repeated; none: bits

  HostMessage* handle() { return reinterpret_cast<HostMessage*>(this); }
  std::atomic<std::size_t> asked{0};
};

// What hcxGetLastExceptionData fills in; a null text stays null.
struct ScriptedException {
  const char* origin = "ORIGIN";
  const char* code = "CODE";
  const char* text = "TEXT";
};

// What the scripted hcxRethrowLastException throws.
struct Rethrown {};

struct Call {
  std::string function;
  unsigned long thread;              // pthread_self of the caller
  std::u16string name;               // of a factory, class or terminal
  std::vector<const void*> handles;  // the other arguments, in order
  int codeBefore;                    // what the return code held when the call arrived
  std::vector<int> numbers;          // hnxGetBrokerInfo: buffer length and length, four times
};

struct LogEntry {
  unsigned long thread;
  int type;
  std::string unit;
  int line;
  std::string function;
  bool hasSource;  // false for a null pointer
  std::u16string source;
  int number;
  std::string text;
  std::vector<std::string> inserts;
  std::size_t callsBefore;  // how many calls had been recorded by then
};

class ScriptedHost {
 public:
  // Answers. An empty function is the default answer: success, with a handle where one is due.
  // Each gets the return code to write; exceptions thrown here pass through the library.
  struct Script {
    std::function<HostFactory*(int& code)> createFactory;
    std::function<void(int& code, HostNodeFunctionTable*)> defineClass;
    std::function<HostTerminal*(int& code)> createInputTerminal;
    std::function<HostTerminal*(int& code)> createOutputTerminal;
    std::function<void(int& code, HostBrokerInfo&)> brokerInfo;
    std::function<int(int& code, HostMessage*)> bufferSize;
    std::function<void(int& code, HostMessage*)> writeBuffer;
    std::function<const std::uint8_t*(int& code, HostMessage*)> bufferPointer;
    std::function<void(int& code, HostMessage*)> propagate;
    std::function<void(int& code, HostExceptionData&)> exceptionData;
    std::function<void(int& code)> rethrow;
    std::function<void(const LogEntry&)> log;
    ScriptedException exception;
  };
  Script script;

  // Off while a test only wants load: calls and trace entries are then answered, not recorded, and
  // no lock of the host orders the threads. Messages (number above 0) are always recorded.
  std::atomic<bool> recording{true};

  std::vector<Call> calls() const;
  std::vector<std::string> callNames() const;
  std::size_t countOf(const std::string& function) const;
  std::vector<LogEntry> log() const;
  std::vector<LogEntry> messages() const;  // number above 0
  std::vector<LogEntry> messages(int number) const;
  std::vector<LogEntry> trace() const;  // number 0
  void forget();                        // empties both records, leaves the script

  void record(Call call);
  void record(LogEntry entry);

 private:
  mutable std::mutex mutex_;
  std::vector<Call> calls_;
  std::vector<LogEntry> log_;
};

ScriptedHost& host();

}  // namespace support

#endif  // ZEB_TESTS_SUPPORT_SCRIPTED_HOST_H
