// SPDX-License-Identifier: Apache-2.0
// Whether anybody still uses a lock. What nobody uses was left over by processes that died.
#ifndef ZEB_AGENT_MODEL_LEFTOVER_H
#define ZEB_AGENT_MODEL_LEFTOVER_H

#include <string>

#include "agent/model/findings/kinds.h"

namespace model {

// Why a lock is not left over, or can't be known to be: a sentence that names the test that failed.
// Empty when all of its users are gone: nobody has the broker's segment attached in both looks; the
// last sender, the last receiver and the last process of the semaphore are all dead; nobody waits.
std::string whyInUse(const reader::Lock& lock, const findings::Looks& looks);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_LEFTOVER_H
