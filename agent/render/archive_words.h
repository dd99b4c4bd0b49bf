// SPDX-License-Identifier: Apache-2.0
// Sentences about snapshot files, without their last full stop. All of them are printable.
#ifndef ZEB_AGENT_RENDER_ARCHIVE_WORDS_H
#define ZEB_AGENT_RENDER_ARCHIVE_WORDS_H

#include <string>

#include "agent/archive/snapshot_file.h"

namespace render {

// A file as its reader knows it: "standard input" for "-".
std::string named(const std::string& file);

// Why `file` could not be read or written, and what to do. `option` names another file to write to:
// "-o".
std::string problemOfReading(const archived::Failure& failure, const std::string& file);
std::string problemOfWriting(const archived::Failure& failure, const std::string& file,
                             const std::string& option);

// Where and when the snapshot in `file` was taken, and whether anything was left out of it.
std::string originOf(const archived::Loaded& loaded, const std::string& file);

// A name for the file of `snapshot`: by its only broker, or how many it has, and by its time. From
// the second on, the number is in the name too.
std::string fileNameFor(const model::Snapshot& snapshot, int number = 1);

}  // namespace render

#endif  // ZEB_AGENT_RENDER_ARCHIVE_WORDS_H
