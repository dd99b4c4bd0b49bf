// SPDX-License-Identifier: Apache-2.0
// Each broker of this machine: its name, its state, how many nodes it has.
#include <cstdio>
#include <string>

#include "agent/model/collector.h"
#include "agent/model/condition.h"
#include "text/printable.h"

int main(int argc, char** argv) {
  model::Collector collector(argc > 1 ? argv[1] : "");
  const auto snapshot = collector.take();
  for (const auto& broker : snapshot->brokers) {
    const auto condition = model::conditionOf(*broker, snapshot->machine.get());
    std::printf("%s: %s", text::printable(broker->name()).c_str(), model::nameOf(condition));
    if (broker->tree) std::printf(", %zu nodes", model::countsOf(*broker->tree).nodes);
    std::printf("\n");
  }
  return snapshot->error == 0 ? 0 : 1;
}
