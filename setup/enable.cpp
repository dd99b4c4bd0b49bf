// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include <filesystem>
#include <optional>

#include "agent/reader/library_file.h"
#include "format/installed.h"
#include "setup/changes.h"
#include "setup/commands.h"
#include "setup/key_directory.h"
#include "setup/notes.h"
#include "setup/settings_file.h"
#include "setup/turn.h"
#include "text/printable.h"

namespace setup {
namespace {

using reader::PlugInEntry;

void requireLibrary(const std::string& path) {
  const reader::LibraryFile file = reader::readLibraryFile(path);
  if (file.error != 0) throw failure(file.error, "the plug-in " + path + " can't be read");
  if (file.fits()) return;
  throw Stop{kDamaged, path + " is no 64-bit library of this machine. Install the package again"};
}

// Whether the link is there already. Stops when anything else is.
bool isEnabled(const PlugInEntry& entry, const std::string& library) {
  if (entry.error != 0) throw failure(entry.error, "the directory " + entry.directory);
  if (entry.kind == PlugInEntry::Kind::missing) return false;
  if (entry.leadsTo(library)) return true;
  const std::string what =
      entry.kind == PlugInEntry::Kind::link ? "leads to " + entry.target : "is a file of its own";
  throw Stop{kFailed, fmt::format("{} {}, and is left alone. Remove it first if it may go",
                                  entry.path(), what)};
}

// All that is to be done; to make one looks at everything and changes nothing.
struct Plan {
  explicit Plan(const Request& request)
      : entry(reader::readPlugInEntry(absoluteDirectory(request.directory))),
        library(request.library),
        enabled(isEnabled(entry, library)) {
    requireLibrary(library);
    if (!enabled) requireWritable(entry.directory, "directory");
    if (!notes.has(entry.directory)) notes.requireWritable();
    if (!request.group.empty()) keyFiles.emplace(request.group);
  }

  // The link is last: before it, nothing of this matters to a host.
  void carryOut() const {
    Changes changes;
    notes.add(entry.directory, changes);
    settings.write(changes);
    if (keyFiles) keyFiles->make(changes);
    if (!enabled) changes.linkNew(entry.path(), library);
    changes.keep();
  }

  std::string report() const;

  PlugInEntry entry;
  std::string library;
  bool enabled;
  Notes notes;
  SettingsFile settings;
  std::optional<KeyDirectory> keyFiles;
};

std::string Plan::report() const {
  std::string text =
      fmt::format("Plug-in: {} {} {}{}.\n", entry.path(), enabled ? "leads to" : "now leads to",
                  library, enabled ? " already" : "");
  text += settings.report(entry.directory);
  if (keyFiles) text += keyFiles->report();
  if (keyFiles && !settings.hasKeyFilesIn(layout::kKeyFileDirectory)) {
    text += fmt::format("Put this line into {}:\n    ZEBTempDirectory {}\n",
                        settings.path().empty() ? "the settings" : settings.path(),
                        layout::kKeyFileDirectory);
  }
  return text +
         "Restart the host's execution groups. \"zebpnode status\" and \"zebmon doctor\" tell "
         "how it is.\n";
}

}  // namespace

std::string absoluteDirectory(const std::string& given) {
  if (given.empty() || text::printable(given) != given) {
    throw Stop{kUsage, "the directory's name \"" + given + "\" can't be noted. Rename it"};
  }
  std::string path = std::filesystem::absolute(given).lexically_normal();
  while (path.size() > 1 && path.ends_with('/')) path.pop_back();
  return path;
}

std::string enable(const Request& request) {
  const Turn turn;
  const Plan plan(request);
  plan.carryOut();
  return plan.report();
}

}  // namespace setup
