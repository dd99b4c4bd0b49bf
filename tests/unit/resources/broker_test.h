// SPDX-License-Identifier: Apache-2.0
// Brokers on a segment of the test's own, and what they store there.
#ifndef ZEB_TESTS_UNIT_RESOURCES_BROKER_TEST_H
#define ZEB_TESTS_UNIT_RESOURCES_BROKER_TEST_H

#include <algorithm>
#include <cstring>

#include "resources/broker.h"
#include "tests/unit/resources/resource_test.h"

namespace support {

inline constexpr char kBrokerUnit[] = "zebcbrkr";
inline constexpr char kAreaMutex[] = "/tmp/UUID1.zebcstar.zebmutx";
inline constexpr _TimeStamp kNoTime{0, 0};

inline std::unique_ptr<ZEB_Broker> makeBroker(const std::string& label = "BRK1",
                                              const std::string& uuid = "UUID1") {
  const ZEB_Resource_ID id = resourceId(label, uuid);
  return std::make_unique<ZEB_Broker>(&id);
}

// A broker record, which comes first, may be as large as an area.
inline void failStatisticsArea() {
  failAllocations(sizeof(ZEB_Stats_Area), sizeof(ZEB_Stats_Area) == sizeof(ZEB_BRIR) ? 1 : 0);
}

// A group with one flow and one node in it, as a monitoring node would make them.
struct Branch {
  Branch(ZEB_Broker& broker, const std::string& groupLabel, const std::string& nodeLabel = "NODE") {
    const ZEB_Resource_ID groupId = resourceId(groupLabel);
    const ZEB_Resource_ID flowId = resourceId("FLOW");
    const ZEB_Resource_ID nodeId = resourceId(nodeLabel);
    group = broker.findExecutionGroup(&groupId);
    if (!group) group = broker.insertExecutionGroup(&groupId);
    flow = group->findMessageFlow(&flowId);
    if (!flow) flow = group->insertMessageFlow(&flowId);
    node = flow->findNode(&nodeId);
    if (!node) node = flow->insertNode(&nodeId);
    statistics = node->getStatsRecord();
  }
  ZEB_Execution_Group* group;
  ZEB_Message_Flow* flow;
  ZEB_Node* node;
  ZEB_STIR* statistics;
};

class BrokerTest : public StoringTest {
 protected:
  static ZEB_Execution_Group* findGroup(ZEB_Broker& in, const std::string& label) {
    const ZEB_Resource_ID id = resourceId(label);
    return in.findExecutionGroup(&id);
  }
  // Which of the functions began, in what order; a message is "message".
  static Texts orderOf(const Texts& functions) {
    Texts order;
    for (const LogEntry& entry : host().log()) {
      if (entry.number != 0) order.push_back("message");
      if (entry.text == "Entry" &&
          std::find(functions.begin(), functions.end(), entry.function) != functions.end())
        order.push_back(entry.function);
    }
    return order;
  }
  static int areaSemaphore() { return semaphoreOf(kAreaMutex)->value; }

  // Writes the count that is the last before the maximum is reached, or any other, into the store.
  static void storeCount(const ZEB_STIR& record, const char* digits) {
    auto* const stored = static_cast<char*>(record.getAddress());
    std::memset(stored + 40, 0, 24);
    std::strcpy(stored + 40, digits);
    const std::uint32_t someTime = 1;
    std::memcpy(stored + 160, &someTime, 4);
  }
};

}  // namespace support

#endif  // ZEB_TESTS_UNIT_RESOURCES_BROKER_TEST_H
