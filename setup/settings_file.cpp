// SPDX-License-Identifier: Apache-2.0
#include "setup/settings_file.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "format/names.h"
#include "setup/notes.h"

namespace setup {

const char kDefaultSettings[] =
    "# Settings of the monitoring nodes. All lines are comments: each key has its default.\n"
    "# A line is KEY VALUE, or KEY=VALUE without blanks. The first line of a key counts.\n"
    "# \"zebmon config\" shows what is in force, and finds lines that don't do what they seem to.\n"
    "\n"
    "# On: the nodes trace every operation into the host's log. Restart the execution groups.\n"
    "#ZEBNodeTrace Off\n"
    "\n"
    "# What nodes measure, in place of what each of them is set to: NoOverride, Yes, No, "
    "EventOnly,\n"
    "# InputOutputOnly, InputOutputAndEventOnly. Restart the execution groups.\n"
    "#ZEBActivateNode NoOverride\n"
    "\n"
    "# The same for one broker, whose label follows the key directly. Deploy again.\n"
    "#ZEBActivateNodeForBRK1 NoOverride\n"
    "\n"
    "# Where key files are. The directory must be there. Restart the execution groups.\n"
    "#ZEBTempDirectory /tmp/\n"
    "\n"
    "# Bytes of each of a broker's three areas of shared memory, 4096 or more; \"zebmon size\" "
    "tells\n"
    "# how many. Stop all execution groups of the broker at once, then start them.\n"
    "#ZEBMemorySize 32768\n";

namespace {

namespace fs = std::filesystem;

bool isMissing(const reader::ConfigurationPlace& place) {
  return place.error == ENOENT || place.error == ENOTDIR;
}

// The first place whose directory is there.
std::string placeForNew(const reader::Configuration& now) {
  const auto has = [](const reader::ConfigurationPlace& place) {
    std::error_code ignored;
    return fs::is_directory(folderOf(place.path), ignored);
  };
  const auto place = std::ranges::find_if(now.places, has);
  return place == now.places.end() ? std::string() : place->path;
}

}  // namespace

// A file that this process can't open may be open to the host.
SettingsFile::SettingsFile() : now_(reader::readConfiguration()) {
  if (!std::ranges::all_of(now_.places, isMissing)) return;
  fresh_ = placeForNew(now_);
  if (!fresh_.empty()) requireWritable(folderOf(fresh_), "directory of the settings");
}

void SettingsFile::write(Changes& changes) const {
  if (!fresh_.empty()) writeAndNote(fresh_, kDefaultSettings, changes);
}

std::string SettingsFile::path() const {
  if (!fresh_.empty()) return fresh_;
  if (now_.exists) return now_.path;
  const auto hidden = std::ranges::find_if_not(now_.places, isMissing);
  return hidden == now_.places.end() ? std::string() : hidden->path;
}

std::string SettingsFile::report(const std::string& directory) const {
  const std::string other = neverRead(directory, path());
  const std::string also = other.empty() ? "" : "Settings: " + other + ".\n";
  if (!fresh_.empty()) {
    return fmt::format("Settings: {} was written. Each of its lines is a comment.\n", fresh_) +
           also;
  }
  if (now_.exists) {
    return fmt::format("Settings: {} is in force and stays as it is.\n", now_.path) + also;
  }
  if (!path().empty()) {
    return fmt::format("Settings: {} can't be opened by this user. It stays as it is.\n", path()) +
           also;
  }
  return "Settings: there are none, and no directory for them. The defaults are in force.\n" + also;
}

bool SettingsFile::hasKeyFilesIn(const std::string& directory) const {
  const std::string word(settingIn(now_, layout::kDirectoryKey).value());
  return word == directory || word + "/" == directory;
}

std::string neverRead(const std::string& directory, const std::string& path) {
  const std::string own = reader::settingsFileIn(directory);
  if (reader::isNeverRead(own, path)) return own + " is never read";
  std::error_code error;
  const bool isPlace =
      own == path || fs::exists(own, error) || fs::equivalent(directory, folderOf(path), error);
  if (isPlace) return {};
  return "a " + fs::path(own).filename().string() + " in " + directory + " would never be read";
}

}  // namespace setup
