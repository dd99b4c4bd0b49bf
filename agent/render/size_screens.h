// SPDX-License-Identifier: Apache-2.0
// How full shared memory is, and how large it has to be.
#ifndef ZEB_AGENT_RENDER_SIZE_SCREENS_H
#define ZEB_AGENT_RENDER_SIZE_SCREENS_H

#include <map>
#include <string>
#include <vector>

#include "agent/model/capacity.h"
#include "agent/render/json.h"
#include "agent/render/sheet.h"

namespace render {

// A plan, and what it comes to on this machine.
struct PlanView {
  const model::Snapshot& snapshot;
  model::Plan plan;
  model::Need need;
  std::vector<model::KernelNeed> kernel;
  std::uint32_t configured = 0;  // bytes of an area as configured now
};

// By the uuids of brokers: what a history says of their areas of nodes.
using Growths = std::map<std::string, model::AreaGrowth>;

// One row an area of each broker that could be read.
std::vector<Column> fillColumns();
Sheet fillSheet(const model::Snapshot& snapshot);

// Of each broker that could be read, in lines of that width: how many nodes fit together with a new
// flow, or a new group.
std::string roomLines(const model::Snapshot& snapshot, std::optional<std::size_t> width);

// When an area will be full, or why nobody can tell; a sentence without its full stop. It counts
// from the growth's end, and says how long ago that was where `now`, in seconds since 1970, is much
// later.
std::string forecastText(const model::AreaGrowth& growth, std::int64_t now);

// Of each broker in `growths`, in lines of that width: what forecastText() says of its area of
// nodes.
std::string forecastLines(const model::Snapshot& snapshot, const Growths& growths, std::int64_t now,
                          std::optional<std::size_t> width);

// What each area needs, the line to write, and the kernel's limits beside it.
std::string planScreen(const PlanView& view, const TableStyle& style);

Json fillDocument(const model::Snapshot& snapshot, const Growths& growths = {});
Json planDocument(const PlanView& view);

}  // namespace render

#endif  // ZEB_AGENT_RENDER_SIZE_SCREENS_H
