// SPDX-License-Identifier: Apache-2.0
// The plug-in as a host sees it: a file to load, one entry point, and the node classes that it
// defines in that call.
#ifndef ZEB_HOST_RUN_PLUGIN_H
#define ZEB_HOST_RUN_PLUGIN_H

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "host/run/text16.h"
#include "interface/host_interface.h"

// A factory that the plug-in made, with the classes it defined for it. Owned by the host, never
// destroyed: the plug-in may keep the handle until the process ends.
struct HostFactory {
  host::Text16 name;
  // The table is the plug-in's.
  struct NodeClass {
    host::Text16 name;
    const HostNodeFunctionTable* table;
  };
  // In the order in which they were defined.
  std::vector<NodeClass> classes;
};

namespace host {

// Loaded once in a process, before it has other threads, and never unloaded.
class Plugin {
 public:
  // Loads the file and calls its entry point. Throws std::runtime_error with what went wrong when
  // it can't be loaded, has no entry point, or defines no class whose table this host knows.
  explicit Plugin(const std::filesystem::path& file);

  // The first class that the plug-in defined. Neither is null, and both live as long as the
  // process.
  HostFactory* factory() const { return factory_; }
  const HostNodeFunctionTable& table() const { return *table_; }

 private:
  HostFactory* factory_;
  const HostNodeFunctionTable* table_;
};

}  // namespace host

#endif  // ZEB_HOST_RUN_PLUGIN_H
