// SPDX-License-Identifier: Apache-2.0
// Which findings can be mended, and how it is told before and afterwards.
#ifndef ZEB_AGENT_ACT_PLAN_H
#define ZEB_AGENT_ACT_PLAN_H

#include <string>
#include <vector>

#include "agent/act/repair.h"

namespace act {

// Two looks of one machine that found something, the later one second.
struct Found {
  const model::Snapshot& before;
  const model::Snapshot& now;
};

// Those of the findings that `wanted` means, a key or a kind, and that can be mended.
std::vector<model::Finding> mendable(const model::Findings& findings, const std::string& wanted);

// Kinds of findings for which there is a repair.
std::vector<std::string> mendableKinds();

// Whether a repair of that name exists at all: a kind, or one with ":KEYFILE" behind it.
bool isMendable(const std::string& wanted);

// What repair() would do: a sentence.
std::string planOf(const model::Finding& finding);

// Why a lock that is named as "leftover.lock:KEYFILE" is not left over: which test failed. Empty
// for other names, and when there is no such lock.
std::string refusalOf(const Found& found, const std::string& wanted);

// Mends one finding that mendable() returned.
Result repair(const model::Finding& finding, const Found& found);

}  // namespace act

#endif  // ZEB_AGENT_ACT_PLAN_H
