// SPDX-License-Identifier: Apache-2.0
#include "tests/reference/operation.h"

#include <algorithm>
#include <array>
#include <map>
#include <sstream>
#include <stdexcept>

namespace reference {
namespace {

constexpr std::array kNames{"create", "deploy", "send",    "end",  "deleted", "number",
                            "count",  "parent", "renamed", "twin", "label",   "sameId"};

std::string placeWords(const Operation& o) {
  return " group=" + o.group + " flow=" + o.flow;
}

std::string planWords(const NodePlan& plan) {
  return " label=" + plan.label + " type=" + plan.type + " event=" + plan.eventMessage +
         " subFlow=" + plan.subFlowName + " activate=" + plan.activateNode +
         " queueTime=" + plan.collectQueueTime;
}

std::string messageWords(const Operation& o) {
  return " size=" + std::to_string(o.size) + " put=" + std::to_string(o.put) +
         " takes=" + std::to_string(o.takes);
}

std::string strangerWords(const Operation& o) {
  return " record=" + std::to_string(o.record) + " value=" + std::to_string(o.value);
}

}  // namespace

bool isStrangers(Kind kind) {
  return kind > Kind::end;
}

std::int64_t Operation::endsAt() const {
  return meanwhile.empty() ? now + takes : meanwhile.front().endsAt();
}

std::string describe(const Operation& o) {
  std::string line = std::string(kNames.at(static_cast<std::size_t>(o.kind))) +
                     " now=" + std::to_string(o.now) + " broker=" + o.broker;
  if (isStrangers(o.kind)) return line + strangerWords(o);
  line += " process=" + std::to_string(o.process) + " instance=" + std::to_string(o.instance);
  if (o.kind == Kind::create) line += placeWords(o);
  if (o.kind == Kind::deploy) line += planWords(o.plan);
  if (o.kind == Kind::send) line += messageWords(o);
  return o.meanwhile.empty() ? line : line + " meanwhile=" + describe(o.meanwhile.front());
}

Operation parse(const std::string& line) {
  std::istringstream words(line);
  std::string word;
  words >> word;
  const auto* const name = std::find(kNames.begin(), kNames.end(), word);
  if (name == kNames.end()) throw std::runtime_error("no operation: " + line);
  std::map<std::string, std::string> values;
  while (words >> word && word.rfind("meanwhile=", 0) != 0) {
    const std::size_t equals = word.find('=');
    values[word.substr(0, equals)] = word.substr(equals + 1);
  }
  const auto number = [&](const char* key) {
    const std::string& text = values[key];
    return text.empty() ? 0 : std::stoll(text);
  };
  Operation o;
  o.kind = static_cast<Kind>(name - kNames.begin());
  o.now = number("now");
  o.broker = values["broker"];
  o.process = static_cast<int>(number("process"));
  o.instance = static_cast<int>(number("instance"));
  o.group = values["group"];
  o.flow = values["flow"];
  o.plan = {values["label"],   values["type"],     values["event"],
            values["subFlow"], values["activate"], values["queueTime"]};
  o.size = static_cast<std::int32_t>(number("size"));
  o.put = number("put");
  o.takes = number("takes");
  o.record = static_cast<std::size_t>(number("record"));
  o.value = number("value");
  return o;
}

}  // namespace reference
