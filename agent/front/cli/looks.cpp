// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/looks.h"

#include <utility>

#include "agent/front/cli/look.h"
#include "agent/front/cli/messages.h"
#include "agent/front/cli/stop.h"
#include "agent/model/condition.h"
#include "agent/model/selection.h"
#include "agent/render/words.h"

namespace cli {

Looks::Looks(const Request& request, model::MachineFacts machine)
    : request_(request),
      collector_(request.directory, model::Events::read, machine, request.mostBytes) {
  if (request.from.empty()) return;
  throw Stop{kUsage, request.from +
                         " is a snapshot, which is one look. Give a history, or compare two files: "
                         "zebmon diff A B"};
}

void Looks::take() {
  last_ = collector_.take();
  before_ = std::exchange(after_, std::make_shared<const model::Snapshot>(
                                      distinct(model::selectBrokers(*last_, request_.selection))));
  if (!before_) return;
  intervals_.push_back(between(*before_, *after_));
  if (intervals_.size() >= model::kMostLooks) intervals_.erase(intervals_.begin());
}

model::View Looks::view(const model::FlowKnowledge& known) const {
  if (!before_) return model::viewOf(std::vector{after_, after_}, known);
  return model::viewOf(intervals_, before_, after_, known);
}

model::Snapshot Looks::report() const {
  remark(*last_, request_);
  return selected(*last_, request_);
}

}  // namespace cli
