// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <vector>

#include "agent/reader/configuration.h"
#include "agent/reader/directory.h"
#include "agent/reader/installation.h"
#include "agent/reader/temporary_directory.h"
#include "format/installed.h"
#include "setup/commands.h"
#include "setup/notes.h"
#include "setup/settings_file.h"
#include "text/printable.h"

namespace setup {
namespace {

using reader::PlugInEntry;
using Json = nlohmann::ordered_json;

struct Seen {
  reader::LibraryFile library;
  reader::Probe probe;
  reader::Configuration settings = reader::readConfiguration();
  reader::Directory keyFiles = reader::readDirectory(reader::temporaryDirectory());
  Notes notes;
  std::vector<PlugInEntry> entries;

  bool wouldLoad(const PlugInEntry& entry) const {
    return reader::wouldLoad(entry, library, probe);
  }
};

// Only the file that was asked for is loaded, wherever a link leads to.
Seen look(const Request& request) {
  Seen seen;
  seen.library = reader::readLibraryFile(request.library);
  if (seen.library.fits())
    seen.probe = reader::tryPlugIn(layout::installedProbe(), request.library);
  std::vector<std::string> directories = seen.notes.directories();
  if (!request.directory.empty()) directories = {absoluteDirectory(request.directory)};
  for (const std::string& one : directories) seen.entries.push_back(reader::readPlugInEntry(one));
  return seen;
}

std::string linkOf(const PlugInEntry& entry) {
  if (entry.error != 0) return failure(entry.error, "can't be looked at").sentence;
  switch (entry.kind) {
    case PlugInEntry::Kind::missing:
      return "is not there";
    case PlugInEntry::Kind::link:
      return "leads to " + entry.target;
    case PlugInEntry::Kind::other:
      break;
  }
  return "is a file of its own";
}

std::string kindOf(const reader::LibraryFile& library) {
  if (library.error != 0) return failure(library.error, "can't be read").sentence;
  if (library.bits == 0) return "is no ELF file";
  return fmt::format("is a library of {} bits{}", library.bits,
                     library.fits() ? ", for this machine" : ", for another machine");
}

std::string loadingOf(const reader::Probe& probe) {
  using Outcome = reader::Probe::Outcome;
  switch (probe.outcome) {
    case Outcome::notTried:
      return probe.error == 0 ? "was not tried" : failure(probe.error, "can't be tried").sentence;
    case Outcome::killed:
      return fmt::format("ends its process by signal {}", probe.code);
    case Outcome::late:
      return "does not come to an end";
    case Outcome::ended:
      break;
  }
  if (!probe.loaded()) return probe.value("error");
  return fmt::format("is {}, node class {}", probe.value("version"), probe.value("nodeClass"));
}

std::string keyFilesText(const reader::Directory& directory) {
  if (directory.error != 0) {
    return directory.path + " " + failure(directory.error, "can't be looked at").sentence;
  }
  return fmt::format("{}, mode {:04o}, group {}", directory.path, directory.mode,
                     reader::groupName(directory.group));
}

std::string settingsText(const reader::Configuration& settings) {
  return settings.exists ? settings.path + " is in force" : "none: the defaults are in force";
}

std::string textOf(const Seen& seen) {
  std::string text;
  for (const PlugInEntry& entry : seen.entries) {
    text +=
        fmt::format("{}\n  link     {}\n  noted    {}\n  result   {}\n", entry.directory,
                    linkOf(entry), seen.notes.has(entry.directory) ? "yes" : "no",
                    seen.wouldLoad(entry) ? "a host would load it" : "a host would not load it");
    const std::string other = neverRead(entry.directory, seen.settings.path);
    if (!other.empty()) text += "  beside   " + other + "\n";
  }
  if (seen.entries.empty()) text += "The plug-in was enabled nowhere.\n";
  return text + fmt::format("{}\n  file     {}\n  loaded   {}\nsettings   {}\nkey files  {}\n",
                            seen.library.path, kindOf(seen.library), loadingOf(seen.probe),
                            settingsText(seen.settings), keyFilesText(seen.keyFiles));
}

Json orNull(const std::string& text) {
  return text.empty() ? Json(nullptr) : Json(text::printable(text));
}

Json objectOf(const Seen& seen, const PlugInEntry& entry) {
  return {{"directory", text::printable(entry.directory)},
          {"link", reader::kPlugInEntryNames[static_cast<int>(entry.kind)]},
          {"target", orNull(entry.target)},
          {"noted", seen.notes.has(entry.directory)},
          {"wouldLoad", seen.wouldLoad(entry)}};
}

std::string jsonOf(const Seen& seen) {
  Json document = {{"schema", "zebpnode.status"}, {"version", 1}};
  Json& list = document["directories"] = Json::array();
  for (const PlugInEntry& entry : seen.entries) list.push_back(objectOf(seen, entry));
  document["library"] = {{"path", text::printable(seen.library.path)},
                         {"bits", seen.library.bits},
                         {"fits", seen.library.fits()},
                         {"version", orNull(seen.probe.value("version"))},
                         {"nodeClass", orNull(seen.probe.value("nodeClass"))},
                         {"loaded", text::printable(loadingOf(seen.probe))}};
  document["settings"] = orNull(seen.settings.exists ? seen.settings.path : "");
  document["keyFiles"] = {{"directory", text::printable(seen.keyFiles.path)},
                          {"mode", fmt::format("{:04o}", seen.keyFiles.mode)},
                          {"group", text::printable(reader::groupName(seen.keyFiles.group))}};
  return document.dump(2, ' ', true) + "\n";
}

}  // namespace

std::string status(const Request& request, ExitCode& code) {
  const Seen seen = look(request);
  const auto loads = [&](const PlugInEntry& entry) { return seen.wouldLoad(entry); };
  code = !seen.entries.empty() && std::ranges::all_of(seen.entries, loads) ? kDone : kNotLoaded;
  return request.json ? jsonOf(seen) : textOf(seen);
}

}  // namespace setup
