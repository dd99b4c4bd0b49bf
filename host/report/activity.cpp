// SPDX-License-Identifier: Apache-2.0
#include "host/report/activity.h"

#include <strings.h>

#include <optional>
#include <string>

namespace host {
namespace {

enum Mode { kNone, kAll, kNothing, kEvents, kEnds, kEndsAndEvents };

bool sameText(const char* a, const std::string& b) {
  return strcasecmp(a, b.c_str()) == 0;
}

Mode modeOf(const std::optional<std::string>& text, const char* const (&names)[6], Mode otherwise) {
  for (int mode = kNone; text && mode <= kEndsAndEvents; ++mode) {
    if (sameText(names[mode], *text)) return static_cast<Mode>(mode);
  }
  return otherwise;
}

Mode modeOf(const flowfile::Broker& broker, const flowfile::MonitorNode& node) {
  constexpr const char* kOverrides[6] = {
      "NoOverride", "Yes", "No", "EventOnly", "InputOutputOnly", "InputOutputAndEventOnly"};
  constexpr const char* kAttributes[6] = {
      "", "yes", "no", "eventOnly", "inputOutputOnly", "inputOutputAndEventOnly"};
  const Mode all = modeOf(broker.activate, kOverrides, kNone);
  const Mode override = modeOf(broker.activateForBroker, kOverrides, all);
  return override != kNone ? override : modeOf(node.activateNode, kAttributes, kAll);
}

}  // namespace

Activity activityOf(const flowfile::Broker& broker, const flowfile::MonitorNode& node) {
  const bool message = !node.eventMessage.value_or("").empty();
  const bool end = node.type == "input" || node.type == "output";
  switch (modeOf(broker, node)) {
    case kNothing:
      return {false, false};
    case kEvents:
      return {false, message};
    case kEnds:
      return {end, end};
    case kEndsAndEvents:
      return {end || message, end || message};
    case kNone:
    case kAll:
      break;
  }
  return {true, true};
}

}  // namespace host
