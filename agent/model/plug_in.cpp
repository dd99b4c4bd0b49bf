// SPDX-License-Identifier: Apache-2.0
#include "agent/model/plug_in.h"

namespace model {

std::vector<PlugIn> plugInsOf(const Machine& machine) {
  std::vector<PlugIn> plugIns;
  if (!machine.installation) return plugIns;
  const reader::Installation& found = *machine.installation;
  for (const reader::PlugInEntry& entry : found.entries) {
    plugIns.push_back({entry.directory, reader::wouldLoad(entry, found.library, found.probe)});
  }
  return plugIns;
}

std::string plugInVersion(const Machine& machine) {
  if (!machine.installation) return {};
  const std::string version = machine.installation->probe.value("version");
  return version.substr(0, version.find(','));
}

}  // namespace model
