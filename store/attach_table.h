// SPDX-License-Identifier: Apache-2.0
// Which segments this process has attached, and for how many users each.
#ifndef ZEB_STORE_ATTACH_TABLE_H
#define ZEB_STORE_ATTACH_TABLE_H

#include <cstdint>

struct ZEB_Attachment {
  std::int32_t key;        // below 1: never used
  std::int32_t segmentId;  // 0 after the last user went
  void* address;           // null after the last user went
  std::uint64_t users;
};
static_assert(sizeof(ZEB_Attachment) == 24);

// One table per process, of 50 entries. The caller holds the process's attach mutex; since that one
// may be unusable, attach and detach also exclude the other threads of the process by themselves.
namespace attach_table {

// The address of the segment, attached now if need be. All ones when shmat fails, which leaves the
// entry free; null when all entries are in use. `attached` tells whether shmat was called.
void* attach(int segmentId, int key, bool& attached);

// Drops one user of the attachment at that address; the result of shmdt when that was the last.
int detach(void* address);

// Writes the table to the log as "zebshmsegments table".
void dump();

}  // namespace attach_table

#endif  // ZEB_STORE_ATTACH_TABLE_H
