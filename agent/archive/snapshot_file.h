// SPDX-License-Identifier: Apache-2.0
// Snapshots as files that `tar` opens: one can be kept, sent, and looked at on another machine.
//
// docs/snapshot-file.md describes the members. A snapshot that was read is decoded from the same
// bytes by the same code as one that was just taken, so that it is equal to it.
#ifndef ZEB_AGENT_ARCHIVE_SNAPSHOT_FILE_H
#define ZEB_AGENT_ARCHIVE_SNAPSHOT_FILE_H

#include <cstdint>
#include <memory>
#include <string>

#include "agent/archive/failure.h"
#include "agent/archive/replace_file.h"
#include "agent/archive/tar.h"
#include "agent/model/collector.h"
#include "agent/model/snapshot.h"

namespace archived {

// Where a snapshot comes from, besides what is in it.
struct Origin {
  std::string host;     // of any bytes
  std::string version;  // of the program that wrote it
  bool redacted = false;
};

// `snapshot` as an archive. When the origin says that it is redacted, it is written so.
Failure write(const model::Snapshot& snapshot, const Origin& origin, const Sink& sink);

// The same into a file that only its owner can read. It gets its name when all of it is on disk;
// until then, and after a failure, a file that had that name stays as it was. Anything but a
// regular file stays too, which is a failure; and any file that is to be kept: EEXIST.
Failure save(const model::Snapshot& snapshot, const Origin& origin, const std::string& path,
             Existing existing = Existing::replace);

struct Loaded {
  Failure failure;
  std::shared_ptr<const model::Snapshot> snapshot;  // null after a failure
  Origin origin;
};

// What a broker may have in bytes unless a user says otherwise.
inline constexpr std::uint64_t kMostBytes = reader::CopyBounds::kMostBytes;

// Reads such a file, of any origin; "-" is standard input. Believes nothing in it. Takes at most
// `mostBytes` of shared memory a broker. Events, when they are asked for, are all that the copy
// holds.
Loaded load(const std::string& path, model::Events events, std::uint64_t mostBytes = kMostBytes);

}  // namespace archived

#endif  // ZEB_AGENT_ARCHIVE_SNAPSHOT_FILE_H
