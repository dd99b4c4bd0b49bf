// SPDX-License-Identifier: Apache-2.0
// One look after the other, for commands that show what happened in between.
#ifndef ZEB_AGENT_FRONT_CLI_LOOKS_H
#define ZEB_AGENT_FRONT_CLI_LOOKS_H

#include <memory>
#include <vector>

#include "agent/front/cli/exit_code.h"
#include "agent/front/cli/request.h"
#include "agent/model/collector.h"
#include "agent/model/flow_view.h"

namespace cli {

// Takes looks at the brokers that a request selects, and keeps the last ten of them.
class Looks {
 public:
  // The request must live as long. Throws Stop with --from.
  explicit Looks(const Request& request, model::MachineFacts machine = model::MachineFacts::leave);

  void take();

  // The last look at everything; null before the first.
  std::shared_ptr<const model::Snapshot> last() const { return last_; }

  // What happened between the last two looks; between one look and itself after the first.
  model::View view(const model::FlowKnowledge& known) const;

  // Says on standard error what is wrong in the last look, and returns what is selected of it.
  model::Snapshot report() const;

 private:
  const Request& request_;
  model::Collector collector_;
  std::shared_ptr<const model::Snapshot> last_;
  std::shared_ptr<const model::Snapshot> before_, after_;  // the last two; each segment once
  std::vector<model::Growths> intervals_;                  // between the last ten
};

}  // namespace cli

#endif  // ZEB_AGENT_FRONT_CLI_LOOKS_H
