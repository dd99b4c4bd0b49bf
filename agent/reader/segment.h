// SPDX-License-Identifier: Apache-2.0
// Finding brokers by their key files, and reading their segments without leaving a trace.
#ifndef ZEB_AGENT_READER_SEGMENT_H
#define ZEB_AGENT_READER_SEGMENT_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "agent/reader/event_tail.h"
#include "agent/reader/processes.h"
#include "agent/reader/segment_copy.h"

namespace reader {

enum class State {
  ok,
  noKeyFile,       // nothing has created the key file, or somebody removed it
  noSegment,       // a key file, but no shared memory: left over from a crash
  noPermission,    // the segment or its key file belongs to others
  notInitialised,  // a segment whose creator hasn't written its header, or died before it did
  damaged,         // `damage` says what; everything readable is there
  failed,          // a system call failed for another reason: `error`
};

// A broker's segment as it was at one moment. Facts that the state leaves unknown are 0 or empty.
struct Segment {
  State state = State::failed;
  std::string keyFile;  // path; any bytes that a file's name can have
  std::string uuid;     // as the key file's name says: any bytes as well
  int error = 0;        // errno of a failed call
  std::string call;     // and its name
  std::string group;    // whose members may read, by name, or by number when it has none
  std::optional<std::uint32_t> owner;      // the user that the segment belongs to
  std::optional<std::uint32_t> fileOwner;  // and the one that the key file does
  std::uint32_t key = 0;                   // that the key file makes
  int id = 0;                              // for ipcrm -m; 0 may also be a segment's number
  std::uint64_t size = 0;                  // bytes; 0 when nothing was copied
  std::uint64_t attached = 0;              // attachments by others
  SegmentCopy copy;                        // what was in it

  // As a process's list of mapped segments has it.
  MappedSegment mapped() const { return {.key = key, .id = static_cast<std::uint64_t>(id)}; }
};

struct KeyFiles {
  int error = 0;                   // errno when the directory can't be read
  std::vector<std::string> paths;  // sorted
};

// The key files of all brokers in `directory`, which ends in "/".
KeyFiles findKeyFiles(const std::string& directory);

// The user that the segment behind a key file belongs to, else the one that the file does. Nothing
// when neither is known.
std::optional<std::uint32_t> readOwner(const std::string& keyFile);

// Whether there is a segment behind a key file now.
bool hasSegment(const std::string& keyFile);

// The path of the key file of one broker.
std::string keyFileOf(const std::string& directory, const std::string& uuid);

// Copies the segment that belongs to `keyFile`, as far as the bounds let, and decodes nothing of
// it. It is attached only while it is copied, and read-only: a reader that stayed would keep the
// last process of the broker from removing it. No lock is taken, and neither a file nor an IPC
// object is created.
Segment readSegment(const std::string& keyFile, const CopyBounds& bounds = {});

// The same of what was posted behind `mark`, with as little work as that takes. Nothing when it is
// another segment now, or can't be read, or the events are gone, or they and new templates are more
// than `mostBytes`: then readSegment tells more.
std::optional<EventTail> readTail(const std::string& keyFile, const RingMark& mark,
                                  std::uint64_t mostBytes);

}  // namespace reader

#endif  // ZEB_AGENT_READER_SEGMENT_H
