// SPDX-License-Identifier: Apache-2.0
// What one run of "metrics" leaves for the next: how far the events were read, and how many.
#ifndef ZEB_AGENT_FRONT_CLI_METRICS_STATE_H
#define ZEB_AGENT_FRONT_CLI_METRICS_STATE_H

#include <optional>
#include <string>

#include "agent/model/collector.h"
#include "agent/model/event_totals.h"

namespace cli {

struct MetricsState {
  model::Collector::Marks marks;  // by key file
  model::TotalsByKeyFile totals;

  bool operator==(const MetricsState&) const = default;
};

std::string textOf(const MetricsState& state);

// Nothing when the text is no such state.
std::optional<MetricsState> metricsStateIn(const std::string& text);

// Adds what a look brought; events of a first run were there before and count for nothing.
void add(MetricsState& state, const model::Snapshot& look, bool first);

}  // namespace cli

#endif  // ZEB_AGENT_FRONT_CLI_METRICS_STATE_H
