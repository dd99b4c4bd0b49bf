// SPDX-License-Identifier: Apache-2.0
// A snapshot as metrics, for a monitoring system that collects them from many machines.
#ifndef ZEB_AGENT_RENDER_METRICS_H
#define ZEB_AGENT_RENDER_METRICS_H

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

#include "agent/model/event_totals.h"
#include "agent/model/findings.h"
#include "agent/model/snapshot.h"

namespace render {

// Version 0.0.4 of Prometheus' text, or version 1.0.0 of OpenMetrics.
enum class Exposition { prometheus, openMetrics };

struct MetricsOptions {
  Exposition exposition = Exposition::prometheus;

  // Minima and maxima too. They are since the last reset, so they rarely tell of now.
  bool extremes = false;

  // No more series than that are written of nodes: whole nodes are left out, the last ones by
  // broker and name.
  std::size_t mostSeries = 100000;
};

// What the text is made from.
struct MetricsSource {
  const model::Snapshot& snapshot;

  // Of that snapshot, or null: then nothing is said of findings.
  const model::Findings* findings = nullptr;

  // How long the look took, if somebody measured it.
  std::optional<std::chrono::nanoseconds> took = {};

  // Of the agent; empty: nothing is said of it.
  std::string version = {};

  // Of one who follows events; null: nothing is said of them.
  const model::TotalsByKeyFile* events = nullptr;

  // When the agent began to look, if it goes on looking.
  std::optional<std::chrono::system_clock::time_point> started = {};
};

// All families with what is known. Numbers are as they are stored, times in seconds; what can't be
// read has no sample, and a family without samples isn't there. Texts are well-formed UTF-8. In
// the same order each time.
std::string metrics(const MetricsSource& source, const MetricsOptions& options = {});

}  // namespace render

#endif  // ZEB_AGENT_RENDER_METRICS_H
