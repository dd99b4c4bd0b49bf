// SPDX-License-Identifier: Apache-2.0
// Counting what is allocated.
#ifndef ZEB_BENCH_DRIVER_ALLOCATIONS_H
#define ZEB_BENCH_DRIVER_ALLOCATIONS_H

#include <cstdint>

namespace bench {

// How often the calling thread has asked for memory, by malloc and its kin or by operator new,
// which asks malloc. Libraries that this program loads are counted too.
std::uint64_t allocations();

}  // namespace bench

#endif  // ZEB_BENCH_DRIVER_ALLOCATIONS_H
