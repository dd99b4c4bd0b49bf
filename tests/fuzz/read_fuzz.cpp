// SPDX-License-Identifier: Apache-2.0
// A damaged segment under the reader library: every function of its C interface is asked, and told
// the same when it looks again.
#include <memory>
#include <string>

#include "tests/fuzz/private_world.h"
#include "tests/read/walk.h"
#include "tests/support/broken.h"
#include "tests/support/live_segment.h"

namespace {

using Reader = std::unique_ptr<zebread_reader, void (*)(zebread_reader*)>;
using Snapshot = std::unique_ptr<zebread_snapshot, void (*)(zebread_snapshot*)>;

Reader opened() {
  zebread_reader* reader = nullptr;
  fuzz::require(zebread_open(&reader) == ZEBREAD_OK);
  fuzz::require(zebread_set_directory(reader, "/tmp") == ZEBREAD_OK);
  fuzz::require(zebread_set_events(reader, 1) == ZEBREAD_OK);
  return {reader, zebread_close};
}

Snapshot lookedAt(const Reader& reader) {
  zebread_snapshot* snapshot = nullptr;
  fuzz::require(zebread_look(reader.get(), &snapshot) == ZEBREAD_OK);
  return {snapshot, zebread_snapshot_free};
}

// The first byte says whether the rest is a segment, what was changed in a healthy one, or a
// cursor.
broken::Bytes segmentOf(const std::uint8_t* data, std::size_t length) {
  constexpr std::size_t kLeast = 64;
  if (length > 0 && data[0] == 0) return fuzz::atLeast(kLeast, data + 1, length - 1);
  return length > 0 && data[0] == 1 ? broken::patched(data + 1, length - 1) : broken::healthy();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t length) {
  const LiveSegment live("UUID1", segmentOf(data, length));
  const Reader first = opened();
  const Reader second = opened();
  if (length > 0 && data[0] > 1) {
    const std::string cursor(data + 1, data + length);
    zebread_resume(first.get(), cursor.c_str());
    zebread_resume(second.get(), cursor.c_str());
  }
  const std::string seen = walk(lookedAt(first).get());
  fuzz::require(seen == walk(lookedAt(second).get()));
  const std::string cursor = zebread_cursor(first.get());
  fuzz::require(zebread_resume(opened().get(), cursor.c_str()) == ZEBREAD_OK);
  return 0;
}
