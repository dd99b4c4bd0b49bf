// SPDX-License-Identifier: Apache-2.0
// The configuration file that the library uses on this machine.
#ifndef ZEB_AGENT_READER_CONFIGURATION_H
#define ZEB_AGENT_READER_CONFIGURATION_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "format/settings.h"

namespace reader {

// A place where the library looks, or would look if none before it had a file.
struct ConfigurationPlace {
  std::string path;
  int error = 0;  // errno when the file can't be opened by this process: another's may open it

  // The line of the installation properties that leads there; empty for a fixed place.
  std::string because;
};

// As a process that starts now would find it. One that runs has chosen its file when it started.
struct Configuration {
  static constexpr std::size_t kMostBytes = 1 << 20;

  // In the order of the library's search, each once. It takes the first that opens, else the last
  // of them.
  std::vector<ConfigurationPlace> places;

  std::string path;           // of the file in force, which need not be there
  bool exists = false;        // it opens
  int error = 0;              // errno when it can't be read
  bool cut = false;           // it has more than kMostBytes, which were not read
  std::int64_t modified = 0;  // seconds since 1970
  std::string text;           // what it holds: any bytes

  // A directory may take its place: then each setting is a file in it. What these hold, by name.
  bool directory = false;
  std::map<std::string, std::string> files;
};

// Finds a setting as the library does. The word lies in `configuration`.
layout::Setting settingIn(const Configuration& configuration, const std::string& key);

// The file of that name in a plug-in's directory: somebody may expect its settings there.
std::string settingsFileIn(const std::string& directory);

// Whether the file is there and is not the one of the path, which is in force.
bool isNeverRead(const std::string& file, const std::string& inForce);

// Looks where the library looks. `root` is put before each fixed path, so that another machine's
// files can be looked at; empty for this one's.
Configuration readConfiguration(const std::string& root = "");

}  // namespace reader

#endif  // ZEB_AGENT_READER_CONFIGURATION_H
