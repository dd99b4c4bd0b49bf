// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/look.h"

#include "agent/front/cli/messages.h"
#include "agent/model/collector.h"
#include "agent/model/selection.h"
#include "agent/render/words.h"

namespace cli {

std::shared_ptr<const model::Snapshot> take(const Request& request, model::MachineFacts machine) {
  return model::Collector(request.directory, model::Events::leave, machine).take();
}

model::Snapshot look(const Request& request) {
  const auto snapshot = take(request);
  model::Snapshot selected = model::select(*snapshot, request.selection);
  complain(render::problemOf(*snapshot, request.selection));
  for (const auto& broker : selected.brokers) reportProblem(*broker);
  return selected;
}

}  // namespace cli
