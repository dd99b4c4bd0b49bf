// SPDX-License-Identifier: Apache-2.0
// Where an installation has what its programs look for.
#ifndef ZEB_FORMAT_INSTALLED_H
#define ZEB_FORMAT_INSTALLED_H

#include <string>

namespace layout {

// The plug-in, and the program that tries whether it can be loaded: where they lie as seen from
// this program, which may be installed below another prefix than it was built for. When there is
// nothing, where the build was configured to install them. Absolute paths.
std::string installedLibrary();
std::string installedProbe();

// As the build was configured.
extern const char* const kInstalledLibrary;
extern const char* const kProbe;

// The plug-in's name in a host's directory.
inline constexpr char kPlugInName[] = "zebpnode64.lil";

// The directories in which it was enabled, an absolute path a line.
inline constexpr char kNotedDirectories[] = "/var/lib/zebpnode/directories";

// Copies of the files that were written when it was enabled, each below here under its whole path:
// what equals its copy was not changed since.
inline constexpr char kWrittenFiles[] = "/var/lib/zebpnode/written";

// While it exists and is locked, a process changes all this.
inline constexpr char kInstallationLock[] = "/run/zebpnode.lock";

// A directory for key files, and what makes it when the system starts.
inline constexpr char kKeyFileDirectory[] = "/run/zeb/";
inline constexpr char kKeyFileDirectoryEntry[] = "/etc/tmpfiles.d/zebpnode.conf";

}  // namespace layout

#endif  // ZEB_FORMAT_INSTALLED_H
