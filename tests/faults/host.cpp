// SPDX-License-Identifier: Apache-2.0
#include "tests/faults/host.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <exception>
#include <iterator>
#include <string_view>

#include "tests/faults/inside.h"

namespace faults {
namespace {

constexpr char16_t kCanary = 0x2A2A;

HostNodeFunctionTable* defined = nullptr;
HostedNode* currentNode = nullptr;
HostedMessage* currentMessage = nullptr;
bool pending = false;

const std::uint16_t* units(const char16_t* text) {
  return reinterpret_cast<const std::uint16_t*>(text);
}

bool is(const std::uint16_t* name, const char16_t* expected) {
  return name != nullptr &&
         std::u16string_view(reinterpret_cast<const char16_t*>(name)) == expected;
}

// Calls into the library. Only what the host itself threw may come back, and only where it did.
template <typename Call>
void enter(const char* what, bool mayFail, Call call) {
  try {
    const InsideLibrary inside;
    call();
    if (pending) complain("%s: a failure downstream did not come back", what);
  } catch (const Downstream& failure) {
    if (!mayFail || currentMessage == nullptr || failure.message != currentMessage->number()) {
      complain("%s: somebody else's failure came back", what);
    }
  } catch (const std::exception& exception) {
    complain("%s: threw %s", what, exception.what());
  } catch (...) {
    complain("%s: threw something", what);
  }
  pending = false;
}

void answerName(HostName& entry, const char16_t* name) {
  const std::u16string_view text(name);
  entry.length = static_cast<std::int32_t>(text.size());
  if (entry.buffer == nullptr) return;
  const auto room = static_cast<std::size_t>(entry.bufferLength);
  std::copy_n(text.begin(), std::min(text.size(), room), entry.buffer);
}

HostTerminal* answerTerminal(HostNode* node, const std::uint16_t* name, const char16_t* expected,
                             char HostedNode::*terminal) {
  const OutsideLibrary outside;
  if (node == nullptr || currentNode == nullptr || node != currentNode->handle()) {
    complain("a terminal for no node");
    return nullptr;
  }
  if (!is(name, expected)) complain("a terminal of another name");
  return reinterpret_cast<HostTerminal*>(&(currentNode->*terminal));
}

bool isCurrent(HostMessage* message, const char* function) {
  if (currentMessage != nullptr && message == currentMessage->handle()) return true;
  complain("%s: another message", function);
  return false;
}

void checkPropagation(HostTerminal* terminal, HostTree* first, HostTree* second) {
  if (currentMessage->propagated++ > 0)
    complain("message %d went on twice", currentMessage->number());
  const auto* out = reinterpret_cast<HostTerminal*>(&currentNode->out);
  if (terminal != out) complain("message %d went to another terminal", currentMessage->number());
  if (first != currentMessage->tree(0) || second != currentMessage->tree(1)) {
    complain("message %d went on with other trees", currentMessage->number());
  }
  if (!currentMessage->unchanged()) complain("message %d was changed", currentMessage->number());
}

bool isUnit(std::string_view unit) {
  static constexpr std::string_view kUnits[] = {
      "zebcbrir", "zebcbrkr", "zebcedar", "zebcegir", "zebcetar", "zebcevar", "zebcevdr",
      "zebcevir", "zebcevtr", "zebcexgr", "zebcmefl", "zebcmema", "zebcmsre", "zebcmutx",
      "zebcnode", "zebcnoir", "zebcrcrd", "zebcrcst", "zebcreid", "zebcreir", "zebcshar",
      "zebcshme", "zebcstar", "zebcstir", "zebcstrn", "zebctime", "zebctool", "zebpattr",
      "zebpcont", "zebpmono", "zebpnode"};
  return std::find(std::begin(kUnits), std::end(kUnits), unit) != std::end(kUnits);
}

template <std::size_t Size>
void keep(std::array<char, Size>& place, const char* text) {
  std::snprintf(place.data(), Size, "%s", text);
}

// The one form that a message of its number may have; what it tells goes into the run's log.
void note(int number, const char* function, const char* text,
          const std::vector<const char*>& inserts) {
  char expected[512] = "";
  Logged entry{};
  entry.number = number;
  keep(entry.function, function);
  keep(entry.text, text);
  if (number == 1 && inserts.size() == 1) {
    std::snprintf(expected, sizeof expected, "Allocation Error in %s", inserts[0]);
    keep(entry.function, inserts[0]);
  } else if (number == 2 && inserts.size() == 3) {
    std::snprintf(expected, sizeof expected, "Function %s failed in %s. %s.", inserts[0],
                  inserts[1], inserts[2]);
    keep(entry.callee, inserts[0]);
    keep(entry.text, inserts[2]);
  } else if (number == 0 && inserts.empty()) {
    std::snprintf(expected, sizeof expected, "%s", text);
  }
  if (std::strcmp(expected, text) != 0) complain("logged: %d <%s>", number, text);
  if (number != 0 && std::strcmp(entry.function.data(), function) != 0) {
    complain("logged in the name of another function: %s for %s", function, entry.function.data());
  }
  const int at = run->logged++;
  if (at < static_cast<int>(std::size(run->log))) run->log[at] = entry;
}

}  // namespace

HostedMessage::HostedMessage(int number, bool failsDownstream)
    : number_(number), failsDownstream_(failsDownstream), bits_(bitsOf(number)) {}

HostedMessage::Bits HostedMessage::bitsOf(int number) {
  Bits bits;
  for (std::size_t i = 0; i < bits.size(); ++i) {
    bits[i] = static_cast<std::uint8_t>(i * 7 + static_cast<std::size_t>(number));
  }
  std::memcpy(bits.data() + 304, "2026010202595500", 16);
  return bits;
}

HostNodeFunctionTable* definedClass() {
  return defined;
}

bool load() {
  void* const library = dlopen(ZEB_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  const auto entry =
      library == nullptr
          ? nullptr
          : reinterpret_cast<HostFactory* (*)()>(dlsym(library, "gqaGetMessageflowNodeFactory"));
  if (entry == nullptr) {
    complain("can't load the library: %s", dlerror());
    return false;
  }
  enter("gqaGetMessageflowNodeFactory", false, entry);
  return defined != nullptr;
}

Context::Context(const char16_t* executionGroup) : node_(executionGroup) {
  currentNode = &node_;
  enter("zebCreateNodeContext", false,
        [&] { context_ = defined->createContext(nullptr, units(u"a node"), node_.handle()); });
  if (context_ == nullptr) ++run->contextsRefused;
}

void Context::set(const Attributes& attributes) {
  for (const auto& [name, value] : attributes) {
    enter("zebSetAttribute", false,
          [&] { defined->setAttribute(context_, units(name), units(value)); });
  }
}

void Context::readBack(const Attributes& attributes) {
  for (const auto& attribute : attributes) {
    std::uint16_t buffer[9];
    std::fill(std::begin(buffer), std::end(buffer), kCanary);
    enter("zebGetAttribute", false,
          [&] { defined->getAttribute(context_, units(attribute.first), buffer, 8); });
    if (buffer[8] != kCanary) complain("zebGetAttribute wrote behind the buffer");
  }
}

void Context::enumerate() {
  for (int index = 0; index <= 5; ++index) {
    std::uint16_t name[21] = {};
    name[20] = kCanary;
    enter("zebGetAttributeName", false,
          [&] { defined->getAttributeName(context_, index, name, 20); });
    if (name[20] != kCanary) complain("zebGetAttributeName wrote behind the buffer");
  }
}

void Context::send(int number, bool failsDownstream) {
  if (context_ == nullptr) return;
  HostedMessage message(number, failsDownstream);
  currentNode = &node_;
  currentMessage = &message;
  enter("zebEvaluate", failsDownstream,
        [&] { defined->evaluate(context_, message.tree(0), message.tree(1), message.handle()); });
  currentMessage = nullptr;
  if (message.propagated == 0) complain("message %d did not go on", number);
  if (!message.unchanged()) complain("message %d was changed afterwards", number);
}

void Context::end() {
  if (context_ == nullptr) return;
  deletingContext = true;
  enter("zebDeleteNodeContext", false, [&] { defined->deleteContext(context_); });
  deletingContext = false;
  context_ = nullptr;
}

}  // namespace faults

using faults::complain;
using faults::currentMessage;
using faults::OutsideLibrary;
using faults::run;

extern "C" {

HostFactory* hnxCreateNodeFactory(int*, const std::uint16_t* factoryName) {
  const OutsideLibrary outside;
  static char factory;
  if (!faults::is(factoryName, u"DravikMonitorNodeFactory")) complain("a factory of another name");
  return reinterpret_cast<HostFactory*>(&factory);
}

void hnxDefineNodeClass(int*, HostFactory* factory, const std::uint16_t* className,
                        HostNodeFunctionTable* table) {
  const OutsideLibrary outside;
  if (factory == nullptr || table == nullptr) complain("a class without a factory or a table");
  if (!faults::is(className, u"ComDravikMonitorNode")) complain("a class of another name");
  faults::defined = table;
}

HostTerminal* hnxCreateInputTerminal(int*, HostNode* node, const std::uint16_t* name) {
  return faults::answerTerminal(node, name, u"in", &faults::HostedNode::in);
}

HostTerminal* hnxCreateOutputTerminal(int*, HostNode* node, const std::uint16_t* name) {
  return faults::answerTerminal(node, name, u"out", &faults::HostedNode::out);
}

void hnxGetBrokerInfo(int*, HostNode* node, HostBrokerInfo* info) {
  const OutsideLibrary outside;
  const auto* const hosted = reinterpret_cast<faults::HostedNode*>(node);
  faults::answerName(info->broker, u"BRK1");
  faults::answerName(info->executionGroup, hosted->executionGroup);
  faults::answerName(info->messageFlow, u"FLOW1");
  faults::answerName(info->fourth, u"FOURTH");
}

int hnxBufferSize(int*, HostMessage* message) {
  const OutsideLibrary outside;
  if (!faults::isCurrent(message, "hnxBufferSize")) return 0;
  return currentMessage->serialised ? currentMessage->size() : 0;
}

void hnxWriteBuffer(int*, HostMessage* message) {
  const OutsideLibrary outside;
  if (faults::isCurrent(message, "hnxWriteBuffer")) currentMessage->serialised = true;
}

const std::uint8_t* hnxBufferPointer(int*, HostMessage* message) {
  const OutsideLibrary outside;
  return faults::isCurrent(message, "hnxBufferPointer") ? currentMessage->bits() : nullptr;
}

void hnxPropagate(int* returnCode, HostTerminal* terminal, HostTree* first, HostTree* second,
                  HostMessage* message) {
  const OutsideLibrary outside;
  if (!faults::isCurrent(message, "hnxPropagate")) return;
  faults::checkPropagation(terminal, first, second);
  if (!currentMessage->failsDownstream()) return;
  *returnCode = HOST_EXCEPTION;
  faults::pending = true;
}

void hcxGetLastExceptionData(int*, HostExceptionData* data) {
  const OutsideLibrary outside;
  if (!faults::pending) complain("asked for an exception that there is not");
  data->origin = "a node";
  data->code = "1234";
  data->text = "did not work";
}

void hcxRethrowLastException(int*) {
  const OutsideLibrary outside;
  if (!faults::pending || currentMessage == nullptr) {
    complain("an exception again that there is not");
    return;
  }
  faults::pending = false;
  throw faults::Downstream{currentMessage->number()};
}

void hcxLog(int*, int type, const char* unit, int, const char* function,
            const std::uint16_t* source, int number, const char* text, ...) {
  const OutsideLibrary outside;
  std::vector<const char*> inserts;
  va_list list;
  va_start(list, text);
  while (const char* insert = va_arg(list, const char*)) inserts.push_back(insert);
  va_end(list);
  if (type != 2 || !faults::isUnit(unit)) complain("logged as type %d of %s", type, unit);
  if (!faults::is(source, number == 0 ? u"" : u"DravikMonitorNode")) {
    complain("logged of another source: %s", text);
  }
  faults::note(number, function, text, inserts);
  errno = EDOM;  // whatever the host does, the errors reported are the system's
}

}  // extern "C"
