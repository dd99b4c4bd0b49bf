// SPDX-License-Identifier: Apache-2.0
#include "host/sources/repeat.h"

#include "flowfile/section.h"

namespace host {

std::uint64_t readRepeat(flowfile::Section& input, bool repeatable) {
  constexpr std::int64_t kMost = 1'000'000'000'000;
  const std::int64_t times = input.integer("repeat", 1, kMost).value_or(1);
  if (!repeatable && input.has("repeat")) {
    input.noteAt("repeat", "'repeat' goes with a regular file or a folder only");
  }
  return static_cast<std::uint64_t>(times);
}

}  // namespace host
