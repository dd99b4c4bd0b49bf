// SPDX-License-Identifier: Apache-2.0
// Why a snapshot file could not be read or written.
#ifndef ZEB_AGENT_ARCHIVE_FAILURE_H
#define ZEB_AGENT_ARCHIVE_FAILURE_H

#include <cstdint>
#include <string>

namespace archived {

struct Failure {
  enum class Kind {
    none,
    system,      // a system call failed: `error`
    notRegular,  // the name to write to is there, and is no regular file
    foreign,     // it is no snapshot file, or one of a later version
    damaged,     // it is one, and something in it is missing, cut or can't be true
    tooLarge,    // a broker has more bytes than the caller takes
  };

  Kind kind = Kind::none;
  int error = 0;            // errno, of a system call only
  std::string what = {};    // where and what, for people; any bytes, without a full stop
  std::uint64_t bytes = 0;  // that were needed, when it is too large

  explicit operator bool() const { return kind != Kind::none; }
};

}  // namespace archived

#endif  // ZEB_AGENT_ARCHIVE_FAILURE_H
