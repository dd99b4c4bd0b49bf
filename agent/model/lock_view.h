// SPDX-License-Identifier: Apache-2.0
// Locks as somebody on call looks at them: what each guards, and who has it.
#ifndef ZEB_AGENT_MODEL_LOCK_VIEW_H
#define ZEB_AGENT_MODEL_LOCK_VIEW_H

#include <optional>
#include <vector>

#include "agent/model/guarded.h"
#include "agent/model/liveness.h"
#include "agent/model/snapshot.h"

namespace model {

struct LockView {
  reader::Lock lock;
  Guarded guarded;
  Verdict lastUser;                        // by this one look
  std::optional<reader::Process> process;  // that used it last, if it was looked at
  std::vector<std::int32_t> waiters;       // processes that are known to wait for it

  // Somebody has it, or is just making it.
  bool held() const;

  // Worth a look: held, waited for, or not as the library makes it. A key file alone is neither: it
  // does no harm, and the next start makes the rest.
  bool noteworthy() const;
};

// The locks of the places in `selected`, which is a selection of `whole`: those of its groups and
// nodes, and those that a whole broker shares. With `all` those too that belong to none of it. In
// the order of their brokers, and of what they guard. With `owners` these are only locks of these
// users, by their key files.
std::vector<LockView> locksOf(const Snapshot& whole, const Snapshot& selected, bool all,
                              const std::vector<std::uint32_t>& owners = {});

}  // namespace model

#endif  // ZEB_AGENT_MODEL_LOCK_VIEW_H
