// SPDX-License-Identifier: Apache-2.0
// Looks that are kept for what grew since, and for nothing else.
#ifndef ZEB_AGENT_MODEL_LIGHTENED_H
#define ZEB_AGENT_MODEL_LIGHTENED_H

#include <memory>

#include "agent/model/snapshot.h"

namespace model {

// The same look without the bytes of areas and without events, which are most of it.
std::shared_ptr<const Snapshot> lightened(const Snapshot& snapshot);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_LIGHTENED_H
