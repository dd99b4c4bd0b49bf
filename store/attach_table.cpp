// SPDX-License-Identifier: Apache-2.0
#include "store/attach_table.h"

#include <sys/shm.h>

#include <algorithm>
#include <iterator>
#include <mutex>

#include "base/format.h"

namespace {

ZEB_Attachment table[50];
static_assert(sizeof table == 1200);
std::mutex changing;

// The entry of that key, or else the first that was never used. A key stays with its entry when
// the last user has gone, and each new key file makes another key: so when all entries have one, a
// free entry is taken over.
ZEB_Attachment* entryFor(int key) {
  const auto end = std::end(table);
  auto entry = std::find_if(table, end, [key](const ZEB_Attachment& candidate) {
    return candidate.key < 1 || candidate.key == key;
  });
  if (entry == end)
    entry = std::find_if(table, end,
                         [](const ZEB_Attachment& candidate) { return candidate.users == 0; });
  return entry == end ? nullptr : entry;
}

}  // namespace

void* attach_table::attach(int segmentId, int key, bool& attached) {
  attached = false;
  const std::lock_guard guard(changing);
  ZEB_Attachment* const entry = entryFor(key);
  if (!entry) return nullptr;
  if (entry->key == key && entry->segmentId == segmentId && entry->users > 0) {
    ++entry->users;
    return entry->address;
  }
  attached = true;
  void* const address = shmat(segmentId, nullptr, 0);
  const bool refused = address == reinterpret_cast<void*>(-1);
  *entry =
      refused ? ZEB_Attachment{key, 0, nullptr, 0} : ZEB_Attachment{key, segmentId, address, 1};
  return address;
}

int attach_table::detach(void* address) {
  const std::lock_guard guard(changing);
  const auto entry = std::find_if(
      std::begin(table), std::end(table),
      [address](const auto& candidate) { return address && candidate.address == address; });
  if (entry == std::end(table) || --entry->users > 0) return 0;
  *entry = {entry->key, 0, nullptr, 0};
  return shmdt(address);
}

void attach_table::dump() {
  ZEB_DumpMemory(table, sizeof table, "zebshmsegments table");
}
