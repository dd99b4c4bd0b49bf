// SPDX-License-Identifier: Apache-2.0
// The host that the benchmarks play: it gives names and messages as cheaply as can be, and nothing
// happens behind its terminals, so that what is measured is the library.
#ifndef ZEB_BENCH_SUPPORT_LEAN_HOST_H
#define ZEB_BENCH_SUPPORT_LEAN_HOST_H

#include <cstdint>
#include <string>

#include "interface/host_interface.h"

// A node instance as this host knows it.
struct HostNode {
  std::u16string broker;
  std::u16string executionGroup;
  std::u16string messageFlow;
};

// A serialised message of `size` bytes, of which only the descriptor is there.
struct HostMessage {
  int size;
  const std::uint8_t* bits;
};

namespace bench {

// The function table that the library loaded last has handed over; null before.
HostNodeFunctionTable* handedOver();

// How many messages (not trace entries) libraries have logged. They are written to standard error:
// a run with one has not measured what it should.
int messagesLogged();

}  // namespace bench

#endif  // ZEB_BENCH_SUPPORT_LEAN_HOST_H
