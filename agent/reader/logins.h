// SPDX-License-Identifier: Apache-2.0
// Whether a user's IPC objects go when that user logs out.
#ifndef ZEB_AGENT_READER_LOGINS_H
#define ZEB_AGENT_READER_LOGINS_H

#include <cstdint>
#include <string>
#include <vector>

namespace reader {

// The settings of systemd-logind, as one that starts now would find them.
struct Logins {
  bool managed = false;    // systemd-logind runs
  bool removesIpc = true;  // when the last session of an ordinary user ends

  // Where that is said; empty and 0 when it is the default.
  std::string path;
  std::size_t line = 0;

  std::vector<std::string> unreadable;  // files that may say something else

  // Users up to that number, and "nobody", are the system's: their objects stay.
  std::uint32_t lastSystemUser = 999;

  bool removesIpcOf(std::uint32_t user) const;
};

// `root` is put before each path that is looked at; empty for this machine's.
Logins readLogins(const std::string& root = "");

}  // namespace reader

#endif  // ZEB_AGENT_READER_LOGINS_H
