// SPDX-License-Identifier: Apache-2.0
#include <benchmark/benchmark.h>

#include "base/name_mutex.h"
#include "bench/support/floor.h"

namespace {

// The lock, taken and given back, without anybody else who wants it.
void lockPair(benchmark::State& state) {
  ZEB_Name_Mutex mutex("lockPair");
  if (!mutex.OK()) return state.SkipWithError("the lock can't be made");
  for (auto _ : state) {
    mutex.get();
    mutex.release();
  }
}
BENCHMARK(lockPair);

// The same two operations on a semaphore, and nothing else.
void lockPairFloor(benchmark::State& state) {
  const bench::Floor floor(4096);
  for (auto _ : state) floor.lockPair();
}
BENCHMARK(lockPairFloor);

}  // namespace
