// SPDX-License-Identifier: Apache-2.0
// Where a history is, and who may write it.
#ifndef ZEB_AGENT_FRONT_HISTORY_PLACE_H
#define ZEB_AGENT_FRONT_HISTORY_PLACE_H

#include <cstdint>
#include <optional>
#include <string>

namespace history {

// Why a file can't be used: what is wrong and what to do, without its full stop; any bytes.
struct Refusal {
  std::string sentence;
};

// The file to write when no option names one: history.db in the service's state directory, else in
// $XDG_STATE_HOME/zebmon, else in ~/.local/state/zebmon. Empty when the environment has none.
std::string defaultFile();

// The file to read when no option names one: the service's or the default one, whichever was
// written last; the service's when there is neither. Never empty.
std::string fileToRead();

// Makes the file's directory (0750) and the file (0640) where they are missing. Throws Refusal when
// the file is a symbolic link, no file, or another user's, or when others may write its directory.
// Not while SQLite has the file open in this process: its locks would go.
void prepare(const std::string& path);

// The right to write one history: a lock beside its file, which lasts as long as this.
class WriterLock {
 public:
  // Throws Refusal, which says who has it.
  explicit WriterLock(const std::string& path);
  ~WriterLock();
  WriterLock(const WriterLock&) = delete;
  WriterLock& operator=(const WriterLock&) = delete;

  // Whether some process has it. Its number may be unknown: 0.
  static bool isHeld(const std::string& path, std::int64_t* process = nullptr);

 private:
  int descriptor_;
};

// Bytes of the file, its write-ahead log and its index; those that aren't there have none.
std::uint64_t bytesOf(const std::string& path);
std::uint64_t logBytesOf(const std::string& path);

// Gives a file that can't be used, with what belongs to it, the name NAME.damaged-TIME, UTC. Tells
// that name. Throws Refusal.
std::string setAside(const std::string& path, std::int64_t wallS);

}  // namespace history

#endif  // ZEB_AGENT_FRONT_HISTORY_PLACE_H
