// SPDX-License-Identifier: Apache-2.0
#include "tests/support/fence.h"

#include <sys/mman.h>

#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>

namespace support {
namespace {

constexpr std::size_t kBytes = 65536;

}  // namespace

Fence::Fence() {
  std::ifstream maps("/proc/self/maps");
  std::string line;
  while (std::getline(maps, line)) {
    if (line.find("/SYSV") == std::string::npos) continue;
    std::uintptr_t from = 0;
    std::uintptr_t to = 0;
    char dash = 0;
    std::istringstream(line) >> std::hex >> from >> dash >> to;
    for (const std::uintptr_t place : {from - kBytes, to}) {
      void* const piece = mmap(reinterpret_cast<void*>(place), kBytes, PROT_NONE,
                               MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
      if (piece != MAP_FAILED) pieces_.push_back(piece);
    }
  }
}

Fence::~Fence() {
  for (void* const piece : pieces_) munmap(piece, kBytes);
}

}  // namespace support
