// SPDX-License-Identifier: Apache-2.0
#include "tests/faults/run.h"

#include <cstdarg>
#include <cstdio>
#include <iterator>

namespace faults {

Run* run = nullptr;

void complain(const char* format, ...) {
  const auto kept = static_cast<int>(std::size(run->complaint));
  if (run->complaints++ >= kept) return;
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(run->complaint[run->complaints - 1], sizeof run->complaint[0], format, arguments);
  va_end(arguments);
}

}  // namespace faults
