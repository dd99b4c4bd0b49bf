// SPDX-License-Identifier: Apache-2.0
#include <cerrno>

#include "agent/reader/library_file.h"
#include "setup/changes.h"
#include "setup/commands.h"
#include "setup/notes.h"
#include "setup/turn.h"

namespace setup {
namespace {

using reader::PlugInEntry;

std::string reportOf(const PlugInEntry& entry, bool removed, bool forgotten) {
  if (removed) {
    return "Plug-in: " + entry.path() +
           " was removed. Processes that run keep the library; settings stay as they are.\n";
  }
  const bool other = entry.error == 0 && entry.kind != PlugInEntry::Kind::missing;
  const std::string there =
      other ? entry.path() + " is not the link that \"enable\" makes, and stays."
            : entry.path() + " is not there.";
  return "Plug-in: " + there + (forgotten ? " The directory was forgotten.\n" : "\n");
}

}  // namespace

// A directory that has gone is forgotten all the same.
std::string disable(const Request& request) {
  const Turn turn;
  const PlugInEntry entry = reader::readPlugInEntry(absoluteDirectory(request.directory));
  const Notes notes;
  const bool noted = notes.has(entry.directory);
  const bool gone = entry.error == ENOENT || entry.error == ENOTDIR;
  if (entry.error != 0 && !(gone && noted)) {
    throw failure(entry.error, "the directory " + entry.directory);
  }
  const bool ours = entry.leadsTo(request.library);
  if (ours) requireWritable(entry.directory, "directory");
  if (noted) notes.requireWritable();
  Changes changes;
  if (ours) changes.removeLink(entry.path(), request.library);
  notes.remove(entry.directory, changes);
  changes.keep();
  return reportOf(entry, ours, noted);
}

}  // namespace setup
