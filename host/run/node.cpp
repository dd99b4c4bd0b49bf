// SPDX-License-Identifier: Apache-2.0
#include "host/run/node.h"

#include <fmt/format.h>

#include <stdexcept>
#include <utility>

namespace host {
namespace {

using Setting = std::pair<const char*, std::optional<std::string>>;

std::vector<Setting> settings(const flowfile::MonitorNode& node) {
  return {{"type", node.type},
          {"eventMessage", node.eventMessage},
          {"collectQueueTime", node.collectQueueTime},
          {"subFlowName", node.subFlowName},
          {"activateNode", node.activateNode}};
}

constexpr std::size_t kNameUnits = 256;
constexpr std::size_t kValueUnits = 32768;

}  // namespace

DeployedNode::DeployedNode(const Plugin& plugin, const flowfile::MonitorNode& node,
                           const HostNames& names, std::function<void(HostMessage&)> downstream)
    : table_(plugin.table()), node_{names, std::move(downstream), {}} {
  const Text16 label = toText16(node.label);
  context_ = table_.createContext(plugin.factory(), units(label), &node_);
  if (context_ == nullptr) {
    throw std::runtime_error(fmt::format("node {} got no context", node.label));
  }
  setAttributes(node);
  readAttributes();
}

DeployedNode::~DeployedNode() {
  table_.deleteContext(context_);
}

void DeployedNode::setAttributes(const flowfile::MonitorNode& node) {
  const auto set = [this](const char* name, const std::string& value) {
    const Text16 name16 = toText16(name);
    const Text16 value16 = toText16(value);
    table_.setAttribute(context_, units(name16), units(value16));
  };
  set("label", node.label);
  for (const auto& [name, value] : settings(node)) {
    if (value) set(name, *value);
  }
}

void DeployedNode::readAttributes() {
  std::vector<std::uint16_t> name(kNameUnits);
  std::vector<std::uint16_t> value(kValueUnits);
  for (int index = 0; table_.getAttributeName(context_, index, name.data(), kNameUnits) == 0;
       ++index) {
    value.assign(kValueUnits, 0);
    const Text16 name16 = fromUnits(name.data(), kNameUnits);
    table_.getAttribute(context_, units(name16), value.data(), kValueUnits);
    attributes_.push_back({toUtf8(name16), toUtf8(fromUnits(value.data(), kValueUnits))});
  }
}

std::string DeployedNode::difference(const flowfile::MonitorNode& node) const {
  std::string found;
  for (const auto& [name, value] : settings(node)) {
    if (!value) continue;
    const std::string* read = nullptr;
    for (const Attribute& attribute : attributes_) {
      if (attribute.name == name) read = &attribute.value;
    }
    if (read == nullptr) {
      found += fmt::format("{} is not enumerated; ", name);
    } else if (*read != *value) {
      found += fmt::format("{} was set to \"{}\" and reads \"{}\"; ", name, *value, *read);
    }
  }
  return found;
}

void DeployedNode::evaluate(HostMessage& message) {
  table_.evaluate(context_, &first_, &second_, &message);
}

}  // namespace host
