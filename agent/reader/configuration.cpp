// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/configuration.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string_view>

#include "agent/reader/bounded_file.h"
#include "format/names.h"

namespace reader {
namespace {

constexpr std::size_t kLongestPath = 255;
constexpr std::size_t kLongestLine = 1022;
constexpr std::size_t kMostOfValue = 4096;
constexpr std::size_t kMostFiles = 1000;
constexpr char kKeys[] = "ZEB";  // how each of them begins

int errorOfOpening(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (file < 0) return errno;
  close(file);
  return 0;
}

// "=6.0", with any character in place of the full stop: the library searches with grep.
bool hasVersion(std::string_view line, char number) {
  for (std::size_t at = line.find("=6"); at != line.npos; at = line.find("=6", at + 1)) {
    if (at + 3 < line.size() && line[at + 3] == number) return true;
  }
  return false;
}

std::string_view lineOfVersion(std::string_view properties, char number) {
  while (!properties.empty()) {
    const std::string_view line = takeLine(properties);
    if (hasVersion(line, number)) return line.substr(0, kLongestLine);
  }
  return {};
}

// From the first "/" up to the "=" behind it. Without these, or when that is too long, the name
// alone.
std::string pathIn(std::string_view line) {
  const std::size_t begin = std::min(line.find('/'), line.size());
  const std::size_t end = line.find('=', begin);
  const std::string name = layout::kConfigurationName;
  if (end == line.npos) return name;
  const std::string path = std::string(line.substr(begin, end - begin)) + name;
  return path.size() > kLongestPath ? name : path;
}

std::vector<ConfigurationPlace> placesBelow(const std::string& root) {
  std::vector<ConfigurationPlace> places;
  for (const char* const path : layout::kConfigurationFiles) places.push_back({root + path, 0, {}});
  const std::string properties =
      readFile(root + layout::kInstallProperties, Configuration::kMostBytes).text;
  for (const char number : {'0', '1'}) {
    const std::string_view line = lineOfVersion(properties, number);
    std::string path = root + pathIn(line);
    if (path == places.back().path) continue;
    places.push_back({std::move(path), 0, std::string(line)});
  }
  for (ConfigurationPlace& place : places) place.error = errorOfOpening(place.path);
  return places;
}

void readFiles(Configuration& found) {
  std::error_code error;
  std::filesystem::directory_iterator entry(found.path, error), end;
  for (; !error && entry != end; entry.increment(error)) {
    const std::string name = entry->path().filename();
    if (!name.starts_with(kKeys)) continue;
    found.cut = found.files.size() == kMostFiles;
    if (found.cut) return;
    found.files[name] = readFile(entry->path(), kMostOfValue).text;
  }
  found.error = error.value();
}

void readText(Configuration& found) {
  FileText file = readFile(found.path, Configuration::kMostBytes);
  found.error = file.error;
  found.cut = file.cut;
  found.text = std::move(file.text);
}

}  // namespace

Configuration readConfiguration(const std::string& root) {
  Configuration found;
  found.places = placesBelow(root);
  const auto opens = std::ranges::find(found.places, 0, &ConfigurationPlace::error);
  found.exists = opens != found.places.end();
  found.path = found.exists ? opens->path : found.places.back().path;
  struct stat facts {};
  if (stat(found.path.c_str(), &facts) == 0) {
    found.directory = S_ISDIR(facts.st_mode);
    found.modified = facts.st_mtime;
  }
  found.directory ? readFiles(found) : readText(found);
  return found;
}

std::string settingsFileIn(const std::string& directory) {
  return directory + "/" + std::filesystem::path(layout::kConfigurationName).filename().string();
}

bool isNeverRead(const std::string& file, const std::string& inForce) {
  std::error_code error;
  return std::filesystem::exists(file, error) && !std::filesystem::equivalent(file, inForce, error);
}

layout::Setting settingIn(const Configuration& configuration, const std::string& key) {
  if (!configuration.directory) return layout::findSetting(configuration.text, key);
  const auto file = configuration.files.find(key);
  return file == configuration.files.end() ? layout::Setting()
                                           : layout::findSetting(file->second, "");
}

}  // namespace reader
