// SPDX-License-Identifier: Apache-2.0
#include "agent/front/history/store.h"

#include <algorithm>

#include "agent/front/history/tables.h"

namespace history {
namespace {

// Of all bytes: what the log may grow to, from where on it is emptied, and what the file may take.
constexpr std::uint64_t kLogShare = 10;
constexpr std::uint64_t kEmptyLogAt = std::uint64_t{4} << 20;
constexpr std::uint64_t kFileShare = 4;  // the file leaves a part of so many to log and index
constexpr int kPatienceMs = 200;

std::uint64_t fileBytesOf(const Limits& limits) {
  return limits.bytes - limits.bytes / kFileShare;
}

void require(const Database& database, const std::string& path) {
  switch (fitOf(database)) {
    case Fit::newer:
      throw Refusal{"the history " + path +
                    " was written by a newer zebmon. Use that one, or name another file"};
    case Fit::foreign:
      throw Refusal{"the history " + path +
                    " is a database of another program. Name another file with --history"};
    case Fit::none:
    case Fit::older:
      migrate(database, steps());
      break;
    case Fit::present:
      break;
  }
}

void configure(const Database& database, const Limits& limits) {
  const auto set = [&database](const std::string& what) { database.execute("PRAGMA " + what); };
  database.setPatience(kPatienceMs);
  database.integerOf("SELECT count(*) FROM sqlite_schema");  // fails for what is no database
  set("journal_mode = WAL");
  set("synchronous = NORMAL");
  set("wal_autocheckpoint = 0");
  set("temp_store = MEMORY");
  set("cell_size_check = ON");
  const auto page = static_cast<std::uint64_t>(database.integerOf("PRAGMA page_size").value_or(0));
  set("max_page_count = " + std::to_string(fileBytesOf(limits) / std::max<std::uint64_t>(page, 1)));
}

}  // namespace

Store::Store(const Limits& limits, std::int64_t wallMs)
    : limits_(limits), database_(limits.path, Database::Mode::write) {
  configure(database_, limits_);
  require(database_, limits_.path);
  Recorder::Settings settings = limits_.recorder;
  const auto rows = static_cast<std::int64_t>(limits_.bytes / 32) / kRowBytes;
  settings.rowsAtOnce = std::min(settings.rowsAtOnce, rows);
  settings.recentRows = std::min(settings.recentRows, rows);
  settings.between = [this] { logIsShort(); };
  recorder_ = std::make_unique<Recorder>(database_, std::move(settings), wallMs);
}

// Empties the log when it is long enough for that to be worth while.
bool Store::logIsShort() {
  const std::uint64_t most = limits_.bytes / kLogShare;
  const std::uint64_t bytes = logBytesOf(limits_.path);
  if (bytes < std::min(most / 2, kEmptyLogAt)) return true;
  database_.setPatience(0);
  const bool emptied = database_.checkpoint();
  database_.setPatience(kPatienceMs);
  return emptied || bytes < most;
}

bool Store::record(const Sight& sight) {
  if (!logIsShort()) return false;
  const auto file = static_cast<std::int64_t>(fileBytesOf(limits_));
  if (recorder_->used() > file / 20 * 19) recorder_->shrink(file / 2, file / 10 * 9);
  if (recorder_->record(sight)) recorder_->shrink(file / 2, file / 10 * 9);
  return true;
}

}  // namespace history
