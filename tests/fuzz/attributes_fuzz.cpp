// SPDX-License-Identifier: Apache-2.0
// Any sequence of attribute calls to a node instance, null arguments and short buffers included:
// codes are those of the name, and no buffer is written behind its end.
#include <algorithm>
#include <string>

#include "base/wide.h"
#include "node/node_context.h"
#include "tests/fuzz/choices.h"
#include "tests/fuzz/private_world.h"
#include "tests/support/scripted_host.h"

namespace {

using namespace support;

constexpr int kMostCalls = 40;
constexpr std::size_t kMostUnits = 200;
constexpr const char* kNames[] = {"label",       "type",         "eventMessage", "collectQueueTime",
                                  "subFlowName", "activateNode", "noSuchName"};

std::u16string text(fuzz::Choices& input) {
  const std::string bytes = input.text(kMostUnits);
  std::u16string wide;
  for (std::size_t i = 0; i < bytes.size(); i += 2) {
    const auto low = static_cast<std::uint8_t>(bytes[i]);
    const auto high = i + 1 < bytes.size() ? static_cast<std::uint8_t>(bytes[i + 1]) : 0;
    wide.push_back(static_cast<char16_t>(low | high << 8));
  }
  return wide;
}

const zebchar* unitsOf(const std::u16string& wide, bool null) {
  return null ? nullptr : reinterpret_cast<const zebchar*>(wide.c_str());
}

bool enumerated(const std::u16string& name) {
  const std::string narrow(name.begin(), name.begin() + static_cast<std::ptrdiff_t>(std::min(
                                                            name.size(), name.find(u'\0'))));
  for (std::size_t i = 1; i < 6; ++i)
    if (narrow == kNames[i] && narrow.size() == std::min(name.size(), name.find(u'\0')))
      return true;
  return false;
}

std::u16string nameOf(fuzz::Choices& input) {
  if (input.number(0, 7) == 0) return text(input);
  const std::string name = input.oneOf(kNames);
  return {name.begin(), name.end()};
}

void call(ZEB_Node_Context& node, fuzz::Choices& input) {
  const auto kind = input.number(0, 3);
  const bool null = input.number(0, 15) == 0;
  const auto units = static_cast<std::size_t>(input.number(0, 64));
  std::vector<zebchar> buffer(units);  // exactly: one unit more would be found
  zebchar* const place = null ? nullptr : buffer.data();
  if (kind == 3) {
    const auto index = static_cast<int>(input.number(-2, 7));
    const int code = node.getAttributeName(index, place, static_cast<int>(units));
    fuzz::require(code == (place && index >= 0 && index <= 4 ? 0 : 1));
    return;
  }
  const std::u16string name = nameOf(input);
  if (kind == 2) {
    const int code = node.getAttributeValue(unitsOf(name, false), place, static_cast<int>(units));
    fuzz::require(code == (enumerated(name) ? 0 : 1));
    return;
  }
  const std::u16string value = text(input);
  const int code = node.setAttributeValue(unitsOf(name, false), unitsOf(value, null));
  fuzz::require(code == (enumerated(name) ? 1 : 0));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t length) {
  fuzz::Choices input(data, length);
  ScriptedNode place;
  {
    ZEB_Node_Context node(place.handle());
    for (int calls = 0; calls < kMostCalls && input.any(); ++calls) call(node, input);
    ScriptedMessage message;
    message.bits.resize(364);
    node.processMessage(nullptr, nullptr, message.handle());
  }
  fuzz::quietHost();
  return 0;
}
