// SPDX-License-Identifier: Apache-2.0
// How the plug-in is installed and enabled on this machine.
#ifndef ZEB_AGENT_READER_INSTALLATION_H
#define ZEB_AGENT_READER_INSTALLATION_H

#include <cstdint>
#include <string>
#include <vector>

#include "agent/reader/configuration.h"
#include "agent/reader/groups.h"
#include "agent/reader/library_file.h"
#include "agent/reader/probe.h"

namespace reader {

// A process that goes on with the library of before: its file was replaced since.
struct OlderHost {
  std::int32_t process = 0;
  std::string command;  // at most 15 bytes, which it may choose itself
};

struct Installation {
  static constexpr std::size_t kMostProcesses = 32768;

  int error = 0;  // errno when it can't be read where the plug-in was enabled

  // Where it was. Without any, nothing of the rest but the memberships is looked at.
  std::vector<PlugInEntry> entries;

  // Files beside these that look like settings and are not those in force.
  std::vector<std::string> unreadSettings;

  LibraryFile library;  // the installed one

  // Of that library, wherever the entries lead to.
  Probe probe;

  std::vector<OlderHost> olderHosts;
  std::uint64_t hidden = 0;  // processes of which it is not told what they have mapped

  // In the groups that own what is looked at.
  std::vector<Membership> memberships;
};

// Whether a host that loads plug-ins from the entry's directory would load the library, which the
// probe has tried.
inline bool wouldLoad(const PlugInEntry& entry, const LibraryFile& library, const Probe& probe) {
  return entry.error == 0 && entry.leadsTo(library.path) && library.fits() && probe.loaded();
}

// All but the memberships. `proc` is where the kernel shows processes.
Installation readInstallation(const Configuration& configuration,
                              const std::string& proc = "/proc");

// Whether a process with these mappings has a file that had the library's path, and is another one.
// The path is without links, as the kernel shows it.
bool hasOlder(const std::string& maps, const LibraryFile& library);

}  // namespace reader

#endif  // ZEB_AGENT_READER_INSTALLATION_H
