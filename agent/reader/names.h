// SPDX-License-Identifier: Apache-2.0
// The names that states have wherever programs read them: in snapshot files and in documents.
#ifndef ZEB_AGENT_READER_NAMES_H
#define ZEB_AGENT_READER_NAMES_H

#include <cstddef>

#include "agent/reader/locks.h"
#include "agent/reader/segment.h"

namespace reader {

// In the order of the enumerations. A name never changes: files that were written stay readable.
inline constexpr const char* kStateNames[] = {
    "ok", "noKeyFile", "noSegment", "noPermission", "notInitialised", "damaged", "failed"};
inline constexpr const char* kPresenceNames[] = {"there", "absent", "refused", "failed"};

constexpr const char* nameOf(State state) {
  return kStateNames[static_cast<std::size_t>(state)];
}
constexpr const char* nameOf(Presence presence) {
  return kPresenceNames[static_cast<std::size_t>(presence)];
}

}  // namespace reader

#endif  // ZEB_AGENT_READER_NAMES_H
