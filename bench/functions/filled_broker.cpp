// SPDX-License-Identifier: Apache-2.0
#include "bench/functions/filled_broker.h"

#include <stdexcept>
#include <string>
#include <vector>

#include "bench/support/settings.h"

namespace bench {
namespace {

constexpr int kNodesOfFlow = 10;

ZEB_Resource_ID labelled(const std::string& label) {
  const ZEB_String text(label.c_str());
  return ZEB_Resource_ID(nullptr, &text);
}

template <class Found>
Found* require(Found* found) {
  if (found == nullptr) throw std::runtime_error("the broker can't be filled");
  return found;
}

}  // namespace

std::unique_ptr<ZEB_Broker> attachBroker() {
  const ZEB_String label("BENCH");
  const ZEB_String uuid(kBrokerUuid);
  const ZEB_Resource_ID id(&uuid, &label);
  auto broker = std::make_unique<ZEB_Broker>(&id);
  if (!broker->OK()) throw std::runtime_error("the broker can't be attached");
  return broker;
}

void insertNodes(ZEB_Broker& broker, int nodes) {
  const ZEB_Resource_ID groupId = labelled("GROUP");
  ZEB_Execution_Group* const group = require(broker.insertExecutionGroup(&groupId));
  ZEB_Message_Flow* flow = nullptr;
  for (int i = 0; i < nodes; ++i) {
    if (i % kNodesOfFlow == 0) {
      const ZEB_Resource_ID flowId = labelled("FLOW" + std::to_string(i / kNodesOfFlow));
      flow = require(group->insertMessageFlow(&flowId));
    }
    const ZEB_Resource_ID nodeId = labelled("NODE" + std::to_string(i));
    require(require(flow->insertNode(&nodeId))->insertStatistics(nullptr));
  }
  broker.populateStatsArea();
}

ZEB_Node* firstNode(ZEB_Broker& broker) {
  const ZEB_Resource_ID groupId = labelled("GROUP");
  const ZEB_Resource_ID flowId = labelled("FLOW0");
  const ZEB_Resource_ID nodeId = labelled("NODE0");
  const auto* const group = require(broker.findExecutionGroup(&groupId));
  return require(require(group->findMessageFlow(&flowId))->findNode(&nodeId));
}

void postEvents(ZEB_Broker& broker, int templates, int turns) {
  const ZEB_String group("GROUP");
  const ZEB_String flow("FLOW0");
  const MessageDescriptor descriptor{};
  std::vector<std::unique_ptr<ZEB_EVTR>> kinds;
  for (int i = 0; i < templates; ++i) {
    const ZEB_String node(("NODE" + std::to_string(i)).c_str());
    const ZEB_String text("a message was seen");
    kinds.push_back(std::make_unique<ZEB_EVTR>(&group, &flow, &node, ZEB_OTHER_NODE, &text));
    require(broker.setEventTemplate(kinds.back().get()));
  }
  for (int turn = 0; turn < turns; ++turn) {
    for (const auto& kind : kinds) {
      ZEB_EVDR event(&descriptor, 1);
      event.setParent(kind->getRecordId());
      if (broker.postEvent(&event) != ZEB_SUCCESS) throw std::runtime_error("no event was posted");
    }
  }
}

}  // namespace bench
