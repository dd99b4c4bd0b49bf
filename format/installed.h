// SPDX-License-Identifier: Apache-2.0
// Where an installation has what its programs look for.
#ifndef ZEB_FORMAT_INSTALLED_H
#define ZEB_FORMAT_INSTALLED_H

namespace layout {

// The plug-in, and the program that tries whether it can be loaded. Absolute paths, as the build
// was configured.
extern const char* const kInstalledLibrary;
extern const char* const kProbe;

// The plug-in's name in a host's directory.
inline constexpr char kPlugInName[] = "zebpnode64.lil";

// The directories in which it was enabled, an absolute path a line.
inline constexpr char kNotedDirectories[] = "/var/lib/zebpnode/directories";

// Copies of the files that were written when it was enabled, each below here under its whole path:
// what equals its copy was not changed since.
inline constexpr char kWrittenFiles[] = "/var/lib/zebpnode/written";

// A directory for key files, and what makes it when the system starts.
inline constexpr char kKeyFileDirectory[] = "/run/zeb/";
inline constexpr char kKeyFileDirectoryEntry[] = "/etc/tmpfiles.d/zebpnode.conf";

}  // namespace layout

#endif  // ZEB_FORMAT_INSTALLED_H
