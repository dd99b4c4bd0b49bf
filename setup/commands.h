// SPDX-License-Identifier: Apache-2.0
// What zebpnode does, a function a command.
#ifndef ZEB_SETUP_COMMANDS_H
#define ZEB_SETUP_COMMANDS_H

#include <string>

#include "setup/stop.h"

namespace setup {

struct Request {
  std::string directory;  // of the host; empty: all that are noted, of status only
  std::string library;    // the plug-in's file
  std::string group;      // empty: no directory of key files is made
  bool json = false;
};

// Each returns lines for standard output, not yet made printable, and throws Stop when it can't do
// what was asked for: then nothing was changed.
std::string enable(const Request& request);
std::string disable(const Request& request);

// Changes nothing. Ends with kNotLoaded unless a host would load the plug-in from each directory.
std::string status(const Request& request, ExitCode& code);

// The directory as it is noted: absolute, with no "/" behind it. Stops when it could not be a line
// of the notes.
std::string absoluteDirectory(const std::string& given);

}  // namespace setup

#endif  // ZEB_SETUP_COMMANDS_H
