// SPDX-License-Identifier: Apache-2.0
#include "tests/support/scripted_host.h"

#include <pthread.h>

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <iterator>

#include "tests/support/witness.h"

namespace support {

ScriptedHost& host() {
  static ScriptedHost* the = new ScriptedHost;  // outlives every thread and static destructor
  return *the;
}

std::vector<Call> ScriptedHost::calls() const {
  const std::lock_guard guard(mutex_);
  return calls_;
}

std::vector<std::string> ScriptedHost::callNames() const {
  std::vector<std::string> names;
  for (const Call& call : calls()) names.push_back(call.function);
  return names;
}

std::size_t ScriptedHost::countOf(const std::string& function) const {
  const std::vector<std::string> names = callNames();
  return static_cast<std::size_t>(std::count(names.begin(), names.end(), function));
}

std::vector<LogEntry> ScriptedHost::log() const {
  const std::lock_guard guard(mutex_);
  return log_;
}

std::vector<LogEntry> ScriptedHost::messages() const {
  std::vector<LogEntry> found = log();
  std::erase_if(found, [](const LogEntry& entry) { return entry.number == 0; });
  return found;
}

std::vector<LogEntry> ScriptedHost::messages(int number) const {
  std::vector<LogEntry> found = log();
  std::erase_if(found, [number](const LogEntry& entry) { return entry.number != number; });
  return found;
}

std::vector<LogEntry> ScriptedHost::trace() const {
  return messages(0);
}

void ScriptedHost::forget() {
  const std::lock_guard guard(mutex_);
  calls_.clear();
  log_.clear();
}

void ScriptedHost::record(Call call) {
  if (!recording) return;
  const std::lock_guard guard(mutex_);
  calls_.push_back(std::move(call));
}

void ScriptedHost::record(LogEntry entry) {
  if (!recording && entry.number == 0) return;
  const std::lock_guard guard(mutex_);
  entry.callsBefore = calls_.size();
  log_.push_back(std::move(entry));
}

namespace {

std::u16string textOf(const std::uint16_t* units) {
  std::u16string text;
  while (units != nullptr && *units != 0) text.push_back(static_cast<char16_t>(*units++));
  return text;
}

void note(const char* function, const int* code, std::vector<const void*> handles,
          const std::uint16_t* name = nullptr) {
  if (!host().recording) return;
  host().record(Call{function, pthread_self(), textOf(name), std::move(handles), *code, {}});
}

void answerName(HostName& entry, const std::u16string& name, const ScriptedNode& node) {
  const auto units = static_cast<std::int32_t>(name.size());
  entry.length = units + node.lengthExtra;
  if (entry.buffer == nullptr) return;
  std::fill_n(entry.buffer, entry.bufferLength, static_cast<std::uint16_t>(node.fillRest));
  std::copy_n(name.begin(), std::min(units, entry.bufferLength), entry.buffer);
  if (units < entry.bufferLength) entry.buffer[units] = 0;
}

void answerNames(const ScriptedNode& node, HostBrokerInfo& info) {
  answerName(info.broker, node.broker, node);
  answerName(info.executionGroup, node.executionGroup, node);
  answerName(info.messageFlow, node.messageFlow, node);
  answerName(info.fourth, node.fourth, node);
}

std::vector<int> lengthsOf(const HostBrokerInfo& info) {
  std::vector<int> numbers;
  for (const HostName* name :
       {&info.broker, &info.executionGroup, &info.messageFlow, &info.fourth}) {
    numbers.push_back(name->bufferLength);
    numbers.push_back(name->length);
  }
  return numbers;
}

ScriptedMessage& scripted(HostMessage* message) {
  return *reinterpret_cast<ScriptedMessage*>(message);
}

int answerSize(HostMessage* message) {
  ScriptedMessage& answer = scripted(message);
  if (answer.sizes.empty()) return static_cast<int>(answer.bits.size());
  return answer.sizes[std::min(answer.asked++, answer.sizes.size() - 1)];
}

template <typename Handle>
Handle* anyHandle() {
  static char place;
  return reinterpret_cast<Handle*>(&place);
}

}  // namespace
}  // namespace support

using support::host;
using support::note;

extern "C" {

HostFactory* hnxCreateNodeFactory(int* returnCode, const std::uint16_t* factoryName) {
  note("hnxCreateNodeFactory", returnCode, {}, factoryName);
  const auto& answer = host().script.createFactory;
  return answer ? answer(*returnCode) : support::anyHandle<HostFactory>();
}

void hnxDefineNodeClass(int* returnCode, HostFactory* factory, const std::uint16_t* className,
                        HostNodeFunctionTable* table) {
  note("hnxDefineNodeClass", returnCode, {factory, table}, className);
  const auto& answer = host().script.defineClass;
  if (answer) answer(*returnCode, table);
}

HostTerminal* hnxCreateInputTerminal(int* returnCode, HostNode* node, const std::uint16_t* name) {
  note("hnxCreateInputTerminal", returnCode, {node}, name);
  const auto& answer = host().script.createInputTerminal;
  return answer ? answer(*returnCode) : support::anyHandle<HostTerminal>();
}

HostTerminal* hnxCreateOutputTerminal(int* returnCode, HostNode* node, const std::uint16_t* name) {
  note("hnxCreateOutputTerminal", returnCode, {node}, name);
  const auto& answer = host().script.createOutputTerminal;
  return answer ? answer(*returnCode) : reinterpret_cast<HostTerminal*>(node);
}

void hnxGetBrokerInfo(int* returnCode, HostNode* node, HostBrokerInfo* info) {
  support::Call call{"hnxGetBrokerInfo", pthread_self(),           {}, {node},
                     *returnCode,        support::lengthsOf(*info)};
  host().record(std::move(call));
  const auto& answer = host().script.brokerInfo;
  if (answer) {
    answer(*returnCode, *info);
  } else {
    support::answerNames(*reinterpret_cast<support::ScriptedNode*>(node), *info);
  }
}

int hnxBufferSize(int* returnCode, HostMessage* message) {
  note("hnxBufferSize", returnCode, {message});
  const auto& answer = host().script.bufferSize;
  return answer ? answer(*returnCode, message) : support::answerSize(message);
}

void hnxWriteBuffer(int* returnCode, HostMessage* message) {
  note("hnxWriteBuffer", returnCode, {message});
  const auto& answer = host().script.writeBuffer;
  if (answer) answer(*returnCode, message);
}

const std::uint8_t* hnxBufferPointer(int* returnCode, HostMessage* message) {
  note("hnxBufferPointer", returnCode, {message});
  const auto& answer = host().script.bufferPointer;
  if (answer) return answer(*returnCode, message);
  const auto& bits = support::scripted(message).bits;
  return bits.empty() ? nullptr : bits.data();
}

void hnxPropagate(int* returnCode, HostTerminal* terminal, HostTree* first, HostTree* second,
                  HostMessage* message) {
  note("hnxPropagate", returnCode, {terminal, first, second, message});
  const auto& answer = host().script.propagate;
  if (answer) answer(*returnCode, message);
}

void hcxGetLastExceptionData(int* returnCode, HostExceptionData* data) {
  note("hcxGetLastExceptionData", returnCode, {data});
  const auto& answer = host().script.exceptionData;
  if (answer) {
    answer(*returnCode, *data);
    return;
  }
  data->origin = host().script.exception.origin;
  data->code = host().script.exception.code;
  data->text = host().script.exception.text;
}

void hcxRethrowLastException(int* returnCode) {
  note("hcxRethrowLastException", returnCode, {});
  const auto& answer = host().script.rethrow;
  try {
    if (!answer) throw support::Rethrown{};
    answer(*returnCode);
  } catch (...) {
    if (support::witnessing()) support::witnessException();
    throw;
  }
}

void hcxLog(int*, int type, const char* unit, int line, const char* function,
            const std::uint16_t* source, int number, const char* text, ...) {
  const auto& listener = host().script.log;
  if (number == 0 && support::witnessing()) {
    support::witness(unit, function, text);
    if (!listener) return;
  }
  if (number == 0 && !host().recording && !listener) return;
  support::LogEntry entry{pthread_self(),          type,   unit, line, function, source != nullptr,
                          support::textOf(source), number, text, {},   0};
  va_list inserts;
  va_start(inserts, text);
  while (const char* insert = va_arg(inserts, const char*)) entry.inserts.emplace_back(insert);
  va_end(inserts);
  if (listener) listener(entry);
  host().record(std::move(entry));
}

}  // extern "C"
