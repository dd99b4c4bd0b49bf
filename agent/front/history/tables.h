// SPDX-License-Identifier: Apache-2.0
// The tables of a history: what docs/history.md describes.
#ifndef ZEB_AGENT_FRONT_HISTORY_TABLES_H
#define ZEB_AGENT_FRONT_HISTORY_TABLES_H

#include <cstdint>
#include <span>
#include <string>

#include "agent/front/history/database.h"

namespace history {

inline constexpr std::int64_t kApplication = 0x5A454248;  // application_id: "ZEBH"
inline constexpr std::int64_t kVersion = 2;               // user_version

inline constexpr std::int64_t kAreaUseVersion = 2;  // the first one with that table

// Of a history's version, from the first bytes of its file.
enum class Fit {
  none,   // an empty file
  older,  // to be migrated
  present,
  newer,    // of a newer zebmon
  foreign,  // a database of another program
};
Fit fitOf(const Database& database);

// The step that makes version n + 1 of version n is at place n; that at place 0 makes all tables.
std::span<const std::string> steps();

// Brings a database to the version behind the last of these steps, all of it or nothing.
void migrate(const Database& database, std::span<const std::string> steps);

}  // namespace history

#endif  // ZEB_AGENT_FRONT_HISTORY_TABLES_H
