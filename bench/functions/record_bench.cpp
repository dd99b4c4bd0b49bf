// SPDX-License-Identifier: Apache-2.0
#include <benchmark/benchmark.h>

#include "records/node_record.h"
#include "records/statistics_record.h"

namespace {

constexpr _TimeStamp kQueued{0, 12};
constexpr _TimeStamp kElapsed{0, 345};
constexpr int kSize = 1000;

// A statistics record that has seen many messages: its texts are as long as they get in practice.
void fill(ZEB_STIR& record) {
  for (int i = 0; i < 1000000; ++i) record.updateStatistics(kQueued, kElapsed, kSize);
}

void putStatistics(benchmark::State& state) {
  alignas(8) std::uint8_t stored[layout::stir::bytes] = {};
  ZEB_STIR record(1);
  fill(record);
  for (auto _ : state) {
    benchmark::DoNotOptimize(record.put(stored));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(putStatistics);

// Somebody else has written the record since it was last read, so that its texts are parsed.
void getStatisticsOfAnother(benchmark::State& state) {
  alignas(8) std::uint8_t stored[2][layout::stir::bytes] = {};
  ZEB_STIR record(1);
  fill(record);
  record.put(stored[0]);
  record.updateStatistics(kQueued, kElapsed, kSize);
  record.put(stored[1]);
  for (std::size_t turn = 0; auto _ : state) {
    benchmark::DoNotOptimize(record.get(stored[turn ^= 1]));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(getStatisticsOfAnother);

// Nobody else has.
void getStatisticsUnchanged(benchmark::State& state) {
  alignas(8) std::uint8_t stored[layout::stir::bytes] = {};
  ZEB_STIR record(1);
  fill(record);
  record.put(stored);
  for (auto _ : state) {
    benchmark::DoNotOptimize(record.get(stored));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(getStatisticsUnchanged);

// One message folded in, between a get and a put as it always is.
void updateStatistics(benchmark::State& state) {
  alignas(8) std::uint8_t stored[layout::stir::bytes] = {};
  ZEB_STIR record(1);
  fill(record);
  record.put(stored);
  for (auto _ : state) {
    record.get(stored);
    benchmark::DoNotOptimize(record.updateStatistics(kQueued, kElapsed, kSize));
    record.put(stored);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(updateStatistics);

}  // namespace
