// SPDX-License-Identifier: Apache-2.0
// How large the areas of shared memory are.
#ifndef ZEB_BASE_MEMORY_SIZE_H
#define ZEB_BASE_MEMORY_SIZE_H

#include <cstdint>

// The configured "ZEBMemorySize", in bytes: what one area takes, header included. Read at each
// call; 32768 when not set, and bounded to 4096 ... 2147483647 (format/sizes.h).
std::uint32_t ZEB_ConfiguredMemorySize();

#endif  // ZEB_BASE_MEMORY_SIZE_H
