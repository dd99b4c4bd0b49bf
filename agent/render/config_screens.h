// SPDX-License-Identifier: Apache-2.0
// The configuration in force, for people and for programs.
#ifndef ZEB_AGENT_RENDER_CONFIG_SCREENS_H
#define ZEB_AGENT_RENDER_CONFIG_SCREENS_H

#include <string>
#include <vector>

#include "agent/model/settings.h"
#include "agent/render/json.h"
#include "agent/render/sheet.h"

namespace render {

// All that is known of a configuration. The snapshot must have its machine facts.
struct ConfigView {
  const model::Snapshot& snapshot;
  model::Settings settings;
  std::vector<model::Restart> restarts;
};

// A sentence, without its last full stop.
std::string trapText(const model::Trap& trap);
std::string restartText(const model::Restart& restart);

// The name of a kind of trap in JSON: "blankAroundEquals".
const char* trapName(model::Trap::Kind kind);

// What is known of a place where the library looks: "in force", "not there", "also there, not
// used", or why it can't be opened.
std::string placeState(const reader::Configuration& configuration, std::size_t place);

// The file, where else it was looked for, every key, the traps and what needs a restart.
std::string configScreen(const ConfigView& view, const TableStyle& style);
Json configDocument(const ConfigView& view);

}  // namespace render

#endif  // ZEB_AGENT_RENDER_CONFIG_SCREENS_H
