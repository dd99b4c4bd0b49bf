// SPDX-License-Identifier: Apache-2.0
#include "agent/model/lightened.h"

namespace model {

std::shared_ptr<const Snapshot> lightened(const Snapshot& snapshot) {
  auto light = std::make_shared<Snapshot>(snapshot);
  for (auto& broker : light->brokers) {
    auto copy = std::make_shared<SeenBroker>(*broker);
    for (reader::Area& area : copy->segment.copy.areas) area.letGo();
    copy->events.reset();
    broker = std::move(copy);
  }
  return light;
}

}  // namespace model
