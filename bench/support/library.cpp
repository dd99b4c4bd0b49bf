// SPDX-License-Identifier: Apache-2.0
#include "bench/support/library.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <cstring>
#include <ctime>
#include <stdexcept>

#include "agent/reader/segment.h"
#include "agent/reader/tree.h"
#include "bench/support/settings.h"

namespace bench {
namespace {

const std::uint16_t* units(const char16_t* text) {
  return reinterpret_cast<const std::uint16_t*>(text);
}

const reader::Statistics* find(const reader::Broker& broker, const std::string& label) {
  for (const auto& group : broker.executionGroups)
    for (const auto& flow : group.messageFlows)
      for (const auto& node : flow.nodes)
        if (node.label == label && !node.deleted && node.statistics) return &*node.statistics;
  return nullptr;
}

}  // namespace

std::u16string numbered(std::u16string label, int number) {
  const std::string digits = std::to_string(number);
  return label.append(digits.begin(), digits.end());
}

Library::Library(const std::string& file) {
  void* const loaded = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (loaded == nullptr) throw std::runtime_error(dlerror());
  using EntryPoint = HostFactory* (*)();
  const auto entry = reinterpret_cast<EntryPoint>(dlsym(loaded, "gqaGetMessageflowNodeFactory"));
  if (entry == nullptr) throw std::runtime_error(dlerror());
  entry();
  table_ = handedOver();
  if (table_ == nullptr) throw std::runtime_error(file + " defines no node class");
}

Node::Node(const Library& library, const NodePlan& plan)
    : table_(library.table()),
      evaluate_(table_.evaluate),
      place_{kBrokerLabel, plan.executionGroup, plan.messageFlow},
      context_(table_.createContext(nullptr, units(u"node"), &place_)) {
  set(u"label", plan.label);
  set(u"type", plan.type);
  set(u"eventMessage", plan.eventMessage);
  set(u"subFlowName", {});
  set(u"activateNode", u"yes");
}

Node::~Node() {
  table_.deleteContext(context_);
}

void Node::set(const char16_t* name, const std::u16string& value) {
  table_.setAttribute(context_, units(name), units(value.c_str()));
}

Message::Message() {
  char put[17] = {};
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  std::strftime(put, sizeof put, "%Y%m%d%H%M%S50", gmtime_r(&now, &utc));
  std::memset(bits_ + 48, 'm', 24);   // message identifier
  std::memset(bits_ + 72, 'c', 24);   // correlation identifier
  std::memset(bits_ + 276, 'a', 28);  // name of the application that put it
  std::memcpy(bits_ + 304, put, 16);  // date and time
}

std::int64_t counted(const std::u16string& label) {
  const reader::Segment segment = reader::readSegment(segmentKeyFile());
  reader::DamageList damage;
  const auto broker = reader::readTree(segment.copy, damage);
  const auto* const statistics =
      broker ? find(*broker, std::string(label.begin(), label.end())) : nullptr;
  return statistics != nullptr ? statistics->messageCount.value_or(-1) : -1;
}

void requireCounted(const std::u16string& label, std::int64_t sent) {
  const std::int64_t found = counted(label);
  if (found != sent) {
    throw std::runtime_error(fmt::format("{} messages were sent to node {}, which counts {}", sent,
                                         std::string(label.begin(), label.end()), found));
  }
  if (messagesLogged() != 0) throw std::runtime_error("the library logged messages, see above");
}

}  // namespace bench
