// SPDX-License-Identifier: Apache-2.0
// The files of an uncompressed tar archive.
#ifndef ZEB_TESTS_FUZZ_ARCHIVE_H
#define ZEB_TESTS_FUZZ_ARCHIVE_H

#include <cstdint>
#include <string>
#include <vector>

namespace fuzz {

struct ArchivedFile {
  std::string name;
  std::vector<std::uint8_t> bytes;
};

// In the archive's order; folders are left out. Throws std::runtime_error when the archive can't be
// read or ends too early.
std::vector<ArchivedFile> filesOf(const std::string& archive);

}  // namespace fuzz

#endif  // ZEB_TESTS_FUZZ_ARCHIVE_H
