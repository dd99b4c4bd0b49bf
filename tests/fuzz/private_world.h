// SPDX-License-Identifier: Apache-2.0
// What the fuzzers share: namespaces of their own, in which a broker with the identifier UUID1 and
// areas of 4096 bytes is configured, and checks that end the fuzzer.
#ifndef ZEB_TESTS_FUZZ_PRIVATE_WORLD_H
#define ZEB_TESTS_FUZZ_PRIVATE_WORLD_H

#include <cstdint>
#include <vector>

namespace fuzz {

// Ends the process as a crash does, unless it holds.
void require(bool holds);

// The node instance and the messages of the host that the fuzzers play have nothing to tell; what
// the host recorded is forgotten, or a long run would fill the memory.
void quietHost();

// At least `least` bytes, zeros behind those that are given.
std::vector<std::uint8_t> atLeast(std::size_t least, const std::uint8_t* data, std::size_t length);

}  // namespace fuzz

#endif  // ZEB_TESTS_FUZZ_PRIVATE_WORLD_H
