// SPDX-License-Identifier: Apache-2.0
// What a node collects: the activation modes, and how they are written.
#ifndef ZEB_NODE_ACTIVATION_H
#define ZEB_NODE_ACTIVATION_H

#include <cstdint>

#include "base/string.h"

// The same numbers serve the node's attribute and the overrides of the configuration. An override
// goes before the attribute; the one for the node's own broker goes before the one for all.
enum ZEB_ActivateNode : std::uint32_t {
  ZEB_NO_OVERRIDE = 0,  // as an override only
  ZEB_ACTIVE = 1,       // statistics and events
  ZEB_INACTIVE = 2,
  ZEB_EVENT_ONLY = 3,
  ZEB_INPUT_OUTPUT_ONLY = 4,            // both, for input and output nodes
  ZEB_INPUT_OUTPUT_AND_EVENT_ONLY = 5,  // both, also for nodes with an event message
};

// The mode that an attribute's text names, in any letter case; any other text is ZEB_ACTIVE. So is
// a text that can't be read for lack of memory.
ZEB_ActivateNode ZEB_ActivationOf(const ZEB_String& attribute);

// The override that a configuration value names, in any letter case. An empty value or any other
// text leaves `present` as it is.
int ZEB_OverrideOf(const ZEB_String& configured, int present);

#endif  // ZEB_NODE_ACTIVATION_H
