// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/installation.h"

#include <sys/sysmacros.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string_view>

#include "agent/reader/bounded_file.h"
#include "agent/reader/noted.h"
#include "agent/reader/processes.h"
#include "format/installed.h"

namespace reader {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kDeleted = " (deleted)";

// "fe:01", as the kernel writes it.
std::string deviceText(std::uint64_t device) {
  char text[32];
  std::snprintf(text, sizeof text, "%02x:%02x", major(device), minor(device));
  return text;
}

// One line: addresses, permissions, offset, device, inode, path. A file of the same path on another
// device is that of another root, which nobody has replaced.
bool isOlder(std::string_view line, const LibraryFile& library) {
  for (int i = 0; i < 3; ++i) takeWord(line);
  const std::string_view device = takeWord(line);
  const auto inode = unsignedOf(takeWord(line));
  line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
  if (!line.starts_with(library.path)) return false;
  line.remove_prefix(library.path.size());
  if (line == kDeleted) return true;
  return line.empty() && inode && *inode != library.inode && device == deviceText(library.device);
}

LibraryFile withoutLinks(LibraryFile library) {
  std::error_code error;
  const fs::path real = fs::weakly_canonical(library.path, error);
  if (!error) library.path = real;
  return library;
}

void lookAtHosts(const std::string& proc, Installation& found) {
  const LibraryFile library = withoutLinks(found.library);
  int ignored = 0;
  for (const std::int32_t process : listProcesses(Installation::kMostProcesses, ignored, proc)) {
    const std::string folder = proc + "/" + std::to_string(process);
    const std::string maps = mapsOf(folder);
    found.hidden += maps.empty() && isUsers(folder);
    if (hasOlder(maps, library)) {
      found.olderHosts.push_back({process, firstLineOf(folder + "/comm")});
    }
  }
  std::ranges::sort(found.olderHosts, {}, &OlderHost::process);
}

void lookBeside(const PlugInEntry& entry, const Configuration& configuration, Installation& found) {
  const std::string path = settingsFileIn(entry.directory);
  if (entry.error == 0 && isNeverRead(path, configuration.path)) {
    found.unreadSettings.push_back(path);
  }
}

}  // namespace

bool hasOlder(const std::string& maps, const LibraryFile& library) {
  for (std::string_view rest = maps; !rest.empty();) {
    if (isOlder(takeLine(rest), library)) return true;
  }
  return false;
}

Installation readInstallation(const Configuration& configuration, const std::string& proc) {
  Installation found;
  const FileText notes = readFile(layout::kNotedDirectories, kMostOfNotes);
  if (notes.error != ENOENT) found.error = notes.error;
  for (const std::string& directory : notedIn(notes.text)) {
    found.entries.push_back(readPlugInEntry(directory));
    lookBeside(found.entries.back(), configuration, found);
  }
  found.library = readLibraryFile(layout::installedLibrary());
  if (found.entries.empty()) return found;
  if (found.library.fits()) {
    found.probe = tryPlugIn(layout::installedProbe(), found.library.path);
  }
  lookAtHosts(proc, found);
  return found;
}

}  // namespace reader
