// SPDX-License-Identifier: Apache-2.0
// Members of a tar archive, in memory. Nothing is ever extracted to a path.
#ifndef ZEB_AGENT_ARCHIVE_TAR_H
#define ZEB_AGENT_ARCHIVE_TAR_H

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "agent/archive/failure.h"

struct archive;

namespace archived {

// Takes bytes of an archive in their order. Returns errno when it can't take more, else 0.
using Sink = std::function<int(std::string_view bytes)>;

// Writes members one after the other. After a failure nothing more is written.
class TarWriter {
 public:
  // `seconds` since 1970 is when all members were made.
  TarWriter(Sink sink, std::int64_t seconds);
  ~TarWriter();
  TarWriter(const TarWriter&) = delete;
  TarWriter& operator=(const TarWriter&) = delete;

  // `name` is of ASCII and has at most 100 characters.
  void add(const std::string& name, std::span<const std::uint8_t> bytes);

  // Writes the end. What is missing before this call, or when it returns a failure, is no archive.
  Failure finish();

 private:
  void fail();

  Sink sink_;
  std::int64_t seconds_;
  struct ::archive* archive_;
  Failure failure_;
  int error_ = 0;  // of the sink
};

// Asked about each member before its bytes are read. A failure ends the reading.
using Admission = std::function<Failure(const std::string& name, std::uint64_t bytes)>;

struct TarMembers {
  Failure failure;
  std::map<std::string, std::vector<std::uint8_t>> files;  // empty after a failure
};

// All members of the archive that an open descriptor is at the start of. Only plain files of an
// uncompressed archive are taken, each name once; anything else is a failure. The descriptor stays
// the caller's.
TarMembers readTar(int descriptor, const Admission& admission);

}  // namespace archived

#endif  // ZEB_AGENT_ARCHIVE_TAR_H
