// SPDX-License-Identifier: Apache-2.0
// Whether hosts would load the plug-in that is installed.
#ifndef ZEB_AGENT_MODEL_PLUG_IN_H
#define ZEB_AGENT_MODEL_PLUG_IN_H

#include <string>
#include <vector>

#include "agent/model/machine.h"

namespace model {

// A directory in which it was enabled.
struct PlugIn {
  std::string directory;
  bool wouldLoad = false;
};

// In the order in which it was enabled there; none when nobody looked.
std::vector<PlugIn> plugInsOf(const Machine& machine);

// Of the installed library: "1.0.0". Empty when it could not be loaded.
std::string plugInVersion(const Machine& machine);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_PLUG_IN_H
