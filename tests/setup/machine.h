// SPDX-License-Identifier: Apache-2.0
// A machine on which the plug-in is installed, and what the program zebpnode makes of it.
#ifndef ZEB_TESTS_SETUP_MACHINE_H
#define ZEB_TESTS_SETUP_MACHINE_H

#include <string>

// An empty file system in that place, which is made if need be. It has room for so many files and
// directories besides its own.
inline constexpr int kAny = -1;
inline constexpr int kFull = 0;
void mountEmpty(const std::string& folder, int entries = kAny);
void unmount(const std::string& folder);

// /opt, /var, /run and /etc are as good as empty, and what is installed is below the prefix. The
// directory /opt/holt/lil is there, and systemd seems to run.
void installHere();

void write(const std::string& path, const std::string& text);

// All that is in these places, with modes, targets of links, and contents.
std::string everything();

inline const char kLil[] = "/opt/holt/lil";
inline const char kLink[] = "/opt/holt/lil/zebpnode64.lil";
inline const char kSettings[] = "/opt/holt/lil/zebpnode.cfg";
inline const char kNotes[] = "/var/lib/zebpnode/directories";
inline const char kEntry[] = "/etc/tmpfiles.d/zebpnode.conf";

#endif  // ZEB_TESTS_SETUP_MACHINE_H
