// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/look.h"

#include "agent/front/cli/messages.h"
#include "agent/model/condition.h"
#include "agent/model/selection.h"
#include "agent/render/words.h"

namespace cli {

std::shared_ptr<const model::Snapshot> take(const Request& request, model::MachineFacts machine) {
  return model::Collector(request.directory, model::Events::leave, machine).take();
}

model::Snapshot selected(const model::Snapshot& snapshot, const Request& request) {
  model::Snapshot selected = model::select(snapshot, request.selection);
  complain(render::problemOf(snapshot, request.selection));
  for (const auto& broker : selected.brokers) reportProblem(*broker);
  return selected;
}

model::Snapshot look(const Request& request) {
  return distinct(selected(*take(request), request));
}

}  // namespace cli
