// SPDX-License-Identifier: Apache-2.0
// Random numbers for record identifiers.
#ifndef ZEB_BASE_RANDOM_NUMBER_H
#define ZEB_BASE_RANDOM_NUMBER_H

#include <cstdint>

// The next number, 31 bits, of a sequence that is the calling thread's own: it is seeded on first
// use and again after a fork, and the host's random() is left alone.
std::uint32_t ZEB_RandomNumber();

#endif  // ZEB_BASE_RANDOM_NUMBER_H
