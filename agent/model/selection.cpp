// SPDX-License-Identifier: Apache-2.0
#include "agent/model/selection.h"

namespace model {
namespace {

bool selects(const Selection& selection, const SeenBroker& broker) {
  const std::string& name = selection.broker;
  return name.empty() || name == broker.uuid() || name == broker.segment.uuid ||
         name == broker.label();
}

}  // namespace

Snapshot select(const Snapshot& snapshot, const Selection& selection) {
  Snapshot selected = snapshot;
  std::erase_if(selected.brokers,
                [&selection](const auto& broker) { return !selects(selection, *broker); });
  return selected;
}

bool selects(const EventSelection& selection, const reader::Event& event) {
  if (selection.kind && event.kind() != *selection.kind) return false;
  if (!selection.since) return true;
  return event.time.value_or(event.recordId.created().seconds) >= *selection.since;
}

}  // namespace model
