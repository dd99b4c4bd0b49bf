// SPDX-License-Identifier: Apache-2.0
// How full shared memory is, and how large it has to be.
#ifndef ZEB_AGENT_RENDER_SIZE_SCREENS_H
#define ZEB_AGENT_RENDER_SIZE_SCREENS_H

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

// One row an area of each broker that could be read.
std::vector<Column> fillColumns();
Sheet fillSheet(const model::Snapshot& snapshot);

// What each area needs, the line to write, and the kernel's limits beside it.
std::string planScreen(const PlanView& view, const TableStyle& style);

Json fillDocument(const model::Snapshot& snapshot);
Json planDocument(const PlanView& view);

}  // namespace render

#endif  // ZEB_AGENT_RENDER_SIZE_SCREENS_H
