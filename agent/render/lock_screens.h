// SPDX-License-Identifier: Apache-2.0
// Locks as rows, and as a document.
#ifndef ZEB_AGENT_RENDER_LOCK_SCREENS_H
#define ZEB_AGENT_RENDER_LOCK_SCREENS_H

#include <string>
#include <vector>

#include "agent/model/lock_view.h"
#include "agent/render/json.h"
#include "agent/render/sheet.h"

namespace render {

// One row a lock, under the name of its broker.
std::vector<Column> locksColumns();
Sheet locksSheet(const std::vector<model::LockView>& locks);

Json locksDocument(const model::Snapshot& snapshot, const std::vector<model::LockView>& locks);

// "12 locks are free. See them with --all": what a table of the others doesn't tell.
std::string countOf(const std::vector<model::LockView>& all,
                    const std::vector<model::LockView>& shown);

// Which command to type when one of them is held by a dead process; empty when none is. `options`
// stand behind the command, each with a blank before it.
std::string stuckText(const std::vector<model::LockView>& locks, const std::string& options);

}  // namespace render

#endif  // ZEB_AGENT_RENDER_LOCK_SCREENS_H
