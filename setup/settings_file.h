// SPDX-License-Identifier: Apache-2.0
// The settings of the plug-in: which are in force, and a file of them where there are none.
#ifndef ZEB_SETUP_SETTINGS_FILE_H
#define ZEB_SETUP_SETTINGS_FILE_H

#include <string>

#include "agent/reader/configuration.h"
#include "setup/changes.h"

namespace setup {

// Every key with its default and what it is for; all lines are comments.
extern const char kDefaultSettings[];

// What is to be done about the settings of this machine. Never more than one file that is new.
class SettingsFile {
 public:
  // As they are now. Stops when a file is to be written and can't be.
  SettingsFile();

  void write(Changes& changes) const;

  // The file that is in force, or will be; empty when there is no place for one.
  std::string path() const;

  // Sentences for people, a line each. `directory` is that of the plug-in: somebody may expect its
  // settings there.
  std::string report(const std::string& directory) const;

  bool hasKeyFilesIn(const std::string& directory) const;

 private:
  reader::Configuration now_;
  std::string fresh_;  // where one will be written; empty: nowhere
};

// "A zebpnode.cfg in DIRECTORY is never read", or that the one there isn't; empty when it is the
// file of `path`.
std::string neverRead(const std::string& directory, const std::string& path);

}  // namespace setup

#endif  // ZEB_SETUP_SETTINGS_FILE_H
