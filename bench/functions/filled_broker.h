// SPDX-License-Identifier: Apache-2.0
// A broker whose areas are filled without a host, which would take far longer.
#ifndef ZEB_BENCH_FUNCTIONS_FILLED_BROKER_H
#define ZEB_BENCH_FUNCTIONS_FILLED_BROKER_H

#include <memory>

#include "resources/broker.h"

namespace bench {

// A new tree of the benchmarks' broker, empty until it is read.
std::unique_ptr<ZEB_Broker> attachBroker();

// Inserts so many nodes, in flows of ten, each with its statistics record, and stores the tree. The
// nodes belong to the broker.
void insertNodes(ZEB_Broker& broker, int nodes);

// The first node of those.
ZEB_Node* firstNode(ZEB_Broker& broker);

// Posts an event of each of so many templates, and that often.
void postEvents(ZEB_Broker& broker, int templates, int turns);

}  // namespace bench

#endif  // ZEB_BENCH_FUNCTIONS_FILLED_BROKER_H
