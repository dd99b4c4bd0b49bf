// SPDX-License-Identifier: Apache-2.0
// Files that others only ever see whole.
#ifndef ZEB_AGENT_ARCHIVE_REPLACE_FILE_H
#define ZEB_AGENT_ARCHIVE_REPLACE_FILE_H

#include <sys/stat.h>

#include <functional>
#include <string>
#include <string_view>

#include "agent/archive/tar.h"

namespace archived {

// What becomes of a file that is there already.
enum class Existing {
  replace,  // the new one takes its place
  keep,     // it stays as it is, and nothing else is written: EEXIST
};

// Has `fill` write a file with these permission bits, whatever the umask. It gets its name when all
// of it is on disk; until then, and after a failure, a file that had that name stays as it was.
// `fill` returns false when it gives up. 0, or the errno of a call here; what made `fill` give up
// is its own to tell.
int replaceFile(const std::string& path, const std::function<bool(const Sink&)>& fill,
                Existing existing = Existing::replace, mode_t mode = S_IRUSR | S_IWUSR);

// Writes a text in place of the file, likewise. 0 or the errno of what failed.
int replaceFile(const std::string& path, std::string_view text, mode_t mode = S_IRUSR | S_IWUSR);

}  // namespace archived

#endif  // ZEB_AGENT_ARCHIVE_REPLACE_FILE_H
