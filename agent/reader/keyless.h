// SPDX-License-Identifier: Apache-2.0
// IPC objects as the library makes them, without the key file that leads to them.
#ifndef ZEB_AGENT_READER_KEYLESS_H
#define ZEB_AGENT_READER_KEYLESS_H

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace reader {

// A segment, or a lock's semaphore and queue. Numbers are those of the kernel's lists.
struct Keyless {
  enum class Kind { segment, lock };

  Kind kind = Kind::segment;
  std::uint32_t key = 0;
  std::uint32_t owner = 0;  // user
  int id = 0;               // for ipcrm: of the segment, or of the semaphore
  int queue = 0;            // of a lock
  std::uint64_t size = 0;   // bytes of a segment
  std::uint64_t users = 0;  // attachments of a segment, messages of a lock's queue

  // That made a segment and attached or detached it last, or that used a lock's queue last.
  std::int32_t firstProcess = 0;
  std::int32_t lastProcess = 0;
};

struct KeylessList {
  static constexpr std::size_t kMost = 1000;

  bool readable = false;  // all of the kernel's lists were read; else there is nothing here
  bool cut = false;       // there are more than kMost
  std::vector<Keyless> objects;
};

// Those whose keys are of files on `device`, whose permissions are the library's, and that look as
// it makes them, except those with a key in `known`. `proc` is where the kernel shows its lists.
KeylessList readKeyless(std::uint64_t device, const std::set<std::uint32_t>& known,
                        const std::string& proc = "/proc");

}  // namespace reader

#endif  // ZEB_AGENT_READER_KEYLESS_H
