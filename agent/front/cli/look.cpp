// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/look.h"

#include "agent/front/cli/messages.h"
#include "agent/model/collector.h"
#include "agent/model/selection.h"
#include "agent/render/words.h"

namespace cli {

model::Snapshot look(const Request& request) {
  const auto snapshot = model::Collector(request.directory).take();
  model::Snapshot selected = model::select(*snapshot, request.selection);
  complain(render::problemOf(*snapshot, selected, request.selection));
  for (const auto& broker : selected.brokers) reportProblem(*broker);
  return selected;
}

}  // namespace cli
