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
#include "format/names.h"

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
bool isOlder(std::string_view line, const std::string& path, const LibraryFile& library) {
  for (int i = 0; i < 3; ++i) takeWord(line);
  const std::string_view device = takeWord(line);
  const auto inode = unsignedOf(takeWord(line));
  line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
  if (!line.starts_with(path)) return false;
  line.remove_prefix(path.size());
  if (line == kDeleted) return true;
  return line.empty() && inode && *inode != library.inode && device == deviceText(library.device);
}

std::string firstLineOf(const std::string& path) {
  const std::string text = readFile(path, 256).text;
  return text.substr(0, text.find('\n'));
}

void lookAtHosts(const std::string& proc, Installation& found) {
  int ignored = 0;
  for (const std::int32_t process : listProcesses(Installation::kMostProcesses, ignored, proc)) {
    const std::string folder = proc + "/" + std::to_string(process);
    const std::string maps = mapsOf(folder);
    found.hidden += maps.empty() && isUsers(folder);
    if (hasOlder(maps, found.library)) {
      found.olderHosts.push_back({process, firstLineOf(folder + "/comm")});
    }
  }
  std::ranges::sort(found.olderHosts, {}, &OlderHost::process);
}

bool isUnread(const std::string& path, const Configuration& configuration) {
  std::error_code error;
  return fs::exists(path, error) && !fs::equivalent(path, configuration.path, error);
}

void lookBeside(const PlugInEntry& entry, const Configuration& configuration, Installation& found) {
  const std::string path =
      entry.directory + "/" + fs::path(layout::kConfigurationName).filename().string();
  if (entry.error == 0 && isUnread(path, configuration)) found.unreadSettings.push_back(path);
}

}  // namespace

// The kernel shows where links lead to.
bool hasOlder(const std::string& maps, const LibraryFile& library) {
  std::error_code error;
  const fs::path real = fs::weakly_canonical(library.path, error);
  const std::string path = error ? library.path : real.string();
  for (std::string_view rest = maps; !rest.empty();) {
    if (isOlder(takeLine(rest), path, library)) return true;
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
  found.library = readLibraryFile(layout::kInstalledLibrary);
  if (found.entries.empty()) return found;
  if (found.library.fits()) found.probe = tryPlugIn(layout::kProbe, found.library.path);
  lookAtHosts(proc, found);
  return found;
}

}  // namespace reader
