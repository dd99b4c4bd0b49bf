// SPDX-License-Identifier: Apache-2.0
#include <benchmark/benchmark.h>

#include "base/put_time.h"

namespace {

// The sixteen digits that every application writes.
void readPutTimeDigits(benchmark::State& state) {
  const char date[] = "20260102";
  const char time[] = "03040506";
  for (auto _ : state) {
    benchmark::DoNotOptimize(date);
    benchmark::DoNotOptimize(ZEB_ReadPutTime(date, time));
  }
}
BENCHMARK(readPutTimeDigits);

// Anything else goes through the scan.
void readPutTimeBlanks(benchmark::State& state) {
  const char date[] = "2026 1 2";
  const char time[] = " 3 4 5 6";
  for (auto _ : state) {
    benchmark::DoNotOptimize(date);
    benchmark::DoNotOptimize(ZEB_ReadPutTime(date, time));
  }
}
BENCHMARK(readPutTimeBlanks);

void scanPutTimeDigits(benchmark::State& state) {
  const char date[] = "20260102";
  const char time[] = "03040506";
  for (auto _ : state) {
    benchmark::DoNotOptimize(date);
    benchmark::DoNotOptimize(ZEB_ScanPutTime(date, time));
  }
}
BENCHMARK(scanPutTimeDigits);

}  // namespace
